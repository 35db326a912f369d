// The library's entry for every run mode but the configuration utility: the launcher hands its
// command line to DoWinMain, which picks one mode by the first matching switch and answers the
// process's exit code.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv {

class ServiceInstaller;

// The run modes, in the order their switches are tried.
enum class RunMode {
  kNone,             // nothing matched (or an empty line): exit code 0
  kCheckForUpdates,  // "/CHECK4UPDATES": the update check, its result shown with an offer to install
  kCheckForUpdatesQuiet,  // "/CHECK4UPDATES /quiet": the check and its event-log entry only
  kCheckForUpdatesInstall,  // "/CHECK4UPDATES /install": a verified newer version installed unasked
  kMonitor,          // "/monitor:<n>": the agent of session n
  kMessage,          // "/msg:<n>": the warning for session n
  kUninstallMsi,     // "/uninstall-msi": tell the service to quit its work
  kLoad,             // "/load"
  kLoadSilent,       // "/load-silent"
  kUnload,           // "/unload"
  kUnloadSilent,     // "/unload-silent"
  kService,          // "/service"
  kUserLoad,         // "/user-load": recognised, nothing to do
  kUserUnload,       // "/user-unload": recognised, nothing to do
};

// A chosen mode and, for the per-session modes, the session it is for and the tag of the
// service's objects for that session.
struct RunRequest {
  RunMode mode = RunMode::kNone;
  bool hasSession = false;  // a valid session number followed ":" or "="
  bool sessionMark = false;  // the arguments hold ":" or "=", valid number or not
  DWORD session = 0;
  bool badTag = false;  // a "/tag" switch whose value is no object tag: the line is refused
  std::wstring tag;     // the valid tag; empty without "/tag", meaning the plain object names
};

// The arguments of `commandLine`: the line itself when it starts with a switch ("/" or "-"),
// else what follows the program path. Never null (an empty text when nothing follows).
const wchar_t* RunArguments(const wchar_t* commandLine);

// Reads the session number of a per-session switch: the text after the first ":" or "=" up to
// the first blank, as a decimal number of at most 32 bits. FALSE (`session` untouched) without a
// separator or with a value that is empty or not entirely digits.
BOOL ParseSessionNumber(const wchar_t* arguments, DWORD& session);

// Finds the "/tag:<hex>" (or "-tag=<hex>", case ignored) among the blank-separated words after
// the first. TRUE with `tag` emptied when there is none; TRUE with `tag` set when there is one
// and its value is an object tag (IsValidObjectTag); FALSE, `tag` untouched, when the switch has
// no value, another value, or comes twice: a name built from it could not be the service's.
BOOL ParseObjectTag(const wchar_t* arguments, std::wstring& tag);

// Matches `commandLine` (whole, or arguments only) against the switch table. Whole-line switches
// must be the entire arguments, case ignored and "-" as good as "/"; "/monitor" and "/msg" need
// only begin them.
RunRequest ParseRunMode(const wchar_t* commandLine);

// Carries out `request` with `installer` for the service modes; answers the exit code.
int DispatchRunMode(const RunRequest& request, ServiceInstaller* installer);

// The library's entry: records `instance`, enters the application bookkeeping, runs the mode the
// command line asks for on this computer and answers its exit code, leaving the bookkeeping on
// every way out. `commandLine` may be the launcher's whole line or its arguments only.
int DoWinMain(void* instance, const wchar_t* commandLine, int showCommand);

// The instance handle DoWinMain was given (the launcher's), null before the first call.
void* GetAppInstance();

// The product's root registry key path, kept for the run of a mode; empty outside one.
const wchar_t* GetRunRootKeyPath();

}  // namespace tv
