#include "config_ui/activity_editor.h"

#include <gtest/gtest.h>

#include "config_ui/activity_ids.h"
#include "platform/last_error.h"
#include "platform/registry.h"
#include "settings/my_opts.h"
#include "settings/program_names.h"

namespace tv {
namespace {

class ActivityEditorTest : public ::testing::Test {
 protected:
  ActivityEditorTest() : opts_(store_) {}
  MemKeyStore store_;
  MyOpts opts_;
};

TEST_F(ActivityEditorTest, ProgramNamesAreTakenTrimmedOrRefusedWithTheirReason) {
  const struct {
    const wchar_t* typed;
    const wchar_t* added;     // the entry, or null when refused
    const wchar_t* message;   // the start of the refusal
  } cases[] = {
      {L"render.exe", L"render.exe", nullptr},
      {L"  export* \t", L"export*", nullptr},
      {L"RENDER.EXE", nullptr, L"\"RENDER.EXE\" is already in the list."},
      {L"", nullptr, L"An entry is empty; give a program name such as render.exe."},
      {L"   ", nullptr, L"An entry is empty"},
      {L"C:\\Tools\\render.exe", nullptr, L"\"C:\\Tools\\render.exe\" holds a folder or drive"},
      {L"ren*der.exe", nullptr, L"\"ren*der.exe\" has a wildcard in the middle"},
      {L"*", nullptr, L"\"*\" alone would name every program"},
      {L"a|b.exe", nullptr, L"\"a|b.exe\" holds a character that no file name may hold"},
  };
  ActivityEditor editor(opts_, false);
  StrList expected;
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.typed)));
    const std::wstring message = editor.AddProgram(c.typed);
    if (c.added) {
      EXPECT_EQ(message, L"");
      expected.push_back(c.added);
    } else {
      EXPECT_EQ(message.rfind(c.message, 0), 0u) << testing::PrintToString(message);
      EXPECT_EQ(message.back(), L'.');
    }
    EXPECT_EQ(editor.Programs(), expected);
  }
  // The longest name a file may have is taken, one more is not.
  EXPECT_EQ(editor.AddProgram(std::wstring(kMaxProgramNameChars, L'a')), L"");
  const std::wstring tooLong = editor.AddProgram(std::wstring(kMaxProgramNameChars + 1, L'b'));
  EXPECT_NE(tooLong.find(L"is longer than a file name can be (255 characters)."), std::wstring::npos) << tooLong.size();
  EXPECT_EQ(editor.Programs().size(), 3u);
}

TEST_F(ActivityEditorTest, RemovingSelectsTheNextOrLastEntryAndTheMinusButtonFollowsTheList) {
  opts_.KeepAliveProcesses = {L"a.exe", L"b.exe", L"c.exe"};
  ActivityEditor editor(opts_, false);
  EXPECT_TRUE(editor.IsEnabled(IDC_ACTIVITY_REMOVE));
  EXPECT_EQ(editor.RemoveProgram(1), 1);
  EXPECT_EQ(editor.RemoveProgram(1), 0);
  EXPECT_EQ(editor.RemoveProgram(5), -1) << "outside the list";
  EXPECT_EQ(editor.Programs(), StrList{L"a.exe"});
  EXPECT_EQ(editor.RemoveProgram(0), -1);
  EXPECT_TRUE(editor.Programs().empty());
  EXPECT_FALSE(editor.IsEnabled(IDC_ACTIVITY_REMOVE));
  EXPECT_TRUE(editor.IsEnabled(IDC_ACTIVITY_ADD));
  EXPECT_EQ(editor.AddProgram(L"d.exe"), L"");
  EXPECT_TRUE(editor.IsEnabled(IDC_ACTIVITY_REMOVE));
}

TEST_F(ActivityEditorTest, StoreWritesAllFourAndAPolicyLeavesOnlyCancelAndChangesNothing) {
  opts_.KeepAliveAudio = 1;
  opts_.KeepAliveProcesses = {L"render.exe"};
  ActivityEditor editor(opts_, false);
  EXPECT_TRUE(editor.audio);
  EXPECT_FALSE(editor.presentation || editor.idleFromFirstInput);
  editor.audio = false;
  editor.presentation = editor.idleFromFirstInput = true;
  ASSERT_EQ(editor.AddProgram(L"obs64.exe"), L"");
  ASSERT_TRUE(editor.Store(opts_));
  EXPECT_EQ(opts_.KeepAliveAudio, 0);
  EXPECT_EQ(opts_.KeepAlivePresentation, 1);
  EXPECT_EQ(opts_.IdleFromFirstInput, 1);
  EXPECT_EQ(opts_.KeepAliveProcesses, (StrList{L"render.exe", L"obs64.exe"}));

  ActivityEditor managed(opts_, true);
  for (const ControlState& c : managed.Controls()) EXPECT_EQ(c.enabled, c.id == 2) << c.id;
  EXPECT_NE(managed.AddProgram(L"x.exe"), L"");
  EXPECT_EQ(managed.RemoveProgram(0), -1);
  EXPECT_EQ(managed.Programs().size(), 2u);
  managed.audio = true;
  EXPECT_FALSE(managed.Store(opts_));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_EQ(opts_.KeepAliveAudio, 0);
}

}  // namespace
}  // namespace tv
