// Tarnvale64.EXE as an administrator meets it: its dialog driven from outside through window
// messages and a real mouse click, its effects read back from the registry and the service.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "config_ui/activity_ids.h"
#include "config_ui/main_dialog_ids.h"
#include "ui/msg_box_ids.h"
#include "entry/launcher_location.h"
#include "platform/win32/windows_include.h"
#include "support/service_driver.h"
#include "support/ui_driver.h"
#include "support/win_pixels.h"

namespace tv {
namespace {

using namespace tv::test;

constexpr wchar_t kProductKey[] = L"SOFTWARE\\Brellick\\Tarnvale";
constexpr wchar_t kDialogClass[] = L"#32770";
// Installing or stopping the service under Wine can take far longer than a window does.
constexpr DWORD kServiceLimitMs = 120000;
// MyConfig's bits that keep the one-time notices away: data loss accepted, saved, may close.
constexpr DWORD kNoNotices = 0x1 | 0x4 | 0x8;

void PutDword(const wchar_t* name, DWORD value) {
  ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProductKey, name, REG_DWORD, &value, sizeof(value)), ERROR_SUCCESS);
}

// The value, or -1 when it is missing.
long long GetDword(const wchar_t* name) {
  DWORD value = 0, size = sizeof(value);
  return ::RegGetValueW(HKEY_LOCAL_MACHINE, kProductKey, name, RRF_RT_REG_DWORD, nullptr, &value, &size) ==
                 ERROR_SUCCESS
             ? static_cast<long long>(value)
             : -1;
}

std::wstring GetText(const wchar_t* name) {
  wchar_t text[1024] = {};
  DWORD size = sizeof(text);
  ::RegGetValueW(HKEY_LOCAL_MACHINE, kProductKey, name, RRF_RT_REG_SZ, nullptr, text, &size);
  return text;
}

DWORD ServiceState() { return ServiceStateOf(L"Tarnvale"); }

// A folder of the test's own for the files the utility reads and writes, gone with them at the end.
struct ScratchFolder {
  explicit ScratchFolder(const wchar_t* stem)
      : path(std::filesystem::temp_directory_path() / (stem + std::to_wstring(::GetCurrentProcessId()))) {
    std::filesystem::create_directories(path);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::wstring Path(const wchar_t* name) const { return (path / name).wstring(); }
  // Writes the bytes, or a text as UTF-16 after a byte-order mark; answers the file's path, "" on failure.
  std::wstring Write(const wchar_t* name, const void* data, std::size_t size) const {
    std::ofstream out(path / name, std::ios::binary);
    return out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size)) ? Path(name) : L"";
  }
  std::wstring WriteUtf16(const wchar_t* name, const std::wstring& text) const {
    const std::wstring marked = L"\xFEFF" + text;
    return Write(name, marked.data(), marked.size() * sizeof(wchar_t));
  }
  std::filesystem::path path;
};

// What the header shows while the utility edits this computer's settings.
std::wstring ThisComputerLabel() {
  wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
  ::GetComputerNameW(computer, &size);
  return L"<B>" + std::wstring(computer) + L"</b> (This Computer)";
}

int RunLauncher(const wchar_t* arguments) {
  ChildProcess launcher;
  if (!launcher.Start(LauncherFolder() + L"TV64.EXE", arguments)) return -1;
  return launcher.Wait(kServiceLimitMs);
}

