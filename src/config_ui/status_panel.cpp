// The status panel's lines and their precedence.
#include "config_ui/status_panel.h"

#include <cwchar>
#include <utility>

#include "config_ui/main_dialog_ids.h"
#include "foundation/string_table.h"
#include "platform/last_error.h"
#include "platform/service_manager.h"
#include "settings/my_opts.h"
#include "settings/watch_reasons.h"

namespace tv {
namespace {

std::wstring Format(const wchar_t* format, int a, int b = 0, int c = 0) {
  wchar_t buffer[256];
  const int n = std::swprintf(buffer, sizeof buffer / sizeof buffer[0], format, a, b, c);
  return n < 0 ? std::wstring() : std::wstring(buffer, static_cast<std::size_t>(n));
}

std::wstring IdleText(int seconds) {
  if (seconds >= 3600) {
    return Format(L"No activity for %d hours %d minutes and %d seconds.", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
  }
  if (seconds >= 60) return Format(L"No activity for %d minutes and %d seconds.", seconds / 60, seconds % 60);
  return Format(L"No activity for %d seconds.", seconds);
}

// Line 2 for a session without a monitor window, from what the service recorded about it.
const wchar_t* UnwatchedText(DWORD reason) {
  if (reason == 0) return L"Tarnvale has not examined this session yet.";
  switch (static_cast<WatchReason>(reason)) {
    case WatchReason::kWatched:
      return L"Tarnvale watches this session, but its monitor process is not running at the moment.";
    case WatchReason::kNotEnabled:
      return L"Not monitoring the current user: Tarnvale was not enabled when the user logged on.";
    case WatchReason::kExcludedAccount:
      return L"Not monitoring the current user: the account is in the <b>Do not apply to</b> list.";
    case WatchReason::kExcludedGroup:
      return L"Not monitoring the current user: a group of the account is in the <b>Do not apply to</b> list.";
    case WatchReason::kNotApplied:
      return L"Not monitoring the current user: the <b>Apply to</b> list names neither the account nor one of its "
             L"groups.";
    case WatchReason::kGroupsUnknown:
      return L"Not monitoring the current user: the account's groups could not be read, and a group in the <b>Do "
             L"not apply to</b> list may include it.";
    case WatchReason::kAgentNotStarted:
      return L"Not monitoring the current user: the session's monitor process could not be started (see the event "
             L"log).";
    case WatchReason::kAgentKeptEnding:
      return L"Not monitoring the current user: the session's monitor process kept ending (see the event log).";
  }
  // A reason a newer service knows and this utility does not.
  return L"Not monitoring the current user.";
}

}  // namespace

bool ScheduleHoldsOff(const MyOpts& opts, const SystemTime& local) {
  // An unreadable schedule counts as on, as the service takes it.
  return opts.UseSchedule && *opts.GetSchedule() && !opts.GetScheduleObj().IsScheduleOn(local);
}

const wchar_t* ActivityText(int kind) {
  switch (kind) {
    case 1: return L"Activity detected: Mouse.";
    case 2: return L"Activity detected: Keyboard.";
    case 3: return L"Activity detected: CPU.";
    case 4: return L"Activity detected: User session change.";
    case 5: return L"Activity detected: Audio.";
    case 6: return L"Activity detected: Presentation.";
    default: return nullptr;
  }
}

std::wstring KeptAliveText(const KeptAliveRecord& record) {
  switch (record.source) {
    case KeepSource::kProgram: return L"Activity detected: Program " + record.program + L".";
    case KeepSource::kAudio: return ActivityText(5);
    case KeepSource::kPresentation: return ActivityText(6);
    case KeepSource::kNoInputYet:
    case KeepSource::kNone: break;
  }
  return {};
}

StatusPanel::StatusPanel(Tick created) : lastActivity_(created) {}

void StatusPanel::NoteSaved(int refreshes) { noticeLeft_ = refreshes > 0 ? refreshes : 0; }

BOOL StatusPanel::OnActivityReport(int kind, Tick now) {
  const wchar_t* text = ActivityText(kind);
  if (!text) {
    SetLastErrorCode(err::kInvalidParameter);
    return kFalse;
  }
  NoteActivity(text, now);
  return kTrue;
}

void StatusPanel::NoteActivity(std::wstring text, Tick now) {
  pendingActivity_ = std::move(text);
  lastActivity_ = now;
  nextThreshold_ = kIdleLineStepSeconds;
}

void StatusPanel::TakeKeptAlive(const StatusSnapshot& snapshot) {
  const bool known = keptAliveKnown_;
  keptAliveKnown_ = true;
  if (snapshot.keptAlive == keptAlive_) return;
  keptAlive_ = snapshot.keptAlive;
  KeptAliveRecord record;
  if (!known || !ParseKeptAlive(keptAlive_, record)) return;
  std::wstring text = KeptAliveText(record);
  if (!text.empty()) NoteActivity(std::move(text), snapshot.now);
}

StatusActions StatusPanel::Refresh(const StatusSnapshot& snapshot) {
  StatusActions actions;
  TakeKeptAlive(snapshot);
  if (snapshot.gpoMode) {
    line1_ = L"Managing the GPO:";
    line2_ = snapshot.gpoPath;
    return actions;
  }

  const bool running = snapshot.serviceState == svc::kRunning;
  if (!running || !snapshot.enabled) {
    // A managed computer cannot be changed from here, so the panel offers no remedy.
    const wchar_t* remedy = L"";
    if (!snapshot.policyManaged) {
      remedy = running ? L"Check the <b>Enable Tarnvale</b> box and press <b>Apply</b>."
                       : L"<a>Start the service...</a>";
    }
    line1_ = running ? L"Tarnvale is <red>NOT enabled</red>. " : L"The Tarnvale service is <red>NOT running</red>. ";
    line1_ += remedy;
    line2_ = snapshot.policyManaged ? LoadStr(IDS_POLICY_MANAGED) : L"";
    return actions;
  }

  std::wstring lastLogoff = snapshot.lastLogoff.substr(0, kLastLogoffChars - 1);
  if (noticeLeft_ > 0) {
    --noticeLeft_;
    // The service passes a reload on to every watched session and its agent at once.
    line1_ = L"The new settings apply at once, also in the sessions that are already open.";
  } else if (!lastLogoff.empty() && ++lastLogoffShown_ < kLastLogoffRefreshes) {
    line1_ = L"Logged off the user '" + lastLogoff + L"'.";
  } else {
    if (!lastLogoff.empty()) {
      // Shown long enough: the value goes, so that the same log-off is not announced again.
      actions.deleteLastLogoff = true;
      lastLogoffShown_ = 0;
    }
    // Under a policy every control is greyed out: the line says where the settings come from.
    line1_ = Format(snapshot.policyManaged ? L"Monitoring %d user session(s) on this computer, as a group policy sets. "
                                           : L"Monitoring %d user session(s) on this computer. ",
                    static_cast<int>(snapshot.sessionsMonitoring));
    if (snapshot.monitorCpuTicked) line1_ += Format(L"CPU load: %d%%", snapshot.cpuLoad);
  }
  RefreshIdleLine(snapshot);
  return actions;
}

void StatusPanel::RefreshIdleLine(const StatusSnapshot& snapshot) {
  if (!pendingActivity_.empty()) {
    line2_ = pendingActivity_;
    pendingActivity_.clear();
    return;
  }
  if (!snapshot.monitorWindowExists) {
    line2_ = UnwatchedText(snapshot.watchReason);
    return;
  }
  // Unsigned difference: the tick count wraps after 49.7 days and the dialog may be open then.
  const Tick elapsed = static_cast<Tick>(snapshot.now - lastActivity_);
  const int seconds = static_cast<int>(elapsed / 1000u);  // at most 4,294,967
  // The line moves in steps, not every second, so the panel does not flicker.
  if (seconds < nextThreshold_) return;
  line2_ = IdleText(seconds);
  if (snapshot.scheduleHoldsOff) line2_ += L" Outside the schedule: nobody is logged off now.";
  // The next step above `seconds`, however many refreshes were missed.
  nextThreshold_ += ((seconds - nextThreshold_) / kIdleLineStepSeconds + 1) * kIdleLineStepSeconds;
}

}  // namespace tv
