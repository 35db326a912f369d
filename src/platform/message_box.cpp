// The sink registry shared by both platforms; each platform supplies DefaultMessageSink().
#include "platform/message_box.h"

#include <atomic>

namespace tv {

MessageSink& DefaultMessageSink();  // platform file

namespace {
std::atomic<MessageSink*> g_sink{nullptr};
}  // namespace

MessageSink& GetMessageSink() {
  MessageSink* sink = g_sink.load();
  return sink ? *sink : DefaultMessageSink();
}

MessageSink* SetMessageSink(MessageSink* sink) { return g_sink.exchange(sink); }

int ShowMessage(void* owner, const std::wstring& text, MsgIcon icon, int buttons) {
  return GetMessageSink().Show(owner, text, icon, buttons);
}

}  // namespace tv
