// A simulated computer for the service's tests: every seam the service acts through, in memory,
// with the settings written to the in-memory registry the way the configuration utility would.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/local_time.h"
#include "platform/portable/accounts.h"
#include "platform/portable/clock.h"
#include "platform/portable/event_log.h"
#include "platform/portable/power.h"
#include "platform/portable/sessions.h"
#include "platform/registry.h"
#include "service/service_env.h"
#include "service/virtual_service.h"

namespace tv {
class MyOpts;
}

namespace tv::test {

// 2024-01-01 (a Monday) at hour:minute.
SystemTime MondayAt(int hour, int minute);

struct ServiceWorld {
  explicit ServiceWorld(Tick startTick = 5000, const SystemTime& startLocal = SimulatedClock::DefaultStart());

  // Writes the settings: the defaults, switched on, 5 minutes plus a 2-minute warning, both
  // account lists empty (so everybody is watched), then whatever `edit` changes.
  void Configure(const std::function<void(MyOpts&)>& edit = {});
  // A virtual-time service on this world, initialised and running.
  std::unique_ptr<VirtualService> Start();

  // The users the service logged off, in order.
  std::vector<std::wstring> LoggedOff() const;

  std::size_t Count(DWORD eventId) const { return log.Count(eventId); }
  // The insertion strings of the first entry with `eventId` (empty when there is none).
  std::vector<std::wstring> StringsOf(DWORD eventId) const;
  // Processes started in `session` whose command line contains `what` ("/msg", "/monitor").
  std::size_t Starts(SessionId session, const wchar_t* what) const;

  // Statistics values under the product's key.
  DWORD RegDword(const wchar_t* name, DWORD missing = 0xFFFFFFFFu);
  std::wstring RegText(const wchar_t* name);

  SimulatedClock clock;
  SimulatedSessions sessions;
  SimulatedAccounts accounts;
  SimulatedPower power;
  SimulatedEventLog log;
  MemKeyStore keys;
  FixedTimeZone zone{0};
  ServiceEnvironment env;
};

}  // namespace tv::test
