// The configuration utility's entry: what Tarnvale64.EXE calls in TV64.DLL. It lives with the
// run modes because it hands the utility the service plumbing the utility itself sits below.
#pragma once

namespace tv {

// Checks for administrator rights (restarting elevated when they are missing), prepares the
// process (common controls, COM, the user-model id), hands over to an instance already open, and
// runs the main dialog. `instance` is the program's HINSTANCE. Answers the process's exit code:
// 0, or 2 when administrator rights were refused or the elevated restart failed. Windows only.
int DoWinMainCFG(void* instance, const wchar_t* commandLine, int showCommand);

}  // namespace tv
