// A settings file holding values the service cannot use: the simulator must show and run what
// the service acts on after its corrections, so a run on the broken file is a run on the file
// that holds the corrected values, apart from the lines that name the corrections.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "foundation/service_log.h"
#include "settings/my_opts.h"
#include "settings/reg_key.h"
#include "settings/settings_file.h"
#include "sim_fixture.h"
#include "simulator/report.h"
#include "simulator/sim_settings.h"

namespace tv {
namespace {

// Seven users on one day: steady work through the morning (the users' input cadence against the
// time-out), one who walks away (warning and countdown), more sessions than the stale limit
// allows, a busy program (processor load counts), then an empty computer (the power action).
const std::wstring kDay =
    L"days 1\n"
    L"session 1 user=ann\nsession 2 user=ben\nsession 3 user=cat\nsession 4 user=dan\n"
    L"session 5 user=eve\nsession 6 user=fay\nsession 7 user=gil\n"
    L"Mon 08:00 logon 1\nMon 08:05 logon 2\nMon 08:10 logon 3\nMon 08:15 logon 4\n"
    L"Mon 08:20 logon 5\nMon 08:25 logon 6\nMon 08:30 logon 7\n"
    L"Mon 09:00 idle 2\n"
    L"Mon 09:30 busy 3 until 11:00\n"
    L"Mon 12:00 logoff 1\nMon 12:00 logoff 3\nMon 12:00 logoff 4\nMon 12:00 logoff 5\n"
    L"Mon 12:00 logoff 6\nMon 12:00 logoff 7\nMon 12:05 logoff 2\n"
    L"Mon 15:00 logon 1\nMon 15:30 logoff 1\n";

struct SimOutcome {
  std::vector<std::wstring> notes;
  std::vector<std::wstring> described;
  std::vector<std::wstring> lines;  // the timeline without the service's lines about unusable settings
  int settingWarnings = 0;          // those lines
  std::string summary;
  std::map<DWORD, int> events;  // without those lines
  int warnings = 0;
};

class SettingsInForce : public testing::Test {
 protected:
  void TearDown() override {
    std::error_code ignored;
    for (const auto& p : written_) std::filesystem::remove(p, ignored);
  }

  // The example settings with `name` stored as `type` `value`, exported as the utility does,
  // then taken through what tv-sim does with a file: load, describe, run.
  SimOutcome RunWith(const wchar_t* name, DWORD type, const std::wstring& value) {
    MemKeyStore source;
    test::WriteSettings(source, 10, 5, [](MyOpts& o) {
      o.LogoffStale = 1;
      o.LogoffStaleCount = 5;
      o.MonitorCPU = 1;
      o.PercentCPU = 25;
      o.UseSchedule = 1;
      o.SetSchedule(L"Mon 0:00-24:00, ");
      o.Shutdown = 1;
      o.ShutdownTimeout = 10;
      o.ShutdownAction = kActionShutdown;
    });
    RegKey key(kAppRootKey, true, source);
    if (type == reg::kDword) {
      EXPECT_TRUE(key.PutDword(name, static_cast<DWORD>(std::stoul(value))));
    } else {
      EXPECT_TRUE(key.PutStr(name, value.c_str()));
    }
    written_.push_back(std::filesystem::temp_directory_path() /
                       (L"tv_in_force_" + std::to_wstring(written_.size()) + L".cfg"));
    const std::wstring path = written_.back().wstring();
    EXPECT_TRUE(ExportRegKey(nullptr, key, path.c_str(), 1));

    SimOutcome run;
    MemKeyStore keys;
    std::wstring error;
    EXPECT_TRUE(LoadSettingsFile(path, L"x.cfg", keys, &run.notes, &error)) << testing::PrintToString(error);
    MyOpts opts(keys);
    (void)LoadSettingsInForce(opts, keys);
    run.described = DescribeSettings(opts);

    const Scenario scenario = test::MustParse(kDay);
    SimulationResult result;
    EXPECT_TRUE(RunSimulation(scenario, keys, {}, &result, &error)) << testing::PrintToString(error);
    for (const TimelineEntry& e : result.timeline) {
      if (e.kind == TimelineEntry::Kind::kService && e.eventId == evt::kSettingUnusable) {
        ++run.settingWarnings;
        continue;
      }
      run.lines.push_back(FormatWhen(scenario, e.at) + L" #" + std::to_wstring(e.session) + L" " + e.text);
    }
    run.summary = FormatSummary(scenario, result);
    run.warnings = result.summary.warnings;
    run.events = result.summary.eventCounts;
    run.events.erase(evt::kSettingUnusable);
    return run;
  }

  std::vector<std::filesystem::path> written_;
};

TEST_F(SettingsInForce, ARunOnValuesTheServiceCorrectsIsARunOnTheCorrectedValues) {
  struct Row {
    const wchar_t* name;
    DWORD type;
    const wchar_t* stored;
    const wchar_t* inForce;  // what the service uses instead, stored as the utility stores it
    DWORD fixedType;
  };
  // One row per fallback the service applies, both ends of each range.
  const Row rows[] = {
      {L"Timeout", reg::kDword, L"0", L"10", reg::kDword},
      {L"Timeout", reg::kDword, L"40000", L"10", reg::kDword},
      {L"Timeout", reg::kSz, L"-5", L"10", reg::kDword},  // a sign the record reads as a huge number
      {L"MessageTimeout", reg::kDword, L"10000", L"5", reg::kDword},
      {L"LogoffStaleCount", reg::kDword, L"0", L"5", reg::kDword},
      {L"LogoffStaleCount", reg::kDword, L"10000", L"5", reg::kDword},
      {L"PercentCPU", reg::kDword, L"0", L"25", reg::kDword},
      {L"PercentCPU", reg::kDword, L"150", L"25", reg::kDword},
      {L"ShutdownTimeout", reg::kDword, L"0", L"10", reg::kDword},
      {L"ShutdownTimeout", reg::kDword, L"10000", L"10", reg::kDword},
      // No half hour active: no schedule at all, like "*".
      {L"Schedule", reg::kSz, L" \t ", L"*", reg::kSz},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(r.name) + L" " + r.stored));
    const SimOutcome broken = RunWith(r.name, r.type, r.stored);
    const SimOutcome fixed = RunWith(r.name, r.fixedType, r.inForce);
    EXPECT_TRUE(fixed.notes.empty()) << testing::PrintToString(fixed.notes);
    EXPECT_EQ(fixed.settingWarnings, 0);
    // The broken file says what the service does about it, on the file's line.
    ASSERT_FALSE(broken.notes.empty());
    EXPECT_EQ(broken.notes[0].rfind(L"x.cfg:", 0), 0u) << testing::PrintToString(broken.notes);
    EXPECT_NE(broken.notes[0].find(r.name), std::wstring::npos) << testing::PrintToString(broken.notes);
    EXPECT_GT(broken.settingWarnings, 0);

    EXPECT_EQ(broken.described, fixed.described);
    EXPECT_EQ(broken.lines, fixed.lines);
    EXPECT_EQ(broken.summary, fixed.summary);
    EXPECT_EQ(broken.events, fixed.events);
  }
  // The scenario reaches what the rows change: warnings, idle, stale and power log-offs.
  SimOutcome base = RunWith(L"Timeout", reg::kDword, L"10");
  EXPECT_GT(base.warnings, 0);
  EXPECT_GT(base.events[evt::kLoggedOff], 0);
  EXPECT_GT(base.events[evt::kStaleLoggedOff], 0);
  EXPECT_GT(base.events[evt::kShutdownInitiated], 0);
}

}  // namespace
}  // namespace tv
