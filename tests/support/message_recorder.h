// A message sink for tests: records every message instead of showing it, answers a preset
// button, and puts the previous sink back when it goes out of scope.
#pragma once

#include <string>
#include <vector>

#include "platform/message_box.h"

namespace tv::test {

class MessageRecorder final : public MessageSink {
 public:
  struct Shown {
    std::wstring text;
    MsgIcon icon;
    int buttons;
  };

  explicit MessageRecorder(int answer = kAnswerOk) : answer_(answer), previous_(SetMessageSink(this)) {}
  ~MessageRecorder() override { SetMessageSink(previous_); }

  int Show(void*, const std::wstring& text, MsgIcon icon, int buttons) override {
    shown.push_back({text, icon, buttons});
    return answer_;
  }

  std::vector<Shown> shown;

 private:
  int answer_;
  MessageSink* previous_;
};

}  // namespace tv::test
