// The extended message box's decisions: flags, buttons, commands, icon and layout.
#include "ui/msg_box_rules.h"

#include <algorithm>

namespace tv {
namespace {

bool SetHasContinueSecond(const MsgExFlags& f) {
  return f.buttonSet == 2 || f.buttonSet == 6 || (f.buttonSet == 5 && (f.word & msgex::kContinueForCancel));
}

}  // namespace

MsgExFlags::MsgExFlags(std::uint32_t w) : word(w) {
  buttonSet = static_cast<int>(w & msgex::kButtonSetMask);
  if (buttonSet > 6) buttonSet = 0;
  switch (w & msgex::kIconMask) {
    case msgex::kIconError: icon = MsgIconKind::kError; break;
    case msgex::kIconQuestion: icon = MsgIconKind::kQuestion; break;
    case msgex::kIconWarning: icon = MsgIconKind::kWarning; break;
    default: icon = MsgIconKind::kInformation; break;
  }
  defaultButton = (w & msgex::kDefaultThird) ? 2 : (w & msgex::kDefaultSecond) ? 1 : 0;
  topmost = (w & (msgex::kTopmost | msgex::kTopmostUntilActive)) != 0;
  dropTopmostOnActivate = (w & msgex::kTopmostUntilActive) != 0;
  shield = (w & msgex::kShield) != 0;
  retryOnDevice = (w & msgex::kRetryOnDevice) && (buttonSet == 2 || buttonSet == 5 || buttonSet == 6);
  markup = (w & msgex::kMarkup) != 0;
  appendLastError = (w & msgex::kAppendLastError) != 0;
}

void GetMsgButtons(const MsgExFlags& f, MsgButton (&b)[3]) {
  for (int i = 0; i < 3; ++i) b[i] = MsgButton{kMsgButtonIds[i], false, L"", kResultNone};
  const wchar_t* cancelOrContinue = (f.word & msgex::kContinueForCancel) ? L"&Continue" : L"&Cancel";
  auto set = [&b](int i, const wchar_t* caption, int result) {
    b[i].visible = true;
    b[i].caption = caption;
    b[i].result = result;
  };
  switch (f.buttonSet) {
    case 0: set(0, L"OK", kResultOk); break;
    case 1:
      set(0, L"OK", kResultOk);
      set(2, cancelOrContinue, kResultCancel);
      break;
    case 2:
    case 6:
      set(0, L"&Retry", kResultRetry);
      set(1, L"&Continue", kResultContinue);
      set(2, L"&Cancel", kResultCancel);
      break;
    case 3:
      set(0, L"&Yes", kResultYes);
      set(1, L"&No", kResultNo);
      set(2, (f.word & msgex::kIgnoreForCancel) ? L"&Ignore" : L"&Cancel", kResultCancel);
      break;
    case 4:
      set(0, L"&Yes", kResultYes);
      set(1, L"&No", kResultNo);
      break;
    case 5:
      set(0, L"&Retry", kResultRetry);
      set(2, cancelOrContinue, kResultCancel);
      break;
  }
}

int GetButtonRow(const MsgExFlags& f, int (&ids)[3]) {
  MsgButton b[3];
  GetMsgButtons(f, b);
  int n = 0;
  for (const MsgButton& button : b)
    if (button.visible) ids[n++] = button.id;
  for (int i = n; i < 3; ++i) ids[i] = 0;
  return n;
}

int GetCloseResult(const MsgExFlags& f) { return f.buttonSet == 4 ? kResultNo : kResultCancel; }

MsgCommand DecideMsgCommand(const MsgExFlags& f, int id) {
  MsgCommand c;
  switch (id) {
    case 27011: {
      MsgButton b[3];
      GetMsgButtons(f, b);
      c.kind = MsgCommand::kPost;
      c.result = b[0].result;
      return c;
    }
    case 27012:
      if (SetHasContinueSecond(f)) {
        c.kind = MsgCommand::kPost;
        c.result = kResultContinue;
      } else if (f.buttonSet == 3 || f.buttonSet == 4) {
        c.kind = MsgCommand::kPost;
        c.result = kResultNo;
      }
      return c;
    case 27040:
    case kResultCancel:
    case 27035:
      c.kind = MsgCommand::kClose;
      c.result = GetCloseResult(f);
      c.askButtonCallback = true;
      return c;
    case kResultOk:
    case kResultRetry:
    case kResultYes:
    case kResultNo:
    case kResultContinue:
      c.kind = MsgCommand::kClose;
      c.result = id;
      c.askButtonCallback = true;
      return c;
    default:
      return c;
  }
}

int GetDefaultButtonId(const MsgExFlags& f) { return kMsgButtonIds[f.defaultButton]; }

int GetMsgIconResource(const MsgExFlags& f) {
  switch (f.icon) {
    case MsgIconKind::kQuestion: return 27023;
    case MsgIconKind::kError: return 27024;
    case MsgIconKind::kWarning: return 27025;
    case MsgIconKind::kInformation: break;
  }
  return 27022;
}

int GetMsgIconPixels(int dpi) { return dpi < 144 ? 48 : 64; }

std::wstring ComposeMsgText(const std::wstring& text, const MsgExFlags& f, const std::wstring& errorText) {
  if (!f.appendLastError || errorText.empty()) return text;
  return text + (f.markup ? L"<br><br>" : L"\n\n") + errorText;
}

std::wstring PlainMsgText(const std::wstring& text) { return text + L"\n "; }

BOOL IsMsgTextId(const wchar_t* textOrId, int& id) {
  // A real text pointer never lies in the lowest or highest 64 KiB of the address space, which
  // is what lets one argument carry either.
  const auto value = reinterpret_cast<std::uintptr_t>(textOrId);
  if ((value >> 16) == 0) {
    id = static_cast<int>(value);
    return kTrue;
  }
  if ((~value >> 16) == 0) {
    id = -static_cast<int>(static_cast<std::intptr_t>(value));
    return kTrue;
  }
  return kFalse;
}

MsgLayout ComputeMsgLayout(const MsgLayoutInput& in) {
  MsgLayout out;
  out.textHeight = std::max(in.neededTextHeight, in.minTextHeight);
  out.moveDown = out.textHeight - in.textHeight;
  out.bandMoveUp = in.hasCheckBox ? 0 : std::max(0, in.lineTop - in.checkBoxTop);
  out.dialogHeight = in.dialogHeight + out.moveDown - out.bandMoveUp;
  if (in.maxDialogHeight > 0 && out.dialogHeight > in.maxDialogHeight) {
    // A text taller than the screen is cut at the bottom rather than pushing the buttons off it.
    const int excess = out.dialogHeight - in.maxDialogHeight;
    out.textHeight -= excess;
    out.moveDown -= excess;
    out.dialogHeight = in.maxDialogHeight;
  }
  return out;
}

}  // namespace tv
