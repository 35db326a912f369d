// The Win32 session seam reading records laid out exactly as the system lays them out. Wine's
// library answers none of them for a session, so a stand-in (tests/fixtures/wtsapi_standin)
// scripts the sessions; it is loaded from a copy under a name of its own, which no builtin
// library of Wine's claims, so no override is needed.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <string>

#include "fixtures/wtsapi_standin/standin_location.h"
#include "fixtures/wtsapi_standin/standin_script.h"
#include "platform/sessions.h"
#include "platform/win32/windows_include.h"

namespace tv {
namespace {

bool ScriptSession(::DWORD id, bool locked) {
  const std::wstring key =
      std::wstring(standin::kScriptKey) + L"\\" + standin::kSessionsKey + L"\\" + std::to_wstring(id);
  const wchar_t user[] = L"someone";
  const ::DWORD lock = locked ? 1 : 0;
  return ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), standin::kUserValue, REG_SZ, user, sizeof(user)) ==
             ERROR_SUCCESS &&
         ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), standin::kLockedValue, REG_DWORD, &lock, sizeof(lock)) ==
             ERROR_SUCCESS;
}

class ScriptedRecords : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    copy_ = std::wstring(temp) + L"tv-standin-" + std::to_wstring(::GetCurrentProcessId()) + L".dll";
    ASSERT_TRUE(::CopyFileW(test::StandinLibraryPath().c_str(), copy_.c_str(), FALSE)) << ::GetLastError();
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, standin::kScriptKey);
    const ::DWORD owner = ::GetCurrentProcessId();
    ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, standin::kScriptKey, standin::kOwnerValue, REG_DWORD, &owner,
                                sizeof(owner)),
              ERROR_SUCCESS);
  }
  void TearDown() override {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, standin::kScriptKey);
    // Its parent goes too unless something else of the tests' is still in it.
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\TarnvaleTest");
    ::DeleteFileW(copy_.c_str());
  }
  std::wstring copy_;
};

// The extended record's level-1 data follows its level field at the alignment of its 64-bit
// times, not right after it; and Windows 7 reports the lock flag the other way round, which the
// stand-in does as the system it runs on would. Both sessions must read right, whichever
// version Wine claims to be.
TEST_F(ScriptedRecords, LockStateOfALockedAndAnUnlockedSession) {
  ASSERT_TRUE(ScriptSession(3, true));
  ASSERT_TRUE(ScriptSession(4, false));
  {
    auto sessions = CreateWin32Sessions({copy_.c_str(), nullptr});
    ASSERT_TRUE(sessions->IsAvailable());
    bool locked = false;
    ASSERT_TRUE(sessions->QueryLockState(3, locked)) << GetLastErrorCode();
    EXPECT_TRUE(locked);
    locked = true;
    ASSERT_TRUE(sessions->QueryLockState(4, locked)) << GetLastErrorCode();
    EXPECT_FALSE(locked);
  }
}

}  // namespace
}  // namespace tv

#else

TEST(ScriptedRecords, OnlyOnWindows) { GTEST_SKIP() << "reads the Win32 session seam"; }

#endif  // _WIN32