class ConfigUtility : public testing::Test {
 protected:
  void SetUp() override {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProductKey);
    PutDword(L"Config", kNoNotices);
  }
  void TearDown() override {
    utility_.reset();
    if (ServiceState() != 0) RunLauncher(L"/unload-silent");
  }

  // Starts Tarnvale64.EXE and waits for its dialog (null when it does not appear).
  HWND Open() {
    utility_ = std::make_unique<ChildProcess>();
    if (!utility_->Start(LauncherFolder() + L"Tarnvale64.EXE", L"")) return nullptr;
    return WaitForTopWindow(utility_->Id(), kDialogClass, L"Tarnvale Lite");
  }

  void InstallService() {
    ASSERT_TRUE(WaitForAutomaticStarts(kServiceLimitMs)) << "the service manager is still starting services";
    ASSERT_EQ(RunLauncher(L"/load-silent"), 0);
    ASSERT_TRUE(Eventually([] { return ServiceState() == SERVICE_RUNNING; }, kServiceLimitMs));
  }

  // Waits for the utility's next box, answers it with the button captioned `button` (ticking
  // "Don't show this message again" first when asked) and answers the message it showed.
  std::wstring Answer(const wchar_t* button, bool dontShowAgain = false) {
    HWND box = WaitForTopWindow(utility_->Id(), kDialogClass, L"Tarnvale");
    if (!box) {
      ADD_FAILURE() << "no box appeared";
      return L"(no box)";
    }
    const std::wstring message = BoxMessage(box);
    if (dontShowAgain) {
      HWND check = ::GetDlgItem(box, IDC_MSGEX_DONTSHOW);
      EXPECT_NE(check, nullptr) << "no \"Don't show this message again\" in " << testing::PrintToString(message);
      ::SendMessageW(check, BM_SETCHECK, BST_CHECKED, 0);
    }
    EXPECT_TRUE(PostPressByCaption(box, button)) << "no " << testing::PrintToString(std::wstring(button));
    EXPECT_TRUE(Eventually([&] { return !::IsWindow(box); })) << "the box did not close";
    return message;
  }

  // Returns once the dialog has handled everything posted to it before: a selection posted to
  // an edit behind them is handled after them. A box opened meanwhile is already up by then.
  static void Settle(HWND dialog) {
    HWND edit = ::GetDlgItem(dialog, IDC_TIMEOUT);
    const auto selection = [edit] {
      DWORD from = 0, to = 0;
      ::SendMessageW(edit, EM_GETSEL, reinterpret_cast<WPARAM>(&from), reinterpret_cast<LPARAM>(&to));
      return std::make_pair(from, to);
    };
    // A selection the edit does not hold yet, so that reaching it proves the message was handled.
    const std::pair<DWORD, DWORD> wanted =
        selection() == std::make_pair(0UL, 1UL) ? std::make_pair(1UL, 1UL) : std::make_pair(0UL, 1UL);
    ::PostMessageW(edit, EM_SETSEL, wanted.first, wanted.second);
    EXPECT_TRUE(Eventually([&] { return selection() == wanted; })) << "the dialog stopped handling its messages";
  }

  // Presses Import or Export and names `file` in the file dialog that opens.
  void ChooseFile(HWND dialog, int button, const wchar_t* title, const std::wstring& file) {
    ASSERT_TRUE(PostPress(dialog, button));
    HWND chooser = WaitForTopWindow(utility_->Id(), kDialogClass, title);
    ASSERT_NE(chooser, nullptr) << "no file dialog titled " << testing::PrintToString(std::wstring(title));
    // Wine names the file in combo 1148; a dialog of the older kind has edit 1152 instead.
    HWND name = ::GetDlgItem(chooser, 1148);
    if (!name || !::IsWindowVisible(name)) name = ::GetDlgItem(chooser, 1152);
    ASSERT_TRUE(name && ::SendMessageW(name, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(file.c_str())));
    ASSERT_TRUE(PostPress(chooser, IDOK));
    ASSERT_TRUE(Eventually([&] { return !::IsWindow(chooser); })) << "the file dialog stayed open";
  }

  std::unique_ptr<ChildProcess> utility_;
};

// Once the control has painted what it is going to paint: two looks in a row agree. Nothing is
// invalidated here, so whatever a command left on the screen is what is seen.
std::vector<std::uint32_t> SettledPixels(HWND control) {
  std::vector<std::uint32_t> last = ScreenPixels(control), now;
  Eventually([&] {
    now = ScreenPixels(control);
    const bool same = now == last;
    last = now;
    return same && !now.empty();
  });
  return now;
}

