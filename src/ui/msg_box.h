// The message-box family every part of the product speaks to a person through. The plain level
// (Msg...) shows the system's message box; the extended level (MsgEx...) shows the product's own
// box with other button sets, a "Don't show this message again" check box, mark-up text, a timer
// and a button callback, retry on device arrival and the activate-previous rule. Every box's
// caption is the product's name.
//
// Text arguments take either a text or a string-table number passed through MsgId(n) (or
// MsgId(-n)); see IsMsgTextId. Window handles are passed as void* so that callers need not
// include Windows; in the portable build boxes go to the message sink (platform/message_box.h).
// Boxes belong to one UI thread; the callbacks set here stay in force until changed.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#include "ui/msg_box_rules.h"
#include "platform/types.h"

namespace tv {

// Called with 0 before a plain box is shown and with 1 after it has closed.
using MsgPauseResumeCallback = void (*)(int resume);
// A link in a box was clicked: answers the box's result (non-zero closes the box with it).
using MsgExLinkCallback = int (*)(void* box, void* context);
// A button or cancel path is about to close the box: non-zero lets it, 0 keeps the box open.
using MsgExButtonCallback = int (*)(void* box, int id, void* context);
// Called with tick 0 when the box opens, then every interval: answers a control to press, or 0.
using MsgExTimerCallback = int (*)(void* box, int tick, void* context);

// ---- plain level: the system's box, style = type | MB_SETFOREGROUND. No owner means the active
// window, an owner of (void*)1 means none.
int Msg(void* owner, std::uint32_t type, const wchar_t* text);
// Formats (wide arguments with %ls) into 1,024 characters, then as Msg.
int MsgFmt(void* owner, std::uint32_t type, const wchar_t* format, ...);
int MsgFmtV(void* owner, std::uint32_t type, const wchar_t* format, std::va_list args);
// The formatted message, a blank line and the text of the thread's last error. Shows nothing and
// answers 1 when there is neither an error nor a format. Type 0xFFFFFFFF means a warning with OK.
int MsgLastError(void* owner, std::uint32_t type, const wchar_t* format, ...);
// As MsgLastError for a COM result: nothing is shown for a success without a format.
int MsgHRESULT(void* owner, std::int32_t hresult, std::uint32_t type, const wchar_t* format, ...);

// ---- extended level: the product's box (text up to 2,048 characters). `dontShowAgain`, when
// given, adds the check box; while it holds non-zero the box answers its default button at once.
int MsgEx(void* owner, std::uint32_t flags, const wchar_t* text, int* dontShowAgain = nullptr);
// Formats into 2,048 characters (1,024 with a don't-show-again variable), then as MsgEx.
int MsgExFmt(void* owner, std::uint32_t flags, const wchar_t* format, ...);
int MsgExFmtV(void* owner, std::uint32_t flags, int* dontShowAgain, const wchar_t* format, std::va_list args);
// As MsgExFmt; a click on a link of this box opens `link` in the browser and keeps the box open.
int MsgExFmtLink(const wchar_t* link, void* owner, std::uint32_t flags, int* dontShowAgain, const wchar_t* format,
                 ...);

void MsgExSetLinkCallback(MsgExLinkCallback callback, void* context);
void MsgExSetButtonCallback(MsgExButtonCallback callback, void* context);
// Also restarts the tick count at 0. An interval or callback of 0 switches the timer off.
void MsgExSetTimerCallback(unsigned intervalMs, MsgExTimerCallback callback, void* context);
void MsgSetPauseResumeCallback(MsgPauseResumeCallback callback);
// A non-zero id makes MsgEx bring forward an open box of any process that shows the same id,
// answering 0, instead of opening a second one.
void MsgExSetActivatePrevID(std::uint16_t id);

// The window of this or another process that answers the activate-previous question for `id`
// (an open box, or the configuration utility's main dialog), or null.
void* MsgExFindPrevious(std::uint16_t id);

// Replaces the message of the open box `box` (used by timer callbacks). FALSE without such a box.
BOOL MsgExSetText(void* box, const wchar_t* text);

// The open extended box of this process, or null.
void* MsgExGetCurrentBox();

// The system's text for error `code` (0: the thread's last error), in a buffer of 1,024
// characters shared by the process.
const wchar_t* GetLastErrorText(DWORD code);

// The text a text-or-number argument stands for; a number without a string is "".
std::wstring ResolveMsgText(const wchar_t* textOrId);

#ifdef _WIN32
// The module whose resources (box template, icons, accelerators, strings) the boxes use; null
// means the module holding this code. Tests point it at TV64.DLL.
void MsgSetResourceModule(void* module);
void* MsgGetResourceModule();
#endif

}  // namespace tv
