// The main dialog's status panel: two lines of mark-up text that tell the administrator whether
// the service runs, whether monitoring is enabled, what just happened (a save, a log-off) and
// how long the current user has been idle, or why the service leaves this session alone. It is refreshed once a second; each refresh is handed
// the tick count and a snapshot of the service's state, so the panel is tested on virtual time.
#pragma once

#include <cstddef>
#include <string>

#include "platform/system_time.h"
#include "platform/types.h"
#include "settings/kept_alive_record.h"

namespace tv {

class MyOpts;

// Characters the registry value "LastLogoff" can hold (512 bytes with the terminator).
inline constexpr std::size_t kLastLogoffChars = 256;
// Refreshes that show one "Logged off the user" line before the value is deleted.
inline constexpr int kLastLogoffRefreshes = 10;
// The idle line moves in steps of this many seconds.
inline constexpr int kIdleLineStepSeconds = 5;

// What activity report `kind` (1 mouse, 2 keyboard, 3 CPU, 4 session change, 5 audio,
// 6 presentation) says, or null.
const wchar_t* ActivityText(int kind);

// What a sparing the service recorded says, in the words of an activity report; "" for a
// source that is no activity (a kiosk that waits for its first input).
std::wstring KeptAliveText(const KeptAliveRecord& record);

// Whether the schedule of `opts` keeps the log-off out of force at local time `local`: only a
// schedule in use that reads and is inactive then, as the service decides.
bool ScheduleHoldsOff(const MyOpts& opts, const SystemTime& local);

// What one refresh looks at.
struct StatusSnapshot {
  Tick now = 0;
  bool gpoMode = false;
  std::wstring gpoPath;
  bool policyManaged = false;
  DWORD serviceState = 0;      // the service manager's current state; 0 when it could not be read
  bool enabled = false;        // Enable as edited (the check box or the tri-state combo)
  std::wstring lastLogoff;     // registry value "LastLogoff"; empty when absent
  DWORD sessionsMonitoring = 0;  // registry value "SessionsMonitoring"; 0 when absent
  bool monitorCpuTicked = false;
  int cpuLoad = 0;             // the processor load now, in percent
  bool monitorWindowExists = false;  // a monitor window runs in this session
  // The service's record for this session (a WatchReason), 0 when it has none.
  DWORD watchReason = 0;
  bool scheduleHoldsOff = false;  // the saved schedule keeps the log-off out of force now
  // The service's latest sparing of this session (FormatKeptAlive), empty when it has none.
  std::wstring keptAlive;
};

// What a refresh asks the dialog to do besides showing the lines.
struct StatusActions {
  bool deleteLastLogoff = false;  // delete the registry value "LastLogoff"
};

class StatusPanel {
 public:
  // `created` is the tick count the idle time counts from until the first activity report.
  explicit StatusPanel(Tick created);

  // A save took: the log-off notice is shown at the next `refreshes` refreshes that find the
  // service running and enabled (a refresh that shows a warning instead does not use one up).
  void NoteSaved(int refreshes);
  int NoticeRefreshesLeft() const { return noticeLeft_; }

  // An activity report (kind 1..6) at `now`: its text is shown at the next refresh and the idle
  // time starts again. 0 with kInvalidParameter for another kind (nothing changes).
  BOOL OnActivityReport(int kind, Tick now);

  // Recomputes both lines from `snapshot`. A sparing recorded since the refresh before counts
  // as an activity report at `snapshot.now`; the one found at the first refresh is old news.
  StatusActions Refresh(const StatusSnapshot& snapshot);

  const std::wstring& Line1() const { return line1_; }
  const std::wstring& Line2() const { return line2_; }

 private:
  // Line 2 while monitoring runs: the pending activity, the idle time or why the session is not
  // watched.
  void RefreshIdleLine(const StatusSnapshot& snapshot);
  void TakeKeptAlive(const StatusSnapshot& snapshot);
  void NoteActivity(std::wstring text, Tick now);

  std::wstring line1_;
  std::wstring line2_;
  int noticeLeft_ = 0;
  int lastLogoffShown_ = 0;
  std::wstring pendingActivity_;
  Tick lastActivity_;
  int nextThreshold_ = kIdleLineStepSeconds;
  bool keptAliveKnown_ = false;  // whether a refresh has read the service's record yet
  std::wstring keptAlive_;
};

}  // namespace tv