bool IsChecked(HWND dialog, int id) {
  return ::SendMessageW(::GetDlgItem(dialog, id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

TEST_F(ConfigUtility, ApplyByMouseSavesTheEditsShowsTheNoticesOnceAndReloadsTheService) {
  ASSERT_NO_FATAL_FAILURE(InstallService());
  PutDword(L"Timeout", 17);
  PutDword(L"Config", 0);
  // The service rewrites its statistics when it reloads: gone now, they mark the reload.
  ASSERT_TRUE(Eventually([] { return GetDword(L"SessionsMonitoring") >= 0; })) << "the service wrote no statistics";
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kProductKey, L"SessionsMonitoring");

  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr) << "the main dialog did not appear";
  EXPECT_TRUE(WaitForItemText(dialog, IDC_TIMEOUT, L"17")) << ItemText(dialog, IDC_TIMEOUT);
  ASSERT_TRUE(SetItemText(dialog, IDC_TIMEOUT, L"42"));
  ASSERT_FALSE(IsChecked(dialog, IDC_KEEP_LAST_USER));
  ASSERT_TRUE(PostClickItem(dialog, IDC_KEEP_LAST_USER));
  ASSERT_TRUE(Eventually([&] { return IsChecked(dialog, IDC_KEEP_LAST_USER); }));

  ASSERT_TRUE(XdoClick(::GetDlgItem(dialog, IDC_APPLY))) << "xdotool could not be started";
  EXPECT_EQ(Answer(L"OK", true), L"The settings have been saved.");
  EXPECT_EQ(GetDword(L"Timeout"), 42);
  EXPECT_EQ(GetDword(L"KeepLastActiveUser"), 1);
  EXPECT_EQ(Answer(L"OK").rfind(L"Just FYI: You can close the configuration utility (by pressing OK).", 0), 0u);
  EXPECT_EQ(GetDword(L"Config") & 0xC, 0x4) << "only the ticked notice stays hidden";
  EXPECT_TRUE(Eventually([] { return GetDword(L"SessionsMonitoring") >= 0; }, kServiceLimitMs))
      << "the service was not told to reload";

  // Again: the saved notice stays away, the other one does not.
  ASSERT_TRUE(SetItemText(dialog, IDC_TIMEOUT, L"43"));
  ASSERT_TRUE(PostPress(dialog, IDC_APPLY));
  EXPECT_EQ(Answer(L"OK").rfind(L"Just FYI:", 0), 0u);
  EXPECT_EQ(GetDword(L"Timeout"), 43);
}

TEST_F(ConfigUtility, EscapeIsIgnoredTheCloseBoxAsksAboutEditsAndASecondStartHandsOver) {
  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr);
  {
    PumpedWindow other(L"TvForegroundTaker", true);
    ASSERT_TRUE(Eventually([&] { return ::GetForegroundWindow() == other.Get(); }));
    ChildProcess second;
    ASSERT_TRUE(second.Start(LauncherFolder() + L"Tarnvale64.EXE", L""));
    EXPECT_EQ(second.Wait(), 0);
    EXPECT_TRUE(Eventually([&] { return ::GetForegroundWindow() == dialog; })) << "the first was not brought forward";
  }

  // Escape as the dialog manager turns it into a command, and as a key in an edit.
  ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
  ::PostMessageW(::GetDlgItem(dialog, IDC_TIMEOUT), WM_KEYDOWN, VK_ESCAPE, 0x00010001);
  ::PostMessageW(::GetDlgItem(dialog, IDC_TIMEOUT), WM_KEYUP, VK_ESCAPE, 0xC0010001);
  Settle(dialog);
  ASSERT_TRUE(::IsWindowVisible(dialog)) << "Escape closed or hid the dialog";
  EXPECT_EQ(FindTopWindow(utility_->Id(), kDialogClass, L"Tarnvale"), nullptr) << "Escape opened a box";

  ASSERT_TRUE(PostClickItem(dialog, IDC_FULL_SCREEN));
  ASSERT_TRUE(Eventually([&] { return IsChecked(dialog, IDC_FULL_SCREEN); }));
  ::PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
  EXPECT_EQ(Answer(L"Cancel"), L"Do you want to apply the changes?");
  Settle(dialog);
  ASSERT_TRUE(::IsWindowVisible(dialog)) << "Cancel closed or hid the dialog";
  ::PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
  EXPECT_EQ(Answer(L"No"), L"Do you want to apply the changes?");
  EXPECT_EQ(utility_->Wait(), 0);
  EXPECT_LE(GetDword(L"FullScreen"), 0) << "No saved the edits";

  dialog = Open();
  ASSERT_NE(dialog, nullptr);
  ASSERT_TRUE(PostClickItem(dialog, IDC_FULL_SCREEN));
  ASSERT_TRUE(Eventually([&] { return IsChecked(dialog, IDC_FULL_SCREEN); }));
  ::PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
  EXPECT_EQ(Answer(L"Yes"), L"Do you want to apply the changes?");
  EXPECT_EQ(utility_->Wait(), 0);
  EXPECT_EQ(GetDword(L"FullScreen"), 1) << "Yes did not save the edits";

  // Nothing edited: the close box closes at once.
  dialog = Open();
  ASSERT_NE(dialog, nullptr);
  ::PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
  EXPECT_EQ(utility_->Wait(), 0) << "closing without edits asked or failed";
}

