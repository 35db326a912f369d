// The reporting seam for messages meant for a person. Code that must tell the user something
// (a parse error, a failed install) goes through here; the default shows a Windows message box
// with the product's caption, or writes to standard error elsewhere, and tests install a
// recorder to read what would have been shown.
#pragma once

#include <string>

namespace tv {

enum class MsgIcon { kNone, kError, kWarning, kInformation, kQuestion };

// Button sets and answers use the Windows values (MB_OK = 0, MB_OKCANCEL = 1, MB_YESNO = 4;
// IDOK = 1, IDCANCEL = 2, IDYES = 6, IDNO = 7).
enum MsgButtons : int { kMsgOk = 0, kMsgOkCancel = 1, kMsgYesNo = 4 };
enum MsgAnswer : int { kAnswerOk = 1, kAnswerCancel = 2, kAnswerYes = 6, kAnswerNo = 7 };

class MessageSink {
 public:
  virtual ~MessageSink() = default;
  // Shows `text` to the person at `owner` (a window handle or null) and answers the button pressed.
  virtual int Show(void* owner, const std::wstring& text, MsgIcon icon, int buttons) = 0;
};

// The sink in use: the platform's default unless one was installed.
MessageSink& GetMessageSink();

// Installs `sink` (null restores the default) and answers the one it replaces.
MessageSink* SetMessageSink(MessageSink* sink);

// Shorthand: shows through the sink in use.
int ShowMessage(void* owner, const std::wstring& text, MsgIcon icon, int buttons = kMsgOk);

}  // namespace tv
