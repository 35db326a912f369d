// What the service's logic needs of the world, gathered in one place: the platform seams it acts
// through and the few knobs that let the same logic run on real threads in the service, on
// virtual time in tests and in the simulator.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/accounts.h"
#include "platform/clock.h"
#include "platform/event_log.h"
#include "platform/local_time.h"
#include "platform/power.h"
#include "platform/registry.h"
#include "platform/sessions.h"
#include "platform/types.h"

namespace tv {

struct ServiceEnvironment {
  Sessions& sessions;
  Accounts& accounts;
  Power& power;
  EventLog& eventLog;
  Clock& clock;
  // The registry the settings are read from and the statistics written to.
  KeyStore& keys;
  // Resolves the schedule's wall-clock times; null means the computer's own zone.
  const LocalTimeZone* zone = nullptr;
  // The launcher that the agent ("/monitor") and the warning ("/msg") are started from; "TV64.EXE"
  // when empty.
  std::wstring launcherPath;
  // Stem of the named events: "<prefix>EventIdle-<n>", "<prefix>EventCancel-<n>",
  // "<prefix>EventQuit". The agents know them by the product's stem; tests use their own so that
  // parallel runs do not meet.
  std::wstring objectPrefix = L"Tarnvale";
  // Makes the random tag of a session's event names (see foundation/object_names.h); empty means
  // the system's random source. Tests script it to meet a name that is already taken.
  std::function<std::wstring()> newObjectTag;
  // Length of one wait of the real threads: a second in the service, less in thread tests.
  DWORD roundMs = 1000;
  // Slice of the stop sequence's wait for the threads to end (ten of them at most).
  DWORD drainSliceMs = 500;
  // Formats "SessionsMaximumTime"; empty means the system locale's date and time formats.
  std::function<std::wstring(const SystemTime& local)> formatDateTime;
  // Called by the real threads after every round, with the session (kNoSession for the background
  // thread); lets thread tests sequence on rounds instead of sleeping.
  std::function<void(SessionId session)> onRound;

  const LocalTimeZone& Zone() const { return zone ? *zone : SystemLocalTimeZone(); }
  std::wstring Launcher() const { return launcherPath.empty() ? std::wstring(L"TV64.EXE") : launcherPath; }
  std::wstring FormatDateTime(const SystemTime& local) const;
  std::wstring NewObjectTag() const;
};

// The computer's own seams, owned together, for the service process.
struct SystemServiceSeams {
  std::unique_ptr<Sessions> sessions = CreateSystemSessions();
  std::unique_ptr<Accounts> accounts = CreateSystemAccounts();
  std::unique_ptr<Power> power = CreateSystemPower();
  std::unique_ptr<EventLog> eventLog = CreateSystemEventLog();
  std::unique_ptr<Clock> clock = CreateSystemClock();

  // An environment over these seams and the default key store; `log` (if not null) replaces the
  // event log, so the plumbing can hand in the source it registered.
  ServiceEnvironment Environment(const std::wstring& launcherPath, EventLog* log = nullptr) const;
};

// The system locale's short date and time, joined by a blank (the portable build: ISO-like).
std::wstring FormatLocalDateTime(const SystemTime& local);

}  // namespace tv
