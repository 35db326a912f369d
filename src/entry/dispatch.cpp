#include "entry/dispatch.h"

#include <atomic>
#include <cstdint>
#include <cwchar>
#include <iterator>
#include <mutex>
#include <string>

#include "agent/warning.h"
#include "agent/monitor.h"
#include "foundation/product_info.h"
#include "entry/service_dispatcher.h"
#include "entry/service_install.h"
#include "foundation/cmdline.h"
#include "foundation/object_names.h"
#include "update/update_command.h"

namespace tv {
namespace {

// Control code asking the service to quit its work before its files are removed.
constexpr DWORD kControlQuitWork = 129;

constexpr const wchar_t* kRootKeyPath = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale";

enum class Match { kWhole, kPrefix };

struct Switch {
  const wchar_t* name;
  Match match;
  RunMode mode;
};

// Tried in this order; the first match decides. "/load" comes before "/load-silent", which a
// whole-line match keeps apart.
constexpr Switch kSwitches[] = {
    {L"/CHECK4UPDATES", Match::kWhole, RunMode::kCheckForUpdates},
    {L"/CHECK4UPDATES /quiet", Match::kWhole, RunMode::kCheckForUpdatesQuiet},
    {L"/CHECK4UPDATES /install", Match::kWhole, RunMode::kCheckForUpdatesInstall},
    {L"/monitor", Match::kPrefix, RunMode::kMonitor},
    {L"/msg", Match::kPrefix, RunMode::kMessage},
    {L"/uninstall-msi", Match::kWhole, RunMode::kUninstallMsi},
    {L"/load", Match::kWhole, RunMode::kLoad},
    {L"/load-silent", Match::kWhole, RunMode::kLoadSilent},
    {L"/unload", Match::kWhole, RunMode::kUnload},
    {L"/unload-silent", Match::kWhole, RunMode::kUnloadSilent},
    {L"/service", Match::kWhole, RunMode::kService},
    {L"/user-load", Match::kWhole, RunMode::kUserLoad},
    {L"/user-unload", Match::kWhole, RunMode::kUserUnload},
};

bool IsSwitchMark(wchar_t c) { return c == L'/' || c == L'-'; }
bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

std::atomic<void*> g_instance{nullptr};

// The root key path is copied for the run of a mode and dropped on the way out.
std::mutex g_root_mutex;
std::wstring g_root_key;
int g_root_users = 0;

class RootKeyCopy {
 public:
  RootKeyCopy() {
    std::lock_guard<std::mutex> lock(g_root_mutex);
    if (g_root_users++ == 0) g_root_key = kRootKeyPath;
  }
  ~RootKeyCopy() {
    std::lock_guard<std::mutex> lock(g_root_mutex);
    if (--g_root_users == 0) std::wstring().swap(g_root_key);
  }
  RootKeyCopy(const RootKeyCopy&) = delete;
  RootKeyCopy& operator=(const RootKeyCopy&) = delete;
};

int ExitCode(BOOL ok) { return ok ? 0 : 1; }

// Exit code of a per-session mode whose session number or object tag cannot be read
// (ERROR_INVALID_PARAMETER).
constexpr int kExitBadSession = 87;

}  // namespace

const wchar_t* RunArguments(const wchar_t* commandLine) {
  if (!commandLine) return L"";
  // The launcher may pass its arguments alone; a switch right at the start cannot be a program
  // path, and "-monitor:5" must not be mistaken for one.
  if (IsSwitchMark(commandLine[0])) return commandLine;
  const wchar_t* args = GetCmdLnArg(commandLine);
  return args ? args : L"";
}

BOOL ParseSessionNumber(const wchar_t* arguments, DWORD& session) {
  if (!arguments) return kFalse;
  const wchar_t* p = arguments;
  while (*p && *p != L':' && *p != L'=') ++p;
  if (!*p) return kFalse;
  ++p;
  std::uint64_t value = 0;
  int digits = 0;
  for (; *p && !IsBlank(*p); ++p) {
    if (*p < L'0' || *p > L'9') return kFalse;
    value = value * 10 + static_cast<std::uint64_t>(*p - L'0');
    if (value > 0xFFFFFFFFull) return kFalse;
    ++digits;
  }
  if (digits == 0) return kFalse;
  session = static_cast<DWORD>(value);
  return kTrue;
}

BOOL ParseObjectTag(const wchar_t* arguments, std::wstring& tag) {
  if (!arguments) return kFalse;
  const wchar_t* p = arguments;
  bool first = true;
  bool found = false;
  std::wstring value;
  while (*p) {
    while (IsBlank(*p)) ++p;
    const wchar_t* word = p;
    while (*p && !IsBlank(*p)) ++p;
    if (word == p) break;
    // The first word is the mode's own switch, whose data is the session number.
    if (first) {
      first = false;
      continue;
    }
    if (!IsSwitchMark(word[0])) continue;
    const std::wstring text(word + 1, p);
    const bool withData = IsCmdLinePrefix(text.c_str(), L"tag") != kFalse;
    if (!withData && !IsCmdLineOption(text.c_str(), L"tag")) continue;
    // A second tag could only mean two services spoke at once; neither is trusted.
    if (found) return kFalse;
    found = true;
    value = withData ? text.substr(4) : std::wstring();
    if (!IsValidObjectTag(value)) return kFalse;
  }
  tag = found ? value : std::wstring();
  return kTrue;
}

RunRequest ParseRunMode(const wchar_t* commandLine) {
  const wchar_t* args = RunArguments(commandLine);
  RunRequest request;
  if (!*args) return request;
  for (const Switch& s : kSwitches) {
    const BOOL matched = s.match == Match::kWhole ? IsCmdLineOption(args, s.name) && IsSwitchMark(args[0])
                                                  : IsCmdLineSwitchPrefix(args, s.name);
    if (!matched) continue;
    request.mode = s.mode;
    if (s.match == Match::kPrefix) {
      request.sessionMark = std::wcspbrk(args, L":=") != nullptr;
      DWORD session = 0;
      if (ParseSessionNumber(args, session)) {
        request.hasSession = true;
        request.session = session;
      }
      request.badTag = !ParseObjectTag(args, request.tag);
    }
    return request;
  }
  return request;
}

int DispatchRunMode(const RunRequest& request, ServiceInstaller* installer) {
  switch (request.mode) {
    case RunMode::kCheckForUpdates: return RunSystemUpdateCommand(UpdateAction::kOffer, nullptr);
    case RunMode::kCheckForUpdatesQuiet: return RunSystemUpdateCommand(UpdateAction::kCheckOnly, nullptr);
    case RunMode::kCheckForUpdatesInstall: return RunSystemUpdateCommand(UpdateAction::kInstall, nullptr);
    case RunMode::kNone:
    case RunMode::kUserLoad:
    case RunMode::kUserUnload:
      return 0;
    case RunMode::kMonitor:
      // A tag that is not the service's would name objects someone else may have made.
      if (request.badTag) return kExitBadSession;
      // A number that cannot be read is the caller's mistake and says so; no number at all is
      // nobody's request.
      if (!request.hasSession) return request.sessionMark ? kExitBadSession : 0;
      return RunMonitor(request.session, request.tag);
    case RunMode::kMessage:
      if (request.badTag) return kExitBadSession;
      // "/msg" without a readable session number has no session to warn: nothing is shown.
      return request.hasSession ? RunMessageMode(request.session, request.tag) : 0;
    case RunMode::kUninstallMsi:
      // The installer reads 1 as "the service was there and heard it".
      return installer ? (installer->SendServiceControl(kControlQuitWork) ? 1 : 0)
                       : (SendServiceControl(kControlQuitWork) ? 1 : 0);
    case RunMode::kLoad:
    case RunMode::kLoadSilent: {
      const BOOL silent = request.mode == RunMode::kLoadSilent;
      return ExitCode(installer ? installer->InstallAndStartService(silent) : InstallAndStartService(silent));
    }
    case RunMode::kUnload:
    case RunMode::kUnloadSilent: {
      const BOOL silent = request.mode == RunMode::kUnloadSilent;
      return ExitCode(installer ? installer->UninstallService(silent) : UninstallService(silent));
    }
    case RunMode::kService:
      (void)RunServiceDispatcher();
      return 0;
  }
  return 0;
}

int DoWinMain(void* instance, const wchar_t* commandLine, int showCommand) {
  g_instance.store(instance);
  AppScope app(*GetMyProductInfo());
  RootKeyCopy root;
  try {
    return DispatchRunMode(ParseRunMode(commandLine), nullptr);
  } catch (...) {
    // Nothing may escape into the launcher; a mode that threw has failed.
    return 1;
  }
}

void* GetAppInstance() { return g_instance.load(); }

const wchar_t* GetRunRootKeyPath() {
  std::lock_guard<std::mutex> lock(g_root_mutex);
  return g_root_users > 0 ? g_root_key.c_str() : L"";
}

}  // namespace tv
