// The forced-log-off warning: an extended message box that counts down the time left before the
// service logs the session off. Shown by the session's monitor window when asked, or by the
// "/msg" process itself when the session has no monitor window. At most one per process.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv {

class MyOpts;

// Shows the warning with the countdown read from `opts` (MessageText, MessageTimeout,
// FullScreen) and blocks, pumping messages, until the box is answered or closed, or the thread
// gets WM_QUIT (which is passed on). `owner` is the monitor window or null. A request while a
// warning is already open in this process answers 0 at once and shows nothing: a caller that
// must not lose it queues it (the monitor window does). Answers the box's result (1 when OK was
// pressed, also by the monitor window on activity).
int ShowWarning(void* owner, const MyOpts& opts);

// The window of the open warning box, or null when none is open.
void* GetOpenWarningBox();

// The "/msg" run mode: hands the request to the session's monitor window when one exists,
// otherwise loads the settings and shows the warning itself, with the session's objects of
// `tag` (empty: the plain names): OK pressed sets the session's idle event, as activity, and,
// with a tag, the session's quit event being set ends the box. Answers the process exit code.
int RunMessageMode(DWORD session, const std::wstring& tag = {});

}  // namespace tv
