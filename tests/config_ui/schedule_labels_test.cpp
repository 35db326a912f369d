#include "config_ui/schedule_labels.h"

#include <gtest/gtest.h>

#include <string>

#include "settings/schedule.h"

namespace tv {
namespace {

TEST(ScheduleLabels, TimesInBothStyles) {
  const ScheduleTimeStyle h24;
  EXPECT_EQ(FormatScheduleTime(0, false, h24), L"0:00");
  EXPECT_EQ(FormatScheduleTime(13, true, h24), L"13:30");
  EXPECT_EQ(FormatScheduleTime(24, false, h24), L"24:00") << "the end of the day";

  // Twelve-hour times on both sides of noon and at both ends of the day.
  const ScheduleTimeStyle h12{true, L"", L""};
  std::wstring times;
  for (int hour : {0, 11, 12, 13, 24}) times += FormatScheduleTime(hour, hour == 11, h12) + L" ";
  EXPECT_EQ(times, L"12:00AM 11:30AM 12:00PM 1:00PM 12:00AM ");

  const ScheduleTimeStyle local{true, L"vorm.", L"nachm."};
  EXPECT_EQ(FormatScheduleTime(15, false, local), L"3:00nachm.");
  EXPECT_EQ(FormatScheduleTime(9, false, local), L"9:00vorm.");
}

TEST(ScheduleLabels, DayLabelsAndSelectionDescription) {
  EXPECT_EQ(EffectiveDayLabels(kDayLabelsLocal, false), kDayLabelsEnglish);
  EXPECT_EQ(EffectiveDayLabels(kDayLabelsLocal, true), kDayLabelsLocal);
  EXPECT_EQ(EffectiveDayLabels(kDayLabelsShort, false), kDayLabelsShort);
  EXPECT_EQ(EffectiveDayLabels(7, true), kDayLabelsEnglish);
  EXPECT_EQ(GetDayLabel(0, kDayLabelsEnglish), L"Monday");
  EXPECT_EQ(GetDayLabel(6, kDayLabelsShort), L"Sun");
  EXPECT_EQ(GetDayLabel(7, kDayLabelsShort), L"");
  EXPECT_EQ(GetDayLabel(-1, kDayLabelsShort), L"");

  ScheduleSelection grid;
  grid.SetLabelExtent(40, 12);
  const ScheduleTimeStyle h24;
  EXPECT_EQ(DescribeSelection(grid, kDayLabelsEnglish, h24), L"");
  // Wednesday 14:30 dragged to Monday 9:00.
  const PixelRect g = grid.GridRect();
  grid.LeftDown(g.left + 145, g.top + 2 * grid.RowHeight());
  grid.MouseMove(g.left + 90, g.top);
  EXPECT_EQ(DescribeSelection(grid, kDayLabelsEnglish, h24), L"Monday - Wednesday, 9:00 - 15:00");
  grid.LeftDown(g.left + 235, g.top + 6 * grid.RowHeight());
  EXPECT_EQ(DescribeSelection(grid, kDayLabelsShort, h24), L"Sun, 23:30 - 24:00");
  EXPECT_EQ(DescribeSelection(grid, kDayLabelsShort, ScheduleTimeStyle{true, L"", L""}), L"Sun, 11:30PM - 12:00AM");
  grid.SetGranularity(1);
  grid.LeftDown(g.left + 235, g.top);
  EXPECT_EQ(DescribeSelection(grid, kDayLabelsShort, h24), L"Mon, 23:00 - 24:00") << "whole hours";
}

TEST(ScheduleLabels, MenuFollowsTheSelectionAndActs) {
  ScheduleLegend legend{L"Active", L"Inactive"};
  ScheduleSelection grid;
  auto items = ScheduleMenuItems(false, legend);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].text, L"Select all");
  EXPECT_FALSE(RunScheduleMenuCommand(grid, ScheduleMenuCommand::kSetInactive)) << "nothing selected";
  EXPECT_TRUE(grid.IsAllOn());

  items = ScheduleMenuItems(true, legend);
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[1].text, L"Set selected to Inactive") << "the legend names the states";
  EXPECT_EQ(items[1].command, ScheduleMenuCommand::kSetInactive);
  EXPECT_EQ(ScheduleMenuItems(true, ScheduleLegend{})[0].text, L"Set selected to On");

  EXPECT_TRUE(RunScheduleMenuCommand(grid, ScheduleMenuCommand::kSelectAll));
  EXPECT_TRUE(RunScheduleMenuCommand(grid, ScheduleMenuCommand::kSetInactive));
  EXPECT_EQ(grid.GetSchedule(), L"");
  EXPECT_TRUE(RunScheduleMenuCommand(grid, ScheduleMenuCommand::kClearSelection));
  EXPECT_FALSE(grid.HasSelection());
  EXPECT_FALSE(RunScheduleMenuCommand(grid, ScheduleMenuCommand::kSetActive));
}

}  // namespace
}  // namespace tv
