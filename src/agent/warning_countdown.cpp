// WarningCountdown: deadline and the text for each second.
#include "agent/warning_countdown.h"

#include "settings/my_opts.h"

namespace tv {
namespace {

std::wstring Format(const MyOpts& opts, int minutes, int seconds) {
  wchar_t text[kUserMsgChars];
  opts.FormatUserMsg(text, kUserMsgChars, 0, minutes, seconds);
  return text;
}

}  // namespace

void WarningCountdown::Start(const MyOpts& opts, std::int64_t nowSeconds) {
  opts_ = &opts;
  deadline_ = nowSeconds + static_cast<std::int64_t>(opts.MessageTimeout) * 60;
}

std::wstring WarningCountdown::InitialText() const {
  return opts_ ? Format(*opts_, static_cast<int>(opts_->MessageTimeout), 0) : std::wstring();
}

bool WarningCountdown::TextAt(std::int64_t nowSeconds, std::wstring& text) const {
  if (!opts_ || nowSeconds >= deadline_) return false;
  const std::int64_t left = deadline_ - nowSeconds;
  text = Format(*opts_, static_cast<int>(left / 60), static_cast<int>(left % 60));
  return true;
}

}  // namespace tv