TEST_F(ConfigUtility, MalformedImportChangesNothingAndExportImportRoundTrips) {
  const ScratchFolder folder(L"tv-cfg-e2e");
  const std::wstring good = folder.Path(L"good.cfg");
  const std::wstring bad = folder.WriteUtf16(
      L"bad.cfg", L"<?xml version=\"1.0\"?>\r\n<DATA Name=\"Timeout\" Type=\"REG_DWORD\" Value=\"5\"/>\r\n"
                  L"<DATA Name=\"Enable\" Type=\"REG_DWORD\" Value=1/>\r\n");
  ASSERT_FALSE(bad.empty());

  PutDword(L"Timeout", 33);
  const RegSnapshot before = SnapshotKey(HKEY_LOCAL_MACHINE, kProductKey);
  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr);
  ASSERT_NO_FATAL_FAILURE(ChooseFile(dialog, IDC_IMPORT, L"Import settings", bad));
  std::wstring shown = Answer(L"OK");
  Settle(dialog);
  if (FindTopWindow(utility_->Id(), kDialogClass, L"Tarnvale")) shown += L"\n--\n" + Answer(L"OK");
  EXPECT_NE(shown.find(L"Error parsing XML document in line 3:"), std::wstring::npos) << testing::PrintToString(shown);
  EXPECT_EQ(SnapshotKey(HKEY_LOCAL_MACHINE, kProductKey), before) << "a failed import changed the registry";
  EXPECT_EQ(ItemText(dialog, IDC_TIMEOUT), L"33") << "a failed import changed the dialog";

  ASSERT_NO_FATAL_FAILURE(ChooseFile(dialog, IDC_EXPORT, L"Export settings", good));
  ASSERT_TRUE(Eventually([&] { return ::GetFileAttributesW(good.c_str()) != INVALID_FILE_ATTRIBUTES; }));
  Settle(dialog);
  HKEY temporary = nullptr;
  EXPECT_NE(
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, (std::wstring(kProductKey) + L"\\Temp").c_str(), 0, KEY_READ, &temporary),
      ERROR_SUCCESS)
      << "the export left its scratch key behind";
  if (temporary) ::RegCloseKey(temporary);

  // Changed both in the dialog and behind its back: the import brings back what was exported.
  ASSERT_TRUE(SetItemText(dialog, IDC_TIMEOUT, L"55"));
  PutDword(L"Timeout", 44);
  ASSERT_NO_FATAL_FAILURE(ChooseFile(dialog, IDC_IMPORT, L"Import settings", good));
  EXPECT_TRUE(WaitForItemText(dialog, IDC_TIMEOUT, L"33")) << ItemText(dialog, IDC_TIMEOUT);
  ASSERT_TRUE(PostPress(dialog, IDC_APPLY));
  EXPECT_TRUE(Eventually([] { return GetDword(L"Timeout") == 33; })) << GetDword(L"Timeout");
  EXPECT_TRUE(Eventually([&] { return GetText(L"ImpExpPath") == good; })) << "the last file was not kept";
}

