#include <gtest/gtest.h>

#include "platform/portable/event_log.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#endif

namespace tv {
namespace {

TEST(EventLog, TypeFollowsTheSeverityBitsOfTheIdentifier) {
  EXPECT_EQ(EventTypeOf(0x60000017), EventType::kInformation);
  EXPECT_EQ(EventTypeOf(0xa000000c), EventType::kWarning);
  EXPECT_EQ(EventTypeOf(0xe000000b), EventType::kError);
}

#ifdef _WIN32
TEST(Win32EventLog, RegistersReportsAndRemovesAThrowAwaySource) {
  const std::wstring source = L"TarnvaleSeamTest" + std::to_wstring(::GetCurrentProcessId());
  auto log = CreateSystemEventLog(source);
  ASSERT_TRUE(log->RegisterSource(L"C:\\Tarnvale\\TV64.DLL")) << GetLastErrorCode();

  const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\" + source;
  wchar_t file[MAX_PATH] = {};
  ::DWORD size = sizeof(file), types = 0;
  EXPECT_EQ(::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"EventMessageFile", RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND,
                           nullptr, file, &size),
            ERROR_SUCCESS);
  EXPECT_STREQ(file, L"C:\\Tarnvale\\TV64.DLL");
  size = sizeof(types);
  EXPECT_EQ(::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"TypesSupported", RRF_RT_REG_DWORD, nullptr, &types, &size),
            ERROR_SUCCESS);
  EXPECT_EQ(types, 7u);

  EXPECT_TRUE(log->Report(EventType::kInformation, 0x60000001, {})) << GetLastErrorCode();
  EXPECT_TRUE(log->Report(EventType::kError, 0xe000000b, {L"CORP\\ann", L"1314"})) << GetLastErrorCode();

  ASSERT_TRUE(log->RemoveSource());
  HKEY probe = nullptr;
  EXPECT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &probe), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(log->RemoveSource());  // already gone is fine
}
#endif

}  // namespace
}  // namespace tv
