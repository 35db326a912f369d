// The process list of a session through the Win32 seam, under Wine: the terminal services'
// listing where the library has it, the tool-help snapshot where it does not.
#include <gtest/gtest.h>

#include "platform/sessions.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"

#include <algorithm>
#include <cwctype>
#include <string>
#include <vector>

namespace tv {
namespace {

std::size_t CountOf(const std::vector<std::wstring>& names, const std::wstring& image) {
  return static_cast<std::size_t>(std::count_if(names.begin(), names.end(), [&](const std::wstring& n) {
    return std::equal(n.begin(), n.end(), image.begin(), image.end(),
                      [](wchar_t a, wchar_t b) { return std::towlower(a) == std::towlower(b); });
  }));
}

TEST(SessionProcesses, AProgramStartedInTheSessionIsListedUntilItEndsByEveryListing) {
  ::DWORD session = 0;
  ASSERT_TRUE(::ProcessIdToSessionId(::GetCurrentProcessId(), &session));
  // The terminal services' library, and one without any of its listings: the snapshot answers.
  for (const wchar_t* library : {L"wtsapi32.dll", L"kernel32.dll"}) {
    Win32SessionsOptions options;
    options.library = library;
    const auto sessions = CreateWin32Sessions(options);
    std::vector<std::wstring> before;
    ASSERT_TRUE(sessions->EnumerateSessionProcesses(session, before)) << library;

    wchar_t command[] = L"cmd.exe /k";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION child{};
    ASSERT_TRUE(::CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, CREATE_SUSPENDED | CREATE_NO_WINDOW,
                                 nullptr, nullptr, &startup, &child));
    std::vector<std::wstring> running;
    EXPECT_TRUE(sessions->EnumerateSessionProcesses(session, running));
    ::TerminateProcess(child.hProcess, 0);
    ::WaitForSingleObject(child.hProcess, 10000);
    ::CloseHandle(child.hThread);
    ::CloseHandle(child.hProcess);
    std::vector<std::wstring> after;
    EXPECT_TRUE(sessions->EnumerateSessionProcesses(session, after));

    EXPECT_EQ(CountOf(running, L"cmd.exe"), CountOf(before, L"cmd.exe") + 1) << library;
    EXPECT_EQ(CountOf(after, L"cmd.exe"), CountOf(before, L"cmd.exe")) << library;
    // Another session's list holds none of this session's programs.
    std::vector<std::wstring> other;
    if (sessions->EnumerateSessionProcesses(session + 7, other)) EXPECT_EQ(CountOf(other, L"cmd.exe"), 0u) << library;
  }
}

}  // namespace
}  // namespace tv

#else

TEST(SessionProcesses, OnlyOnWindows) { GTEST_SKIP() << "reads the Win32 session seam"; }

#endif  // _WIN32
