// Shared by the option-set, settings-record and GPO tests: an in-memory registry, simulated
// accounts, a GPO directory, a scratch data folder, and raw writers for values the product would
// never write itself.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cwchar>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/portable/accounts.h"
#include "settings/my_opts.h"
#include "settings/portable/gpo.h"
#include "settings/reg_key.h"

namespace tv::test {

inline constexpr const wchar_t* kAppKey = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale";
inline constexpr const wchar_t* kTempKey = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale\\Temp";

// The folder the data-folder stand-in answers (set by the fixture).
inline std::wstring& ScratchFolder() {
  static std::wstring folder;
  return folder;
}

inline BOOL ScratchFolderSource(wchar_t* buffer, std::size_t size) {
  const std::wstring& f = ScratchFolder();
  if (f.empty() || f.size() + 1 > size) return kFalse;
  std::wcscpy(buffer, f.c_str());
  return kTrue;
}

// A settings record with every setting away from its default.
inline void FillAll(MyOpts& o) {
  o.SetAll(0x81);
  o.policyState = kPolicyEnabled;
  o.Enable = o.LogoffStale = o.KeepLastActiveUser = o.FullScreen = o.MonitorCPU = 1;
  o.MonitorKB = o.MonitorMouse = 0;
  o.Timeout = 33;
  o.MessageTimeout = 0;
  o.LogoffStaleCount = 3;
  o.PercentCPU = 70;
  std::wcscpy(o.MessageText, L"Bye in %d.\r\nReally.");
  std::wcscpy(o.MessageTextIfLocked, L"Locked: %d");
  o.UseSchedule = 1;
  o.SetSchedule(L"Mon 8:00-17:30, ");
  o.ApplyTo = {L"DOM\\alice", L"Staff"};
  o.Exclude = {};
  o.Shutdown = 1;
  o.ShutdownTimeout = 120;
  o.ShutdownAction = kActionHibernate;
  o.KeepAliveAudio = o.KeepAlivePresentation = o.IdleFromFirstInput = 1;
  o.KeepAliveProcesses = {L"render.exe", L"Zoom*"};
}

class RecordTest : public ::testing::Test {
 protected:
  RecordTest() : directory_(store_) {
    static std::atomic<int> counter{0};
    scratch_ = std::filesystem::temp_directory_path() /
               ("tv-opts-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
                std::to_string(counter++));
    std::filesystem::create_directories(scratch_);
    ScratchFolder() = scratch_.wstring();
  }
  ~RecordTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(scratch_, ignored);
    ScratchFolder().clear();
  }
  void TearDown() override {
    RegKey::EndLog();
    EXPECT_EQ(store_.OpenHandleCount(), 0u) << "a handle was left open";
    EXPECT_EQ(directory_.LiveObjects(), 0) << "a GPO object was not released";
  }

  MyOptsServices Services() { return {&store_, &accounts_, &directory_, ScratchFolderSource}; }

  // A raw value of any type, for what an administrator might type in by hand.
  void Raw(const wchar_t* path, const wchar_t* name, DWORD type, const std::vector<std::uint8_t>& data) {
    ASSERT_TRUE(RegKey(path, true, store_).PutBin(name, data.data(), static_cast<DWORD>(data.size()), type));
  }
  void Dword(const wchar_t* path, const wchar_t* name, DWORD value) {
    ASSERT_TRUE(RegKey(path, true, store_).PutDword(name, value));
  }
  void Text(const wchar_t* path, const wchar_t* name, const std::wstring& text) {
    ASSERT_TRUE(RegKey(path, true, store_).PutStr(name, text.c_str()));
  }
  bool HasKey(const wchar_t* path) { return RegKey(path, false, store_).IsOpen(); }
  std::wstring File(const char* name) const { return (scratch_ / name).wstring(); }

  MemKeyStore store_;
  SimulatedAccounts accounts_;
  SimulatedGpoDirectory directory_;
  std::filesystem::path scratch_;
};

}  // namespace tv::test
