// Reads every event-log text back from the built TV64.DLL, as the event viewer does.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <string>

#include "launcher_location.h"
#include "platform/win32/windows_include.h"

namespace tv {
namespace {

struct Expected {
  DWORD id;
  const wchar_t* text;
};

constexpr Expected kTexts[] = {
    {0x60000001, L"Tarnvale service started.\r\n"},
    {0x60000002, L"Tarnvale service initiated a stop sequence.\r\n"},
    {0x60000003, L"Tarnvale service stopped.\r\n"},
    {0x60000006, L"Tarnvale started monitoring the user '%1'. \r\n"},
    {0x60000007, L"Tarnvale skipped the user '%1' from monitoring, because that user was listed in the 'Do not "
                 L"apply to' list. \r\n"},
    {0x60000008, L"Tarnvale skipped the user '%1' from monitoring, because the user was a member of the group '%2' "
                 L"listed in the 'Do not apply to' list.\r\n"},
    {0x60000009, L"Tarnvale skipped the user '%1' from monitoring, because the 'Apply To' list was not empty, and "
                 L"the user was not included in it. \r\n"},
    {0x6000000a, L"Tarnvale logged off the user '%1'.\r\n"},
    {0x60000012, L"Tarnvale service initiated a shutdown because no user has logged on to the computer during the "
                 L"shutdown timeout period.\r\n"},
    {0x60000014, L"Tarnvale service initiated a suspend because no user has logged on to the computer during the "
                 L"shutdown timeout period.\r\n"},
    {0x60000017, L"Tarnvale logged off the stale session for user '%1'.\r\n"},
    {0xa000000c, L"Tarnvale did not start monitoring because Tarnvale was not enabled at that time.\r\n"},
    {0xa000000d, L"Tarnvale did not process a logon event because Tarnvale was not enabled at that time.\r\n"},
    {0xa000000e, L"Tarnvale did not process the idle timeout for user '%1' because Tarnvale was not enabled at that "
                 L"time.\r\n"},
    {0xa0000016, L"Tarnvale did not log off user '%1' because that user was the most recent active user.\r\n"},
    {0xa0000019, L"Tarnvale did not process the idle timeout for user '%1' because according to its schedule "
                 L"Tarnvale was set to be inactive at that time.\r\n"},
    {0xe000000b, L"Tarnvale could not log off the user '%1'. (Code %2)\r\n"},
    {0xe000000f, L"Tarnvale could not start the monitor process for the user '%1'. (Code %2)\r\n"},
    {0xe0000013, L"Tarnvale encountered an error returned from InitiateSystemShutdownEx().\r\n"},
    {0xe0000015, L"Tarnvale encountered an error returned from SetSuspendState().\r\n"},
    {0xe0000018, L"Tarnvale could not log off the stale session for user '%1'. (Code %2)\r\n"},
};

// The text `id` has in `module`, inserts left as they are; empty when there is none.
std::wstring Lookup(HMODULE module, DWORD id) {
  wchar_t buffer[1024] = {};
  const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, module, id, 0,
                                   buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
  return std::wstring(buffer, n);
}

TEST(MessageTable, EveryEventTextReadsBackExactlyFromTheLibrary) {
  const std::wstring path = test::LauncherFolder() + L"TV64.DLL";
  HMODULE module = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(module, nullptr) << "cannot load " << testing::PrintToString(path) << ": " << ::GetLastError();

  for (const Expected& e : kTexts) {
    EXPECT_EQ(Lookup(module, e.id), e.text) << std::hex << e.id;
  }
  // Neighbours without a text are really absent, so no identifier was shifted onto another.
  for (DWORD missing : {0x60000000u, 0x60000004u, 0x6000000bu, 0xa0000001u, 0xe0000001u, 0x40000001u})
    EXPECT_TRUE(Lookup(module, missing).empty()) << std::hex << missing;
  ::FreeLibrary(module);
}

}  // namespace
}  // namespace tv

#else

TEST(MessageTable, OnlyOnWindows) { GTEST_SKIP() << "the message table lives in TV64.DLL"; }

#endif  // _WIN32
