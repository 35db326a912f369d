// Win32 default message sink: a system message box captioned with the product's name.
#include "platform/message_box.h"
#include "platform/win32/windows_include.h"

namespace tv {
namespace {

UINT IconFlags(MsgIcon icon) {
  switch (icon) {
    case MsgIcon::kError: return MB_ICONERROR;
    case MsgIcon::kWarning: return MB_ICONWARNING;
    case MsgIcon::kInformation: return MB_ICONINFORMATION;
    case MsgIcon::kQuestion: return MB_ICONQUESTION;
    case MsgIcon::kNone: break;
  }
  return 0;
}

class MessageBoxSink final : public MessageSink {
 public:
  int Show(void* owner, const std::wstring& text, MsgIcon icon, int buttons) override {
    return ::MessageBoxW(static_cast<HWND>(owner), text.c_str(), L"Tarnvale",
                         IconFlags(icon) | static_cast<UINT>(buttons) | MB_SETFOREGROUND);
  }
};

}  // namespace

MessageSink& DefaultMessageSink() {
  static MessageBoxSink sink;
  return sink;
}

}  // namespace tv
