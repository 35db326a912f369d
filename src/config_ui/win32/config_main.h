// The configuration utility's entry: what Tarnvale64.EXE calls in TV64.DLL.
#pragma once

#include "platform/win32/windows_include.h"

namespace tv {

// Checks for administrator rights (restarting elevated when they are missing), prepares the
// process (common controls, COM, the user-model id), hands over to an instance already open, and
// runs the main dialog. Answers the process's exit code: 0, or 2 when administrator rights were
// refused or the elevated restart failed.
int DoWinMainCFG(HINSTANCE instance, const wchar_t* commandLine, int showCommand);

}  // namespace tv
