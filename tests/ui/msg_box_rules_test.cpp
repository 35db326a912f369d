// The extended message box's decisions without a window.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ui/msg_box.h"
#include "ui/msg_box_rules.h"
#include "foundation/string_table.h"
#include "platform/last_error.h"
#include "support/message_recorder.h"

namespace tv {
namespace {

struct SetRow {
  std::uint32_t flags;
  const wchar_t* captions[3];  // "" = hidden
  int results[3];              // what pressing each button finally closes the box with; a hidden
                               // third button still answers as the cancel paths do
};

// Presses a button the way the dialog does: a first or second button posts a result code,
// which then closes the box.
int Press(const MsgExFlags& f, int id) {
  MsgCommand c = DecideMsgCommand(f, id);
  if (c.kind == MsgCommand::kPost) c = DecideMsgCommand(f, c.result);
  return c.kind == MsgCommand::kClose ? c.result : kResultNone;
}

TEST(MsgBoxRules, EachButtonSetShowsItsCaptionsAndClosesWithItsResults) {
  const SetRow rows[] = {
      {0, {L"OK", L"", L""}, {1, 0, 2}},
      {1, {L"OK", L"", L"&Cancel"}, {1, 0, 2}},
      {1 | 0x1000000, {L"OK", L"", L"&Continue"}, {1, 0, 2}},
      {2, {L"&Retry", L"&Continue", L"&Cancel"}, {4, 11, 2}},
      {6, {L"&Retry", L"&Continue", L"&Cancel"}, {4, 11, 2}},
      {3, {L"&Yes", L"&No", L"&Cancel"}, {6, 7, 2}},
      {3 | 0x4000000, {L"&Yes", L"&No", L"&Ignore"}, {6, 7, 2}},
      {4, {L"&Yes", L"&No", L""}, {6, 7, 7}},
      {5, {L"&Retry", L"", L"&Cancel"}, {4, 0, 2}},
      {5 | 0x1000000, {L"&Retry", L"", L"&Continue"}, {4, 11, 2}},
  };
  for (const SetRow& row : rows) {
    const MsgExFlags f(row.flags);
    MsgButton b[3];
    GetMsgButtons(f, b);
    for (int i = 0; i < 3; ++i) {
      SCOPED_TRACE(testing::Message() << "flags 0x" << std::hex << row.flags << " button " << i);
      EXPECT_EQ(b[i].id, kMsgButtonIds[i]);
      EXPECT_EQ(b[i].caption, row.captions[i]);
      EXPECT_EQ(b[i].visible, row.captions[i][0] != L'\0');
      EXPECT_EQ(Press(f, kMsgButtonIds[i]), row.results[i]);
    }
  }
}

TEST(MsgBoxRules, HiddenButtonsCloseTheRowAndEveryCancelPathAnswersNoInTheYesNoSet) {
  int row[3];
  ASSERT_EQ(GetButtonRow(MsgExFlags(1), row), 2);
  EXPECT_EQ(row[0], 27011);
  EXPECT_EQ(row[1], 27040) << "the third button takes the second's place";
  EXPECT_EQ(GetButtonRow(MsgExFlags(0), row), 1);
  EXPECT_EQ(row[1], 0);

  for (int set = 0; set <= 6; ++set) {
    const MsgExFlags f(static_cast<std::uint32_t>(set));
    const int expected = set == 4 ? kResultNo : kResultCancel;
    for (int id : {2, 27035, 27040}) {
      const MsgCommand c = DecideMsgCommand(f, id);
      EXPECT_EQ(c.kind, MsgCommand::kClose) << set << "/" << id;
      EXPECT_EQ(c.result, expected) << set << "/" << id;
      EXPECT_TRUE(c.askButtonCallback) << "a veto can keep the box open";
    }
  }
  // Result codes close after the veto; other commands belong to the dialog.
  EXPECT_TRUE(DecideMsgCommand(MsgExFlags(0), kResultOk).askButtonCallback);
  EXPECT_EQ(DecideMsgCommand(MsgExFlags(0), 27005).kind, MsgCommand::kIgnore);
  EXPECT_EQ(DecideMsgCommand(MsgExFlags(0), 27012).kind, MsgCommand::kIgnore) << "set 0 has no second answer";
  // A set number above 6 cannot invent buttons: it reads as OK.
  EXPECT_EQ(MsgExFlags(0xF).buttonSet, 0);
}

TEST(MsgBoxRules, FlagsPickDefaultButtonIconTopmostAndRetryOnDevice) {
  EXPECT_EQ(GetDefaultButtonId(MsgExFlags(3)), 27011);
  EXPECT_EQ(GetDefaultButtonId(MsgExFlags(3 | 0x100)), 27012);
  EXPECT_EQ(GetDefaultButtonId(MsgExFlags(3 | 0x300)), 27040) << "the third wins over the second";

  std::vector<int> icons;  // error, question, warning, information, and anything else as information
  for (std::uint32_t flag : {0x10u, 0x20u, 0x30u, 0x40u, 0xF0u}) icons.push_back(GetMsgIconResource(MsgExFlags(flag)));
  EXPECT_EQ(icons, (std::vector<int>{27024, 27023, 27025, 27022, 27022}));
  EXPECT_EQ(std::vector<int>({GetMsgIconPixels(96), GetMsgIconPixels(143), GetMsgIconPixels(144)}),
            (std::vector<int>{48, 48, 64}));

  // The warning's own word: OK, warning icon, foreground, topmost for its whole life.
  const MsgExFlags warning(0x50030);
  EXPECT_EQ(warning.buttonSet, 0);
  EXPECT_EQ(warning.icon, MsgIconKind::kWarning);
  EXPECT_TRUE(warning.topmost);
  EXPECT_FALSE(warning.dropTopmostOnActivate);
  EXPECT_TRUE(MsgExFlags(0x40000000).dropTopmostOnActivate);

  EXPECT_TRUE(MsgExFlags(0x10000002).retryOnDevice);
  EXPECT_TRUE(MsgExFlags(0x10000005).retryOnDevice);
  EXPECT_FALSE(MsgExFlags(0x10000003).retryOnDevice) << "Yes/No/Cancel has no Retry to press";
}

TEST(MsgBoxRules, TextArgumentsCarryTextsOrStringNumbersAndErrorsAppendByKind) {
  int id = -1;
  for (const auto& [argument, number] : {std::pair{MsgId(100), 100}, std::pair{MsgId(-100), 100},
                                         std::pair{static_cast<const wchar_t*>(nullptr), 0}}) {
    EXPECT_TRUE(IsMsgTextId(argument, id));
    EXPECT_EQ(id, number);
  }
  EXPECT_FALSE(IsMsgTextId(L"x", id));

  EXPECT_EQ(ResolveMsgText(MsgId(-100)), LoadStr(100));
  EXPECT_EQ(ResolveMsgText(MsgId(99)), L"") << "a number without a string is empty";
  EXPECT_EQ(ResolveMsgText(L"plain"), L"plain");

  const std::wstring error = L"Access is denied.";
  EXPECT_EQ(ComposeMsgText(L"Failed.", MsgExFlags(0x80000000), error), L"Failed.\n\nAccess is denied.");
  EXPECT_EQ(ComposeMsgText(L"<B>Failed.</B>", MsgExFlags(0xA0000000), error), L"<B>Failed.</B><br><br>Access is denied.");
  EXPECT_EQ(ComposeMsgText(L"Failed.", MsgExFlags(0x80000000), L""), L"Failed.") << "no error, nothing appended";
  EXPECT_EQ(ComposeMsgText(L"Failed.", MsgExFlags(0), error), L"Failed.");
  EXPECT_EQ(PlainMsgText(L"Done."), L"Done.\n ");
}

TEST(MsgBoxRules, HeightFollowsTheTextAndLosesTheCheckBoxBandWithoutAVariable) {
  MsgLayoutInput in;
  in.dialogHeight = 200;
  in.textHeight = 70;
  in.minTextHeight = 48;
  in.checkBoxTop = 100;
  in.lineTop = 130;
  in.hasCheckBox = true;

  in.neededTextHeight = 170;
  MsgLayout out = ComputeMsgLayout(in);
  EXPECT_EQ(out.textHeight, 170);
  EXPECT_EQ(out.moveDown, 100);
  EXPECT_EQ(out.dialogHeight, 300);

  in.neededTextHeight = 13;  // one short line: never below the icon
  in.hasCheckBox = false;
  out = ComputeMsgLayout(in);
  EXPECT_EQ(out.textHeight, 48);
  EXPECT_EQ(out.moveDown, -22);
  EXPECT_EQ(out.bandMoveUp, 30);
  EXPECT_EQ(out.dialogHeight, 200 - 22 - 30);

  in.neededTextHeight = 5000;  // taller than the screen: cut, the buttons stay on it
  in.maxDialogHeight = 700;
  out = ComputeMsgLayout(in);
  EXPECT_EQ(out.dialogHeight, 700);
  EXPECT_EQ(out.textHeight, 5000 - (200 + 4930 - 30 - 700));
}

#ifndef _WIN32
TEST(MsgBoxPortable, BoxesReachTheSinkAndAHiddenMessageAnswersItsDefaultButton) {
  test::MessageRecorder messages(kResultYes);
  int dontShow = 0;
  EXPECT_EQ(MsgEx(nullptr, 4 | 0x20, L"Proceed?", &dontShow), kResultYes);
  ASSERT_EQ(messages.shown.size(), 1u);
  EXPECT_EQ(messages.shown[0].text, L"Proceed?");

  dontShow = 1;
  EXPECT_EQ(MsgEx(nullptr, 4 | 0x100, L"Proceed?", &dontShow), kResultNo) << "the second button is the default";
  EXPECT_EQ(MsgEx(nullptr, 3 | 0x200, L"Proceed?", &dontShow), kResultCancel);
  EXPECT_EQ(messages.shown.size(), 1u) << "a hidden message is never shown";

  SetLastErrorCode(0);
  EXPECT_EQ(MsgLastError(nullptr, 0, nullptr), kResultOk);
  EXPECT_EQ(messages.shown.size(), 1u) << "no error and no text: nothing to say";
  SetLastErrorCode(5);
  MsgExFmt(nullptr, 0x80000000, L"Cannot open %ls (%d).", L"key", 7);
  ASSERT_EQ(messages.shown.size(), 2u);
  EXPECT_EQ(messages.shown[1].text.rfind(L"Cannot open key (7).\n\n", 0), 0u);
  EXPECT_STREQ(GetLastErrorText(0x8004FFFFu), L"Unknown error 0x8004FFFF");
  EXPECT_STREQ(GetLastErrorText(0x80072EEEu), L"The password was not allowed.");
}
#endif

}  // namespace
}  // namespace tv