TEST_F(ConfigUtility, StatusPanelFollowsTheServiceTheEnableBoxAndActivityReports) {
  ASSERT_NO_FATAL_FAILURE(InstallService());
  PutDword(L"Enable", 1);
  // The service reads Enable when it starts.
  ASSERT_TRUE(SetServiceRunning(L"Tarnvale", false, kServiceLimitMs));
  ASSERT_TRUE(SetServiceRunning(L"Tarnvale", true, kServiceLimitMs));
  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr);
  const auto line1 = [&] { return ItemText(dialog, IDC_STATUS_LINE1); };
  const auto line2 = [&] { return ItemText(dialog, IDC_STATUS_LINE2); };
  EXPECT_TRUE(Eventually([&] { return line1().rfind(L"Monitoring ", 0) == 0; })) << testing::PrintToString(line1());
  const std::wstring sessions = L"Monitoring " + std::to_wstring(GetDword(L"SessionsMonitoring")) + L" user session(s)";
  EXPECT_EQ(line1().rfind(sessions, 0), 0u) << testing::PrintToString(line1());
  // Under Wine the service finds no user in the desktop's session, so it records nothing for it
  // and starts no agent; what it would record is read for this very session.
  ASSERT_EQ(::FindWindowW(L"TARNVALE_MONITOR", nullptr), nullptr) << "an agent runs; this step needs none";
  EXPECT_TRUE(Eventually([&] { return line2() == L"Tarnvale has not examined this session yet."; }))
      << testing::PrintToString(line2());
  DWORD session = 0;
  ASSERT_TRUE(::ProcessIdToSessionId(::GetCurrentProcessId(), &session));
  const std::wstring reasons = std::wstring(kProductKey) + L"\\Sessions";
  const DWORD excluded = 3;
  ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, reasons.c_str(), std::to_wstring(session).c_str(), REG_DWORD,
                              &excluded, sizeof(excluded)),
            ERROR_SUCCESS);
  EXPECT_TRUE(Eventually([&] {
    return line2() == L"Not monitoring the current user: the account is in the <b>Do not apply to</b> list.";
  })) << testing::PrintToString(line2());
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, reasons.c_str(), std::to_wstring(session).c_str());

  PumpedWindow monitor(L"TARNVALE_MONITOR", false);

  // A keyboard report shows once; after it the idle line moves in whole steps of 5 seconds.
  ::PostMessageW(dialog, ::RegisterWindowMessageW(L"BrellickMessage"), 303, 2);
  std::vector<std::wstring> seen;
  EXPECT_TRUE(Eventually(
      [&] {
        const std::wstring now = line2();
        if (seen.empty() || seen.back() != now) seen.push_back(now);
        return now == L"No activity for 10 seconds.";
      },
      30000));
  const auto from = std::find(seen.begin(), seen.end(), L"Activity detected: Keyboard.");
  EXPECT_EQ(std::vector<std::wstring>(from, seen.end()),
            (std::vector<std::wstring>{L"Activity detected: Keyboard.", L"No activity for 5 seconds.",
                                       L"No activity for 10 seconds."}))
      << testing::PrintToString(seen);

  // Enable cleared in the dialog, not yet applied: the panel says so.
  ASSERT_TRUE(PostClickItem(dialog, IDC_ENABLE));
  EXPECT_TRUE(Eventually([&] {
    return line1() ==
           L"Tarnvale is <red>NOT enabled</red>. Check the <b>Enable Tarnvale</b> box and press <b>Apply</b>.";
  })) << testing::PrintToString(line1());
  EXPECT_EQ(line2(), L"");
  ASSERT_TRUE(PostClickItem(dialog, IDC_ENABLE));
  EXPECT_TRUE(Eventually([&] { return line1().rfind(L"Monitoring ", 0) == 0; })) << testing::PrintToString(line1());

  ASSERT_TRUE(SetServiceRunning(L"Tarnvale", false, kServiceLimitMs));
  EXPECT_TRUE(Eventually([&] {
    return line1() == L"The Tarnvale service is <red>NOT running</red>. <a>Start the service...</a>";
  })) << testing::PrintToString(line1());
  EXPECT_EQ(line2(), L"");

  // Apply with Enable ticked starts the stopped service; the panel then says the settings apply at once.
  ASSERT_TRUE(PostPress(dialog, IDC_APPLY));
  EXPECT_TRUE(Eventually([] { return ServiceState() == SERVICE_RUNNING; }, kServiceLimitMs))
      << "Apply did not start it";
  EXPECT_TRUE(Eventually([&] {
    return line1() == L"The new settings apply at once, also in the sessions that are already open.";
  })) << testing::PrintToString(line1());
}

