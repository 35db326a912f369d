#include "simulator/sim_settings.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/text_file.h"
#include "settings/my_opts.h"
#include "settings/options.h"
#include "settings/reg_key.h"
#include "settings/settings_file.h"
#include "sim_fixture.h"

namespace tv {
namespace {

class SettingsFileTest : public testing::Test {
 protected:
  void TearDown() override {
    std::error_code ignored;
    for (const auto& p : written_) std::filesystem::remove(p, ignored);
  }

  // A fresh file in the temporary folder, removed after the test.
  std::wstring NewPath() {
    written_.push_back(std::filesystem::temp_directory_path() /
                       (L"tv_sim_settings_" + std::to_wstring(written_.size()) + L".cfg"));
    return written_.back().wstring();
  }
  // Loads `path`; answers the error ("" on success) and fills notes_.
  std::wstring Load(const std::wstring& path) {
    notes_.clear();
    std::wstring error;
    return LoadSettingsFile(path, L"x.cfg", keys_, &notes_, &error) ? std::wstring() : error;
  }
  // Loads a file of `lines` joined with CR LF after the XML declaration (so `lines[0]` is line 2).
  std::wstring LoadLines(const std::vector<std::wstring>& lines) {
    std::wstring text = L"<?xml version=\"1.0\"?>\r\n";
    for (const std::wstring& l : lines) text += l + L"\r\n";
    const std::wstring path = NewPath();
    EXPECT_TRUE(WriteTextFile(path.c_str(), text));
    return Load(path);
  }

  // The description of what the last successful load left in force.
  std::vector<std::wstring> DescribeLoaded() {
    MyOpts opts(keys_);
    (void)LoadSettingsInForce(opts, keys_);
    std::vector<std::wstring> lines = DescribeSettings(opts);
    lines.pop_back();  // the power action
    return lines;
  }

  static std::wstring Data(const wchar_t* type, const wchar_t* name, const wchar_t* value) {
    return std::wstring(L"<DATA Name=\"") + name + L"\" Type=\"" + type + L"\" Value=\"" + value + L"\"/>";
  }
  static std::wstring Dword(const wchar_t* name, const wchar_t* value) { return Data(L"REG_DWORD", name, value); }
  static std::wstring Text(const wchar_t* name, const wchar_t* value) { return Data(L"REG_SZ", name, value); }

