// The warning-text editor's rules and the data-loss warning's.
#include "config_ui/custom_message.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "platform/last_error.h"
#include "platform/message_box.h"
#include "settings/my_config.h"

namespace tv {
namespace {

constexpr const wchar_t* kTrimmed = L" \t\r\n";

}  // namespace

std::wstring TrimMessage(const std::wstring& text) {
  const std::size_t first = text.find_first_not_of(kTrimmed);
  if (first == std::wstring::npos) return L"";
  const std::size_t last = text.find_last_not_of(kTrimmed);
  return text.substr(first, last - first + 1);
}

std::wstring MessageForEditor(const wchar_t* field, const wchar_t* builtIn) {
  if (field && field[0] != L'\0') return field;
  return builtIn ? builtIn : L"";
}

void StoreEditedMessage(const wchar_t* edited, const wchar_t* builtIn, wchar_t* field, std::size_t capacity) {
  if (!field || capacity == 0) return;
  std::wstring text = edited ? edited : L"";
  text = TrimMessage(text.substr(0, kCustomMessageChars - 1));
  if (builtIn && text == builtIn) text.clear();
  const std::size_t copied = std::min(text.size(), capacity - 1);
  std::wmemcpy(field, text.data(), copied);
  field[copied] = L'\0';
}

CustomMessageEditor::CustomMessageEditor(std::wstring text, bool readOnly)
    : text_(std::move(text)), readOnly_(readOnly) {}

BOOL CustomMessageEditor::ReadBack(const std::wstring& fieldText) {
  if (readOnly_) {
    SetLastErrorCode(err::kAccessDenied);
    return kFalse;
  }
  text_ = fieldText.substr(0, kCustomMessageChars - 1);
  return kTrue;
}

bool MustShowDataLossWarning(const MyConfig& config) { return !config.IsOn(kConfigDataLossAccepted); }

bool OnDataLossWarningClosed(int result, MyConfig& config) {
  if (result != kAnswerOk) return false;
  config.Set(kConfigDataLossAccepted, true);
  return true;
}

}  // namespace tv