// The header keeps its text and its look (the computer's name in bold) through every command that
// sets it again: Restore defaults, Import, an import put back after its findings, and the GPO
// target, which without an editor says so and stays on this computer.
TEST_F(ConfigUtility, HeaderStaysMarkUpThroughRestoreDefaultsImportAndTheGpoTarget) {
  const ScratchFolder folder(L"tv-cfg-header");
  const std::wstring good = folder.Path(L"good.cfg");
  const std::wstring hand = folder.WriteUtf16(
      L"hand.cfg", L"<?xml version=\"1.0\"?>\r\n<DATA Name=\"Timeuot\" Type=\"REG_DWORD\" Value=\"7\"/>\r\n");
  ASSERT_FALSE(hand.empty());
  const std::wstring label = ThisComputerLabel();
  PutDword(L"Timeout", 33);
  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr);
  Settle(dialog);
  EXPECT_EQ(ItemText(dialog, IDC_TARGET_LABEL), label);
  HWND header = ::GetDlgItem(dialog, IDC_TARGET_LABEL);
  const std::vector<std::uint32_t> look = SettledPixels(header);
  ASSERT_GT(std::set<std::uint32_t>(look.begin(), look.end()).size(), 2u) << "no text seen on the screen";
  auto expectHeader = [&](const char* after) {
    Settle(dialog);
    EXPECT_EQ(ItemText(dialog, IDC_TARGET_LABEL), label) << after;
    EXPECT_TRUE(SettledPixels(header) == look) << "the header looks different after " << after;
  };

  ASSERT_TRUE(PostPress(dialog, IDC_RESTORE_DEFAULTS));
  Answer(L"Yes");
  EXPECT_TRUE(WaitForItemText(dialog, IDC_TIMEOUT, L"10"));
  expectHeader("Restore defaults");

  ASSERT_NO_FATAL_FAILURE(ChooseFile(dialog, IDC_EXPORT, L"Export settings", good));
  ASSERT_TRUE(Eventually([&] { return ::GetFileAttributesW(good.c_str()) != INVALID_FILE_ATTRIBUTES; }));
  ASSERT_NO_FATAL_FAILURE(ChooseFile(dialog, IDC_IMPORT, L"Import settings", good));
  expectHeader("Import");

  // A file with a name the product does not know: named with its line, and No puts it all back.
  ASSERT_TRUE(SetItemText(dialog, IDC_TIMEOUT, L"21"));
  ASSERT_NO_FATAL_FAILURE(ChooseFile(dialog, IDC_IMPORT, L"Import settings", hand));
  const std::wstring question = Answer(L"No");
  EXPECT_NE(question.find(hand + L":2: 'Timeuot' is not a setting Tarnvale reads"), std::wstring::npos)
      << testing::PrintToString(question);
  EXPECT_TRUE(WaitForItemText(dialog, IDC_TIMEOUT, L"21")) << ItemText(dialog, IDC_TIMEOUT);
  expectHeader("an import put back");

  // Manage... opens the target menu; Escape closes it again.
  ASSERT_TRUE(PostPress(dialog, IDC_MANAGE));
  HWND menu = WaitForTopWindow(utility_->Id(), L"#32768", nullptr);
  EXPECT_NE(menu, nullptr) << "Manage... opened no menu";
  if (menu) ::PostMessageW(menu, WM_KEYDOWN, VK_ESCAPE, 0);
  EXPECT_TRUE(Eventually([&] { return !FindTopWindow(utility_->Id(), L"#32768", nullptr); }));
  ::PostMessageW(dialog, WM_COMMAND, IDM_TARGET_GPO, 0);
  const std::wstring shown = Answer(L"OK");
  EXPECT_EQ(shown.rfind(L"Group Policy Objects cannot be edited here", 0), 0u) << testing::PrintToString(shown);
  expectHeader("the GPO target");
  EXPECT_EQ(GetText(L"GPOPath"), L"");
}

TEST_F(ConfigUtility, ApplyRefusesOutOfRangeNumbersInOrderAndKeepsTheDialogOpen) {
  PutDword(L"Timeout", 10);
  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr);
  const RegSnapshot before = SnapshotKey(HKEY_LOCAL_MACHINE, kProductKey);
  // Each step spoils one more field, earlier in the checking order, so each refusal names it.
  // The stale-session count is checked although its box is not ticked.
  const struct {
    int field;
    const wchar_t* text;
    const wchar_t* message;
  } steps[] = {
      {IDC_SHUTDOWN_TIMEOUT, L"10000", L"The value 10000 is invalid; must be between 1 and 9999 (inclusive)."},
      {IDC_STALE_COUNT, L"0", L"The value 0 is invalid; must be between 1 and 9999 (inclusive)."},
      {IDC_MSG_TIMEOUT, L"-1", L"The value -1 is invalid; must be between 0 and 9999 (inclusive)."},
      {IDC_TIMEOUT, L"0", L"The value 0 is invalid; must be between 1 and 9999 (inclusive)."},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(testing::Message() << "field " << step.field);
    ASSERT_TRUE(SetItemText(dialog, step.field, step.text));
    ASSERT_TRUE(PostPress(dialog, IDC_APPLY));
    EXPECT_EQ(Answer(L"OK"), step.message);
    Settle(dialog);
    // A field whose box is not ticked is disabled and cannot take the focus.
    HWND field = ::GetDlgItem(dialog, step.field);
    if (::IsWindowEnabled(field)) {
      EXPECT_EQ(FocusOf(dialog), field) << "the faulty field has no focus";
    }
  }
  EXPECT_TRUE(::IsWindowVisible(dialog));
  EXPECT_EQ(SnapshotKey(HKEY_LOCAL_MACHINE, kProductKey), before) << "a refused Apply saved something";

  // The lowest values allowed are taken, a warning time of 0 among them.
  for (int field : {IDC_TIMEOUT, IDC_STALE_COUNT, IDC_SHUTDOWN_TIMEOUT}) ASSERT_TRUE(SetItemText(dialog, field, L"1"));
  ASSERT_TRUE(SetItemText(dialog, IDC_MSG_TIMEOUT, L"0"));
  ASSERT_TRUE(PostPress(dialog, IDC_APPLY));
  EXPECT_TRUE(Eventually([] {
    return GetDword(L"Timeout") == 1 && GetDword(L"MessageTimeout") == 0 && GetDword(L"LogoffStaleCount") == 1 &&
           GetDword(L"ShutdownTimeout") == 1;
  })) << GetDword(L"Timeout")
      << " " << GetDword(L"MessageTimeout");
}

