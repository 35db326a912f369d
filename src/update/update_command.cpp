#include "update/update_command.h"

#include "ui/msg_box.h"
#include "foundation/product_info.h"
#include "platform/event_log.h"
#include "foundation/service_log.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

// The mark-up control reads tags and entities: text from a manifest or a setting is shown as
// it stands, never as mark-up.
std::wstring Plain(const std::wstring& text) {
  std::wstring out;
  for (wchar_t c : text) {
    switch (c) {
      case L'&': out += L"&amp;"; break;
      case L'<': out += L"&lt;"; break;
      case L'>': out += L"&gt;"; break;
      case L'\r': break;
      case L'\n': out += L"<br>"; break;
      default: out += c;
    }
  }
  return out;
}

// Flags of the product's box: button set and icon, as the platform's message box numbers them.
constexpr std::uint32_t kBoxOk = 0;
constexpr std::uint32_t kBoxYesNo = 4;
constexpr std::uint32_t kBoxInformation = 0x40;

void Log(EventLog* log, DWORD id, const std::vector<std::wstring>& strings) {
  if (log) LogEventN(*log, id, strings);
}

void LogResult(EventLog* log, const CheckResult& r) {
  switch (r.outcome) {
    case CheckOutcome::kNoSource:
      Log(log, evt::kUpdateCheckFailed, {L"no update source is set (UpdateSource)", L""});
      break;
    case CheckOutcome::kFailed: Log(log, evt::kUpdateCheckFailed, {r.why, r.source}); break;
    case CheckOutcome::kUpToDate: Log(log, evt::kUpdateUpToDate, {r.current.ToString(), r.source}); break;
    case CheckOutcome::kNewer:
      Log(log, evt::kUpdateAvailable, {r.current.ToString(), r.source, r.manifest.version.ToString()});
      break;
  }
}

int Show(void* owner, std::uint32_t flags, const std::wstring& text) {
  return MsgEx(owner, flags | msgex::kMarkup, text.c_str());
}

}  // namespace

std::wstring UpdateResultText(const CheckResult& r) {
  switch (r.outcome) {
    case CheckOutcome::kNoSource:
      return L"No update source is set on this computer, so Tarnvale contacted nobody.<br><br>"
             L"Your organisation publishes <b>Tarnvale-update.xml</b> beside the package. Set "
             L"<b>UpdateSource</b> under HKLM\\SOFTWARE\\Brellick\\Tarnvale, or the group policy "
             L"<b>Update source</b>, to its https:// address or file path (such as "
             L"\\\\server\\share\\Tarnvale\\Tarnvale-update.xml).";
    case CheckOutcome::kFailed:
      return L"Tarnvale could not check for updates: " + Plain(r.why) + L".<br><br>Update source: " +
             Plain(r.source);
    case CheckOutcome::kUpToDate:
      return L"Tarnvale <b>" + r.current.ToString() + L"</b> is up to date: the update source offers " +
             r.manifest.version.ToString() + L".";
    case CheckOutcome::kNewer: {
      std::wstring text = L"Tarnvale <b>" + r.manifest.version.ToString() + L"</b> is available (released " +
                          Plain(r.manifest.released) + L"); this computer has " + r.current.ToString() + L".";
      if (!r.manifest.notes.empty()) text += L"<br><br>" + Plain(r.manifest.notes);
      return text + L"<br><br><b>Download and install</b> it now? The package (" +
             std::to_wstring((r.manifest.size + 1023) / 1024) +
             L" KB) is checked against the SHA-256 of the manifest before it runs.";
    }
  }
  return L"";
}

int RunUpdateCommand(UpdateCommandEnv& env, UpdateAction action, void* owner) {
  const CheckResult result = CheckForUpdate(env.source, env.current, *env.transport);
  LogResult(env.log, result);
  if (action == UpdateAction::kCheckOnly) return ExitCodeOf(result.outcome);
  // An unattended run has nobody to show a box to: its exit code and the event log tell.
  const bool ask = action == UpdateAction::kOffer;
  if (!ask && result.outcome != CheckOutcome::kNewer) return ExitCodeOf(result.outcome);

  const std::wstring text = UpdateResultText(result);
  switch (result.outcome) {
    case CheckOutcome::kNoSource:
    case CheckOutcome::kUpToDate:
      (void)Show(owner, kBoxOk | kBoxInformation, text);
      return ExitCodeOf(result.outcome);
    case CheckOutcome::kFailed:
      (void)Show(owner, kBoxOk | msgex::kIconWarning, text);
      return ExitCodeOf(result.outcome);
    case CheckOutcome::kNewer: break;
  }
  if (ask && Show(owner, kBoxYesNo | msgex::kIconQuestion, text) != kResultYes) return update_exit::kNewerAvailable;

  std::vector<std::uint8_t> package;
  std::wstring why;
  if (!FetchVerifiedPackage(result, *env.transport, package, why)) {
    Log(env.log, evt::kUpdatePackageRefused, {result.package.text, why});
    if (ask)
      (void)Show(owner, kBoxOk | msgex::kIconError,
                 L"Tarnvale did not install the package and ran nothing: " + Plain(why) + L".<br><br>Package: " +
                     Plain(result.package.text));
    return update_exit::kFailed;
  }
  std::wstring logFile;
  if (!env.installer || !env.installer->Start(package, result.manifest, logFile, why)) {
    Log(env.log, evt::kUpdateInstallFailed, {result.package.text, why});
    if (ask)
      (void)Show(owner, kBoxOk | msgex::kIconError,
                 L"The verified package could not be installed: " + Plain(why) + L".");
    return update_exit::kFailed;
  }
  Log(env.log, evt::kUpdateInstalling, {result.manifest.version.ToString(), result.package.text, logFile});
  if (ask)
    (void)Show(owner, kBoxOk | kBoxInformation,
               L"The package of Tarnvale <b>" + result.manifest.version.ToString() +
                   L"</b> was verified, and the Windows Installer is installing it now; the service restarts on "
                   L"the new files and the settings stay.<br><br>The installer's log: " + Plain(logFile));
  return update_exit::kInstalling;
}

std::wstring EffectiveUpdateSource(const MyOpts& settings) {
  // Read apart from the record's source: a policy "Log off idle sessions" in force must not hide
  // the computer's own update source, nor must the lack of one hide the policy's.
  for (const wchar_t* path : {kComputerPolicyKey, kAppRootKey}) {
    RegKey key(path, false, *settings.Services().store);
    std::wstring text;
    if (key.IsOpen() && key.GetStr(kUpdateSourceValue, &text) && !text.empty()) return text;
  }
  return L"";
}

int RunSystemUpdateCommand(UpdateAction action, void* owner, unsigned timeoutMs) {
  try {
    MyOpts settings;
    (void)settings.Load();
    std::unique_ptr<UpdateTransport> transport = CreateSystemTransport(timeoutMs);
    std::unique_ptr<PackageInstaller> installer = CreateSystemInstaller();
    std::unique_ptr<EventLog> log = CreateSystemEventLog();
    UpdateCommandEnv env;
    env.source = EffectiveUpdateSource(settings);
    PackageVersion current;
    (void)ParsePackageVersion(GetMyProductInfo()->GetVersionStr(), current);
    env.current = current;
    env.transport = transport.get();
    env.installer = installer.get();
    env.log = log.get();
    return RunUpdateCommand(env, action, owner);
  } catch (...) {
    return update_exit::kFailed;
  }
}

}  // namespace tv
