// What an extended message box does, apart from any window: how its flags word reads, which
// buttons it shows with which captions and answers, which command closes it with what result,
// where its default button is, how big its icon is and how its height follows the text. The
// Windows dialog only moves these answers into controls.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tv {

// Dialog result codes, the platform's own numbers.
enum MsgResult : int {
  kResultNone = 0,
  kResultOk = 1,
  kResultCancel = 2,
  kResultRetry = 4,
  kResultYes = 6,
  kResultNo = 7,
  kResultContinue = 11,
};

// Bits of the flags word (the platform's MessageBox type word plus the box's own).
namespace msgex {
inline constexpr std::uint32_t kButtonSetMask = 0x0000000F;
inline constexpr std::uint32_t kIconMask = 0x000000F0;
inline constexpr std::uint32_t kIconError = 0x10;
inline constexpr std::uint32_t kIconQuestion = 0x20;
inline constexpr std::uint32_t kIconWarning = 0x30;
inline constexpr std::uint32_t kDefaultSecond = 0x100;
inline constexpr std::uint32_t kDefaultThird = 0x200;
inline constexpr std::uint32_t kForeground = 0x10000;
inline constexpr std::uint32_t kTopmost = 0x40000;
inline constexpr std::uint32_t kContinueForCancel = 0x1000000;
inline constexpr std::uint32_t kShield = 0x2000000;
inline constexpr std::uint32_t kIgnoreForCancel = 0x4000000;
inline constexpr std::uint32_t kRetryOnDevice = 0x10000000;
inline constexpr std::uint32_t kMarkup = 0x20000000;
inline constexpr std::uint32_t kTopmostUntilActive = 0x40000000;
inline constexpr std::uint32_t kAppendLastError = 0x80000000;
}  // namespace msgex

enum class MsgIconKind { kInformation, kQuestion, kError, kWarning };

// The flags word taken apart. Button sets above 6 are read as set 0 (OK), the safest box.
struct MsgExFlags {
  explicit MsgExFlags(std::uint32_t word);

  std::uint32_t word;
  int buttonSet;
  MsgIconKind icon;
  int defaultButton;  // 0 first, 1 second, 2 third
  bool topmost;       // topmost from the start (either topmost bit)
  bool dropTopmostOnActivate;
  bool shield;
  bool retryOnDevice;  // only in sets 2, 5 and 6
  bool markup;
  bool appendLastError;
};

// Control ids of the three buttons, first to third.
inline constexpr int kMsgButtonIds[3] = {27011, 27012, 27040};

// One button as the box shows it.
struct MsgButton {
  int id = 0;               // 27011, 27012 or 27040
  bool visible = false;
  std::wstring caption;     // with its mnemonic "&"
  int result = kResultNone; // what a click answers
};

// The three buttons of `flags`' set, in template order (first, second, third). A hidden
// button keeps its id and an empty caption.
void GetMsgButtons(const MsgExFlags& flags, MsgButton (&buttons)[3]);

// The visible buttons' ids left to right as the row shows them after re-alignment.
int GetButtonRow(const MsgExFlags& flags, int (&ids)[3]);

// The result when the box is closed without a choice (close box, Escape, system menu, a
// button with id 2): No in the Yes/No set, Cancel everywhere else.
int GetCloseResult(const MsgExFlags& flags);

// How a command from a control or accelerator is handled.
struct MsgCommand {
  enum Kind { kIgnore, kPost, kClose };
  Kind kind = kIgnore;
  int result = kResultNone;  // the command to post, or the result to close with
  bool askButtonCallback = false;
};

// The answer to WM_COMMAND `id` (from a control or accelerator) in a box with `flags`.
// 27011/27012 post their set's result code; result codes and the cancel paths close the box,
// after the button callback when there is one; anything else is left to the dialog.
MsgCommand DecideMsgCommand(const MsgExFlags& flags, int id);

// The id of the default button (third with 0x200, else second with 0x100, else first).
int GetDefaultButtonId(const MsgExFlags& flags);

// The icon resource for the flags (27022 information, 27023 question, 27024 error, 27025
// warning) and its edge in pixels for a screen of `dpi` dots per inch.
int GetMsgIconResource(const MsgExFlags& flags);
int GetMsgIconPixels(int dpi);

// The message with the thread's error text appended when the flags ask for it and there is
// one: a blank line between them, or "<br><br>" in mark-up.
std::wstring ComposeMsgText(const std::wstring& text, const MsgExFlags& flags, const std::wstring& errorText);

// The plain box's text: the text, a line break and one space, so the last line never touches the
// buttons.
std::wstring PlainMsgText(const std::wstring& text);

// The text-or-id rule of every message argument: a value whose bits 16 and up are all 0 or all 1
// is a string-table number (negative numbers included, -100 is string 100; null is number 0),
// anything else a pointer to a text. TRUE with the positive number in `id` for a number.
BOOL IsMsgTextId(const wchar_t* textOrId, int& id);
// Passes string-table number `id` (or -id) where a text argument is expected.
inline const wchar_t* MsgId(int id) {
  return reinterpret_cast<const wchar_t*>(static_cast<std::intptr_t>(id));
}

// How the box's height follows its text. All lengths in pixels.
struct MsgLayoutInput {
  int dialogHeight = 0;      // the template's window height
  int textHeight = 0;        // the message control's height in the template
  int neededTextHeight = 0;  // the height the message needs at the control's width
  int minTextHeight = 0;     // the message control never shrinks below this (the icon's height)
  bool hasCheckBox = false;  // a don't-show-again variable was given
  int checkBoxTop = 0;       // top of check box 27005 (in client coordinates)
  int lineTop = 0;           // top of line 27010
  int maxDialogHeight = 0;   // the screen's work area; 0 means no limit
};
struct MsgLayout {
  int textHeight = 0;    // new height of the message control (and growth of static 27009)
  int moveDown = 0;      // how far the controls below the message move (may be negative)
  int bandMoveUp = 0;    // how far the line and buttons then move up for a missing check box
  int dialogHeight = 0;  // new window height
};
MsgLayout ComputeMsgLayout(const MsgLayoutInput& in);

}  // namespace tv