  MemKeyStore keys_;
  std::vector<std::wstring> notes_;
  std::vector<std::filesystem::path> written_;
};

TEST_F(SettingsFileTest, AFileTheProductExportedLoadsAsItWasWritten) {
  MemKeyStore source;
  test::WriteSettings(source, 45, 3, [](MyOpts& o) {
    o.Exclude = {L"Domain Admins"};
    o.UseSchedule = 1;
    o.SetSchedule(L"Mon 8:00-17:30, ");
  });
  const std::wstring path = NewPath();
  RegKey key(kAppRootKey, false, source);
  ASSERT_TRUE(ExportRegKey(nullptr, key, path.c_str(), 1));

  EXPECT_EQ(Load(path), L"");
  EXPECT_TRUE(notes_.empty()) << testing::PrintToString(notes_);
  MyOpts opts(keys_);
  ASSERT_TRUE(opts.Load());
  EXPECT_STREQ(opts.GetSchedule(), L"Mon 8:00-17:30, ");
}

TEST_F(SettingsFileTest, WhatTheProductWouldMisreadAndBrokenFilesAreErrorsNamingTheLine) {
  // A number typed as words reads as 0: an immediate warning for everybody.
  EXPECT_EQ(LoadLines({Dword(L"Enable", L"1"), Text(L"Timeout", L"thirty")}),
            L"x.cfg:3: Timeout is \"thirty\", which Tarnvale would read as 0: give a number");
  EXPECT_EQ(LoadLines({Dword(L"Enable", L"1"), Dword(L"MessageText", L"5")}),
            L"x.cfg:3: MessageText must be text (REG_SZ)");
  const std::wstring schedule = LoadLines(
      {Dword(L"Enable", L"1"), Dword(L"UseSchedule", L"1"), Text(L"Schedule", L"Mon 8:00-17:30, Tue 9:00-25:00, ")});
  EXPECT_EQ(schedule.rfind(L"x.cfg:4: the schedule cannot be read from \"Tue 9:00-25:00, \"", 0), 0u)
      << testing::PrintToString(schedule);
  // Read as the service reads it: "*" is always; a refused schedule is named with its rewrite
  // and the format's examples.
  EXPECT_EQ(LoadLines({Dword(L"Enable", L"1"), Dword(L"UseSchedule", L"1"), Text(L"Schedule", L"*")}), L"");
  EXPECT_EQ(DescribeLoaded().back(), L"In force at all times (no schedule).");
  const std::wstring weekdays =
      LoadLines({Dword(L"Enable", L"1"), Dword(L"UseSchedule", L"1"), Text(L"Schedule", L"Mon-Fri 8:00-18:00")});
  EXPECT_NE(weekdays.find(L"\"Mon-Fri\" names several days, but a period covers one day: write one period for each day; write \"Mon 8:00-18:00, "
                          L"Tue 8:00-18:00, Wed 8:00-18:00, Thu 8:00-18:00, Fri 8:00-18:00\" instead."),
            std::wstring::npos)
      << testing::PrintToString(weekdays);
  EXPECT_NE(weekdays.find(L"\n    Mon 18:00-24:00, Tue 0:00-8:00"), std::wstring::npos) << "the examples follow";
  // A number given as digits in text is what the product reads, so it is fine.
  EXPECT_EQ(LoadLines({Dword(L"Enable", L"1"), Text(L"Timeout", L" 25")}), L"");
  MyOpts opts(keys_);
  (void)opts.Load();
  EXPECT_EQ(opts.Timeout, 25u);

  // A broken file: the reader's message on one line. It stops where the attribute value should
  // have begun: on the next line.
  const std::wstring truncated =
      LoadLines({Dword(L"Enable", L"1"), L"<DATA Name=\"Timeout\" Type=", Dword(L"MessageTimeout", L"5")});
  EXPECT_EQ(truncated.rfind(L"x.cfg:4: ", 0), 0u) << testing::PrintToString(truncated);
  EXPECT_EQ(truncated.find(L'\n'), std::wstring::npos);
  EXPECT_NE(Load(L"/no/such/folder/tarnvale.cfg").find(L"x.cfg: cannot read the file"), std::wstring::npos);
}

TEST_F(SettingsFileTest, NamesTheServiceIgnoresAndASwitchedOffProductAreNotes) {
  EXPECT_EQ(LoadLines({L"<KEY Name=\"Extra\">", Text(L"a", L"b"), L"</KEY>", Dword(L"Enable", L"0"),
                       Dword(L"Timout", L"20"), Dword(L"SessionsMaximum", L"7")}),
            L"");
  ASSERT_EQ(notes_.size(), 3u) << testing::PrintToString(notes_);
  EXPECT_EQ(notes_[0], L"x.cfg:6: 'Timout' is not a setting Tarnvale reads; it is ignored");
  EXPECT_EQ(notes_[1], L"x.cfg:2: the key 'Extra' is not read by the service");
  EXPECT_EQ(notes_[2].rfind(L"x.cfg:5: Tarnvale is not enabled", 0), 0u);
  MyOpts opts(keys_);
  (void)opts.Load();
  const auto described = DescribeSettings(opts);
  ASSERT_EQ(described.size(), 1u);
  EXPECT_NE(described[0].find(L"logs nobody off"), std::wstring::npos);
}

TEST(DescribeSettings, SaysWhenAndWhomInPlainWords) {
  MemKeyStore keys;
  test::WriteSettings(keys, 30, 5, [](MyOpts& o) {
    o.MonitorMouse = 0;
    o.MonitorCPU = 1;
    o.PercentCPU = 40;
    o.Exclude = {L"Administrators", L"Domain Admins"};
    o.Shutdown = 1;
    o.ShutdownTimeout = 1;
    o.ShutdownAction = kActionHibernate;
  });
  MyOpts opts(keys);
  ASSERT_TRUE(opts.Load());
  std::wstring all;
  for (const std::wstring& line : DescribeSettings(opts)) all += line + L"\n";
  for (const wchar_t* part : {L"After 30 minutes without input", L"5 minutes later it is logged off",
                              L"Activity is: keyboard, processor load above 40 %.",
                              L"Applies to: everybody; never to: Administrators, Domain Admins.", L"no schedule",
                              L"Hibernate once nobody has been logged on for 1 minute."})
    EXPECT_NE(all.find(part), std::wstring::npos) << testing::PrintToString(part) << " in " << testing::PrintToString(all);
}

}  // namespace
}  // namespace tv