// The Activity dialog from a real click on its link: a program entry the service could not use
// is refused with its reason, the edits reach the registry at Apply, and under a policy the
// dialog only shows what the policy says.
TEST_F(ConfigUtility, ActivityDialogEditsTheSourcesRefusesABadProgramAndIsReadOnlyUnderAPolicy) {
  const std::wstring programs = std::wstring(kProductKey) + L"\\KeepAliveProcesses";
  ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, programs.c_str(), L"1", REG_SZ, L"render.exe", 22), ERROR_SUCCESS);
  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr);
  ASSERT_TRUE(XdoClick(::GetDlgItem(dialog, IDC_ACTIVITY_LINK))) << "xdotool could not be started";
  HWND activity = WaitForTopWindow(utility_->Id(), kDialogClass, L"Activity");
  ASSERT_NE(activity, nullptr) << "the link opened no Activity dialog";
  const auto count = [&] { return ::SendDlgItemMessageW(activity, IDC_ACTIVITY_PROGRAMS, LB_GETCOUNT, 0, 0); };
  EXPECT_EQ(count(), 1);

  ASSERT_TRUE(SetItemText(activity, IDC_ACTIVITY_PROGRAM_NAME, L"C:\\Tools\\export.exe"));
  ASSERT_TRUE(XdoClick(::GetDlgItem(activity, IDC_ACTIVITY_ADD)));
  const std::wstring refusal = Answer(L"OK");
  EXPECT_EQ(refusal.rfind(L"\"C:\\Tools\\export.exe\" holds a folder or drive", 0), 0u) << testing::PrintToString(refusal);
  EXPECT_EQ(ItemText(activity, IDC_ACTIVITY_PROGRAM_NAME), L"C:\\Tools\\export.exe") << "kept for correcting";
  ASSERT_TRUE(SetItemText(activity, IDC_ACTIVITY_PROGRAM_NAME, L" export* "));
  ASSERT_TRUE(PostPress(activity, IDC_ACTIVITY_ADD));
  EXPECT_TRUE(Eventually([&] { return count() == 2; }));
  EXPECT_TRUE(WaitForItemText(activity, IDC_ACTIVITY_PROGRAM_NAME, L""));
  ::SendDlgItemMessageW(activity, IDC_ACTIVITY_PROGRAMS, LB_SETCURSEL, 0, 0);
  ASSERT_TRUE(PostPress(activity, IDC_ACTIVITY_REMOVE));
  EXPECT_TRUE(Eventually([&] { return count() == 1; }));
  for (int id : {IDC_ACTIVITY_AUDIO, IDC_ACTIVITY_FIRST_INPUT}) {
    ASSERT_TRUE(PostClickItem(activity, id));
    ASSERT_TRUE(Eventually([&] { return IsChecked(activity, id); })) << id;
  }
  ASSERT_TRUE(XdoClick(::GetDlgItem(activity, IDOK)));
  ASSERT_TRUE(Eventually([&] { return !::IsWindow(activity); })) << "OK did not close it";
  EXPECT_EQ(GetDword(L"KeepAliveAudio"), -1) << "stored before Apply";
  ASSERT_TRUE(PostPress(dialog, IDC_APPLY));
  EXPECT_TRUE(Eventually([] { return GetDword(L"KeepAliveAudio") == 1; }));
  EXPECT_EQ(GetDword(L"IdleFromFirstInput"), 1);
  EXPECT_LE(GetDword(L"KeepAlivePresentation"), 0);
  const RegSnapshot list = SnapshotKey(HKEY_LOCAL_MACHINE, programs);
  ASSERT_EQ(list.size(), 1u);
  const std::vector<BYTE>& data = list.begin()->second.second;
  EXPECT_EQ(std::wstring(reinterpret_cast<const wchar_t*>(data.data())), L"export*");
  ::PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
  ASSERT_EQ(utility_->Wait(), 0);

  const wchar_t* policy = L"SOFTWARE\\Policies\\Brellick\\Tarnvale";
  const DWORD on = 1;
  ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, policy, L"Enable", REG_DWORD, &on, sizeof(on)), ERROR_SUCCESS);
  dialog = Open();
  // Read by now; a policy left behind would take over every later test.
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Policies\\Brellick");
  ASSERT_NE(dialog, nullptr);
  ASSERT_TRUE(PostPress(dialog, IDC_ACTIVITY_LINK));
  activity = WaitForTopWindow(utility_->Id(), kDialogClass, L"Activity");
  ASSERT_NE(activity, nullptr) << "the link is not usable under a policy";
  for (int id : {IDC_ACTIVITY_AUDIO, IDC_ACTIVITY_PRESENTATION, IDC_ACTIVITY_FIRST_INPUT, IDC_ACTIVITY_PROGRAM_NAME,
                 IDC_ACTIVITY_ADD, IDC_ACTIVITY_REMOVE, IDOK})
    EXPECT_FALSE(::IsWindowEnabled(::GetDlgItem(activity, id))) << id;
  EXPECT_TRUE(::IsWindowEnabled(::GetDlgItem(activity, IDCANCEL)));
  ASSERT_TRUE(PostPress(activity, IDCANCEL));
  EXPECT_TRUE(Eventually([&] { return !::IsWindow(activity); }));
}

