// The message-box family for the portable build: no windows, so boxes go to the message sink,
// which shows them on standard error or hands them to a test's recorder.
#ifndef _WIN32

#include "ui/msg_box_state.h"
#include "foundation/string_table.h"
#include "platform/last_error.h"
#include "platform/message_box.h"

namespace tv {
namespace {

MsgIcon IconOf(std::uint32_t word) {
  switch (MsgExFlags(word).icon) {
    case MsgIconKind::kError: return MsgIcon::kError;
    case MsgIconKind::kQuestion: return MsgIcon::kQuestion;
    case MsgIconKind::kWarning: return MsgIcon::kWarning;
    case MsgIconKind::kInformation: break;
  }
  return (word & msgex::kIconMask) ? MsgIcon::kInformation : MsgIcon::kNone;
}

}  // namespace

int ShowPlainMsgBox(void* owner, std::uint32_t type, const std::wstring& text) {
  return ShowMessage(owner, text, IconOf(type), static_cast<int>(type & msgex::kButtonSetMask));
}

int ShowMsgExBox(void* owner, std::uint32_t flags, const std::wstring& text, int* dontShowAgain) {
  const MsgExFlags f(flags);
  if (dontShowAgain && *dontShowAgain) {
    // The user asked not to see it again: the box answers as if its default button were pressed.
    const MsgCommand c = DecideMsgCommand(f, GetDefaultButtonId(f));
    return c.result ? c.result : GetCloseResult(f);
  }
  return ShowMessage(owner, text, IconOf(flags), f.buttonSet);
}

std::wstring LoadMsgString(int id) { return LoadStr(id); }

std::wstring MsgSystemErrorText(DWORD code) {
  if (code == 0) return L"The operation completed successfully.";
  return L"";
}

void OpenLinkAddress(const std::wstring&) {}

BOOL SetBoxText(void*, const std::wstring&) { return Fail(err::kInvalidHandle); }

// No windows, so no other instance can answer.
void* MsgExFindPrevious(std::uint16_t) { return nullptr; }

}  // namespace tv

#endif  // !_WIN32
