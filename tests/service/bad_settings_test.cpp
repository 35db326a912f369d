// Settings in shapes nobody meant, written at random into the local or the policy key: an idle
// session is still logged off on time, and every value not usable as stored is named in the log.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "foundation/utf16.h"
#include "foundation/service_log.h"
#include "service_world.h"
#include "settings/my_opts.h"
#include "settings/policy.h"
#include "settings/reg_key.h"

namespace tv {
namespace {

using test::ServiceWorld;

struct Stored {
  DWORD type = reg::kNone;  // kNone: not written
  std::vector<std::uint8_t> bytes;
  bool usable = true;  // whether the service may take it as stored, without a word
};

Stored Dword(DWORD v, bool usable) {
  Stored s{reg::kDword, std::vector<std::uint8_t>(4), usable};
  for (int i = 0; i < 4; ++i) s.bytes[i] = std::uint8_t(v >> (8 * i));
  return s;
}

Stored Text(const std::wstring& text, bool usable, DWORD type = reg::kSz) {
  Stored s{type, ToUtf16Le(text, true), usable};
  return s;
}

// A value for the numeric setting `name` whose usable range is [low, high]; the usable values
// drawn stay small, so that the time-out and the warning fit into the hour.
Stored RandomNumber(std::mt19937& rng, DWORD low, DWORD high) {
  const DWORD small = low + rng() % (std::min<DWORD>(high, 25) - low + 1);
  switch (rng() % 10) {
    case 0: return {};                                              // absent: the default
    case 1: return Dword(small, true);                              // as the utility writes it
    case 2: return Text(std::to_wstring(small), true);              // typed by hand, still a number
    case 3: return Dword(high + 1 + rng() % 100000, false);         // out of range
    case 4: return Text(L"-" + std::to_wstring(1 + rng() % 50), false);  // negative
    case 5: return Text(L"ten", false);                             // words
    case 6: return Text(L"", false);                                // blank text
    case 7: {                                                       // a 64-bit number
      Stored s{reg::kQword, std::vector<std::uint8_t>(8), false};
      s.bytes[0] = std::uint8_t(small);
      return s;
    }
    case 8: return Text(std::to_wstring(small) + L"\0x", false, reg::kMultiSz);
    default: {  // binary longer than a number
      Stored s{reg::kBinary, std::vector<std::uint8_t>(3 + rng() % 9, 0x41), false};
      return s;
    }
  }
}

struct Case {
  bool policy = false;
  std::vector<std::pair<std::wstring, Stored>> values;
};

Case RandomCase(std::mt19937& rng) {
  Case c;
  c.policy = rng() % 3 == 0;
  // Switched on as the utility writes it: a service switched off says so in its own entry.
  c.values.push_back({L"Enable", Dword(1, true)});
  struct R {
    const wchar_t* name;
    DWORD low, high;
  };
  for (R r : {R{L"Timeout", 1, 9999}, R{L"MessageTimeout", 0, 9999}, R{L"LogoffStaleCount", 1, 9999},
              R{L"PercentCPU", 1, 100}, R{L"ShutdownTimeout", 1, 9999}}) {
    c.values.push_back({r.name, RandomNumber(rng, r.low, r.high)});
  }
  // Switches: any number is on or off, but a switch stored in a form that does not read as the
  // number it shows is named too.
  for (const wchar_t* name : {L"LogoffStale", L"KeepLastActiveUser", L"FullScreen", L"MonitorKB", L"MonitorMouse",
                              L"MonitorCPU", L"Shutdown", L"ShutdownAction", L"UseSchedule"}) {
    switch (rng() % 4) {
      case 0: break;
      case 1: c.values.push_back({name, Dword(rng() % 3, true)}); break;
      case 2: c.values.push_back({name, Text(L"on", false)}); break;
      default: c.values.push_back({name, Text(L"1", true)}); break;
    }
  }
  // One session: the stale rule and the last-user rule must not decide this hour.
  c.values.push_back({L"KeepLastActiveUser", Dword(0, true)});
  static const wchar_t* const kSchedules[] = {L"   ", L"\t\r\n", L"Mon 8:00-8:00, ", L"garbage", L"Mon 25:00-26:00",
                                              L"*", L"Mon 0:00-24:00, "};
  const std::wstring schedule = kSchedules[rng() % std::size(kSchedules)];
  const bool scheduleUsable = schedule == L"*" || schedule == L"Mon 0:00-24:00, ";
  c.values.push_back({L"UseSchedule", Dword(1, true)});
  c.values.push_back({L"Schedule", Text(schedule, scheduleUsable)});
  // A text too long for its field reads as empty, and the built-in warning is shown.
  if (rng() % 2) c.values.push_back({L"MessageText", Text(std::wstring(10000, L'x'), true)});
  if (rng() % 4 == 0) c.values.push_back({L"MessageText", Dword(7, true)});
  return c;
}

TEST(BadSettings, NoStoredValueSwitchesTheLogoffOffInSilence) {
  std::mt19937 rng(20261124);
  for (int round = 0; round < 150; ++round) {
    SCOPED_TRACE("case " + std::to_string(round));
    const Case c = RandomCase(rng);
    ServiceWorld w(5000, test::MondayAt(9, 0));
    w.Configure();
    {
      RegKey key(c.policy ? kComputerPolicyKey : kAppRootKey, true, w.keys);
      ASSERT_TRUE(key.IsOpen());
      for (const auto& [name, v] : c.values) {
        if (v.type == reg::kNone) {
          (void)key.DelValue(name.c_str());
        } else {
          ASSERT_TRUE(key.PutBin(name.c_str(), v.bytes.data(), DWORD(v.bytes.size()), v.type));
        }
      }
    }
    w.sessions.AddSession(1, L"", L"alice");
    auto s = w.Start();

    // What the service runs on, corrections made: both times in the utility's ranges.
    const auto opts = s->CurrentSettings();
    ASSERT_GE(opts->Timeout, 1u);
    ASSERT_LE(opts->Timeout, 9999u);
    ASSERT_LE(opts->MessageTimeout, 9999u);
    DWORD seconds = 0;
    s->RunUntil([&] { return !w.LoggedOff().empty(); }, 3600, &seconds);
    EXPECT_EQ(w.LoggedOff(), std::vector<std::wstring>{L"alice"}) << "the idle session outlived the hour";
    EXPECT_EQ(seconds, (opts->Timeout + opts->MessageTimeout) * 60) << "not logged off on time";
    // A countdown of 0 minutes logs off at the time-out itself, without a warning.
    EXPECT_EQ(w.Starts(1, L"/msg"), opts->MessageTimeout ? 1u : 0u);

    std::set<std::wstring> named;
    for (const auto& e : w.log.Entries()) {
      if (e.eventId == evt::kSettingUnusable && !e.strings.empty()) named.insert(e.strings[0]);
    }
    // The last write of a name is what the key holds.
    std::map<std::wstring, bool> usable;
    for (const auto& [name, v] : c.values) usable[name] = v.type == reg::kNone || v.usable;
    for (const auto& [name, ok] : usable) {
      if (!ok) {
        EXPECT_TRUE(named.count(name)) << "nothing said about " << testing::PrintToString(name);
      } else {
        EXPECT_FALSE(named.count(name)) << "a usable " << testing::PrintToString(name) << " was reported";
      }
    }
  }
}

}  // namespace
}  // namespace tv