// "Check for updates..." from a real click, against a manifest in a folder: the newer version is
// offered in a box over the utility, and No installs nothing.
TEST_F(ConfigUtility, CheckForUpdatesOffersANewerVersionFromAManifestFile) {
  const ScratchFolder folder(L"tv-cfg-update");
  const std::string text =
      "<?xml version=\"1.0\"?>\r\n<TarnvaleUpdate>\r\n<Version>99.1.0</Version>\r\n"
      "<Package Size=\"3000\" SHA256=\"" + std::string(64, 'a') + "\">Tarnvale-99.1.0-x64.msi</Package>\r\n"
      "<Released>2024-06-03</Released>\r\n<Notes>Faster start on terminal servers.</Notes>\r\n</TarnvaleUpdate>\r\n";
  const std::wstring manifest = folder.Write(L"Tarnvale-update.xml", text.data(), text.size());
  ASSERT_FALSE(manifest.empty());
  ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProductKey, L"UpdateSource", REG_SZ, manifest.c_str(),
                              static_cast<DWORD>((manifest.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);

  HWND dialog = Open();
  ASSERT_NE(dialog, nullptr);
  ASSERT_TRUE(XdoClick(::GetDlgItem(dialog, IDC_CHECK_UPDATES))) << "xdotool could not be started";
  HWND box = WaitForTopWindow(utility_->Id(), kDialogClass, L"Tarnvale");
  ASSERT_NE(box, nullptr) << "the link showed nothing";
  EXPECT_EQ(::GetWindow(box, GW_OWNER), dialog) << "not shown over the utility";
  const std::wstring offer = Answer(L"No");
  // How the offer is worded is the update check's; here, that it is the manifest's version.
  EXPECT_EQ(offer.rfind(L"Tarnvale <b>99.1.0</b> is available (released 2024-06-03)", 0), 0u)
      << testing::PrintToString(offer);
  Settle(dialog);
  EXPECT_EQ(FindTopWindow(utility_->Id(), kDialogClass, L"Tarnvale"), nullptr) << "No went on anyway";
  EXPECT_TRUE(::IsWindowVisible(dialog));
}

}  // namespace
}  // namespace tv

#else

TEST(ConfigUtility, OnlyOnWindows) { GTEST_SKIP() << "needs Wine and the built Tarnvale64.EXE"; }

#endif  // _WIN32
