// Portable default message sink: there is no desktop, so the text goes to standard error and
// every question is answered with its first button.
#ifndef _WIN32

#include <cstdio>

#include "platform/message_box.h"

namespace tv {
namespace {

class StderrSink final : public MessageSink {
 public:
  int Show(void*, const std::wstring& text, MsgIcon icon, int buttons) override {
    const char* kind = icon == MsgIcon::kError ? "error" : icon == MsgIcon::kWarning ? "warning" : "note";
    std::fprintf(stderr, "Tarnvale %s: %ls\n", kind, text.c_str());
    return buttons == kMsgYesNo ? kAnswerYes : kAnswerOk;
  }
};

}  // namespace

MessageSink& DefaultMessageSink() {
  static StderrSink sink;
  return sink;
}

}  // namespace tv

#endif  // !_WIN32
