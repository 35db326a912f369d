#include "config_ui/schedule_selection.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/last_error.h"
#include "settings/schedule.h"

namespace tv {
namespace {

// Label extent 40 x 12 with the default margins: the grid starts at x = 10 + 40 + 6 = 56, y = 20,
// rows of 16 pixels, hours of 10 pixels (zoom 1), slots of 5.
constexpr int kLeft = 56;
constexpr int kTop = 20;
constexpr int kRow = 16;

ScheduleSelection MakeGrid() {
  ScheduleSelection s;
  s.SetLabelExtent(40, 12);
  return s;
}

int X(int hour, int minute) { return kLeft + hour * 10 + (minute >= 30 ? 5 : 0); }
int Y(int row) { return kTop + row * kRow; }

TEST(ScheduleSelection, GeometryAndSetterRefusals) {
  ScheduleSelection s = MakeGrid();
  EXPECT_EQ(s.GridRect(), (PixelRect{kLeft, kTop, kLeft + 240, kTop + 7 * kRow}));
  EXPECT_EQ(s.SlotWidth(), 5);

  ASSERT_TRUE(s.SetZoom(3));
  ASSERT_TRUE(s.SetGranularity(4));
  EXPECT_EQ(s.GridRect().right - s.GridRect().left, 720);
  EXPECT_EQ(s.SlotWidth(), 7);  // whole pixels: an hour of 30 over 4

  SetLastErrorCode(0);
  EXPECT_FALSE(s.SetGranularity(3));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidParameter);
  EXPECT_FALSE(s.SetZoom(0));
  EXPECT_EQ(s.Granularity() * 10 + s.Zoom(), 43) << "refusals change nothing";
  EXPECT_FALSE(s.SetLabelMargins(-1, 0));
  ASSERT_TRUE(s.SetLabelMargins(0, 0));
  EXPECT_EQ(s.GridRect().left, 50);

  // A label font of no height must not divide by zero anywhere.
  ScheduleSelection flat;
  ASSERT_TRUE(flat.SetLabelMargins(0, 0));
  EXPECT_EQ(flat.LeftDown(15, 20), PressResult::kStartedDrag);
  EXPECT_TRUE(flat.MouseMove(500, 500));
  EXPECT_TRUE(flat.SetSelectionState(kFalse));
  EXPECT_FALSE(flat.IsAllOn());
}

TEST(ScheduleSelection, DragSnapsOutwardInEitherDirection) {
  ScheduleSelection s = MakeGrid();
  // Wednesday (row 2) 14:30, a pixel into the slot, dragged up-left to Monday 9:00.
  ASSERT_EQ(s.LeftDown(X(14, 30) + 2, Y(2) + 7), PressResult::kStartedDrag);
  EXPECT_EQ(s.Selection(), (PixelRect{X(14, 30), Y(2), X(15, 0), Y(3)}));
  EXPECT_TRUE(s.MouseMove(X(9, 0) + 1, Y(0) + 1));
  EXPECT_FALSE(s.MouseMove(X(9, 0) + 3, Y(0) + 2)) << "same cell, no repaint";
  s.LeftUp();
  EXPECT_FALSE(s.IsSelecting());
  SelectionSpan span;
  ASSERT_TRUE(s.GetSpan(span));
  EXPECT_EQ((std::vector<int>{span.firstRow, span.lastRow, span.firstHour, span.lastHour, span.startsAtHalf,
                              span.endsAtHalf}),
            (std::vector<int>{0, 2, 9, 14, 0, 0}));
  EXPECT_FALSE(s.MouseMove(0, 0)) << "no drag after the release";

  ASSERT_TRUE(s.SetSelectionState(kFalse));
  EXPECT_EQ(s.GetSchedule(),
            L"Mon 0:00-9:00, Mon 15:00-24:00, Tue 0:00-9:00, Tue 15:00-24:00, Wed 0:00-9:00, Wed 15:00-24:00, "
            L"Thu 0:00-24:00, Fri 0:00-24:00, Sat 0:00-24:00, Sun 0:00-24:00, ");

  // Dragging beyond the grid stops at its edge; a press outside drops the selection.
  ASSERT_EQ(s.LeftDown(X(20, 0), Y(5)), PressResult::kStartedDrag);
  EXPECT_TRUE(s.MouseMove(10000, 10000));
  EXPECT_EQ(s.Selection(), (PixelRect{X(20, 0), Y(5), kLeft + 240, Y(7)}));
  EXPECT_EQ(s.LeftDown(kLeft - 1, Y(3)), PressResult::kDroppedSelection);
  EXPECT_FALSE(s.HasSelection());
  EXPECT_FALSE(s.GetSpan(span));
}

TEST(ScheduleSelection, ArrowKeysMoveCornersAndRefuseEmptyOrOutside) {
  ScheduleSelection s = MakeGrid();
  const PixelRect first{kLeft, kTop, kLeft + 5, kTop + kRow};
  EXPECT_TRUE(s.Arrow(ArrowKey::kDown, false, false)) << "any arrow starts at Monday's first slot";
  EXPECT_EQ(s.Selection(), first);

  EXPECT_FALSE(s.Arrow(ArrowKey::kLeft, false, false)) << "would leave the grid";
  EXPECT_FALSE(s.Arrow(ArrowKey::kRight, false, true)) << "Shift+Right puts the start onto the end";
  EXPECT_FALSE(s.Arrow(ArrowKey::kLeft, true, false)) << "Ctrl+Left puts the end onto the start";
  EXPECT_EQ(s.Selection(), first) << "a refused key changes nothing";

  EXPECT_TRUE(s.Arrow(ArrowKey::kRight, true, false));  // end corner: 0:00-1:00
  EXPECT_TRUE(s.Arrow(ArrowKey::kDown, true, false));   // two rows
  EXPECT_TRUE(s.Arrow(ArrowKey::kRight, false, false)); // shift all: 0:30-1:30
  EXPECT_EQ(s.Selection(), (PixelRect{kLeft + 5, kTop, kLeft + 15, kTop + 2 * kRow}));
  EXPECT_TRUE(s.Arrow(ArrowKey::kDown, false, true));   // start corner down a row
  EXPECT_EQ(s.Selection(), (PixelRect{kLeft + 5, kTop + kRow, kLeft + 15, kTop + 2 * kRow}));
  EXPECT_FALSE(s.Arrow(ArrowKey::kDown, false, true)) << "start onto the end row";

  // Half-past edges touch only the halves inside: Tuesday 0:30-1:30 off.
  ASSERT_TRUE(s.SetSelectionState(kFalse));
  EXPECT_EQ(s.Cell(1, 0), kFirstHalfBits);
  EXPECT_EQ(s.Cell(1, 1), kSecondHalfBits);
  EXPECT_EQ(s.Cell(0, 0), kFullHourBits);

  // Walking the last slot to the far corner stays inside; one more step is refused.
  ScheduleSelection w = MakeGrid();
  ASSERT_TRUE(w.Arrow(ArrowKey::kRight, false, false));
  for (int i = 0; i < 47; ++i) ASSERT_TRUE(w.Arrow(ArrowKey::kRight, false, false)) << i;
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(w.Arrow(ArrowKey::kDown, false, false)) << i;
  EXPECT_FALSE(w.Arrow(ArrowKey::kRight, false, false));
  EXPECT_FALSE(w.Arrow(ArrowKey::kDown, false, false));
  EXPECT_TRUE(w.IsHalfSelected(6, 47));
  EXPECT_FALSE(w.IsHalfSelected(6, 46));
}

TEST(ScheduleSelection, SelectionStateByGranularity) {
  ScheduleSelection s = MakeGrid();
  EXPECT_FALSE(s.SetSelectionState(kTrue)) << "no selection: the caller beeps";
  EXPECT_TRUE(s.IsAllOn());

  // Granularity 2: Thursday 8:30-10:30 off touches the second half of 8 and the first of 10.
  s.LeftDown(X(8, 30), Y(3));
  s.MouseMove(X(10, 0), Y(3));
  s.LeftUp();
  ASSERT_TRUE(s.SetSelectionState(kFalse));
  EXPECT_EQ(s.Cell(3, 8), kFirstHalfBits);
  EXPECT_EQ(s.Cell(3, 9), 0);
  EXPECT_EQ(s.Cell(3, 10), kSecondHalfBits);
  EXPECT_NE(s.GetSchedule().find(L"Thu 0:00-8:30, Thu 10:30-24:00, "), std::wstring::npos);
  ASSERT_TRUE(s.SetSelectionState(kTrue));
  EXPECT_TRUE(s.IsAllOn());

  // Granularity 1 sets whole hours even under a selection with half-past edges.
  s.SetGranularity(1);
  ASSERT_TRUE(s.SetSelectionState(kFalse));
  EXPECT_EQ(s.Cell(3, 8) | s.Cell(3, 10), 0);

  // Granularity 4 is accepted and edits nothing.
  s.SetScheduleAll(kTrue);
  s.SetGranularity(4);
  s.SelectAll();
  EXPECT_TRUE(s.SetSelectionState(kFalse));
  EXPECT_TRUE(s.IsAllOn());

  s.SetGranularity(2);
  s.SelectAll();
  ASSERT_TRUE(s.SetSelectionState(kFalse));
  EXPECT_EQ(s.GetSchedule(), L"");
}

TEST(ScheduleSelection, TextInAndOut) {
  ScheduleSelection s;
  for (const wchar_t* all : {L"", L"*"}) {
    s.SetScheduleAll(kFalse);
    EXPECT_TRUE(s.SetSchedule(all));
    EXPECT_EQ(s.GetSchedule(), L"*");
    EXPECT_EQ(s.ScheduleTextToStore(), L"") << "all active is kept as no schedule";
  }
  EXPECT_TRUE(s.RefusalToStore().empty());
  EXPECT_TRUE(s.SetSchedule(L"  "));
  EXPECT_EQ(s.GetSchedule(), L"") << "a readable text without periods is an empty week";
  // Stored, the empty week would read as always active: OK refuses it and points to the switch.
  EXPECT_NE(s.RefusalToStore().find(L"clear \"Enable Tarnvale\""), std::wstring::npos);
  ASSERT_TRUE(s.SetSchedule(L"Sun 23:30-24:00"));
  EXPECT_TRUE(s.RefusalToStore().empty()) << "one active half hour, at the grid's last cell, is a schedule";

  // Unordered and overlapping periods come back canonical; Sunday is the last row.
  ASSERT_TRUE(s.SetSchedule(L"Sun 22:00-24:00; Mon 9:00-12:00 Mon 8:00-10:30,Sat 24:00-0:30"));
  EXPECT_EQ(s.GetSchedule(), L"Mon 8:00-12:00, Sat 0:00-0:30, Sun 22:00-24:00, ");
  EXPECT_EQ(s.Cell(6, 23), kFullHourBits);
  EXPECT_EQ(s.Cell(5, 0), kFirstHalfBits);

  // A damaged tail: what came before it is shown, and the caller hears of it.
  SetLastErrorCode(0);
  EXPECT_FALSE(s.SetSchedule(L"Tue 1:00-2:00, Wed 9:15-10:00"));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
  EXPECT_EQ(s.GetSchedule(), L"Tue 1:00-2:00, ");

  // The buffer form measures, cuts and terminates.
  EXPECT_EQ(s.GetSchedule(nullptr, 0), 16u);
  wchar_t small[5] = {L'x', L'x', L'x', L'x', L'x'};
  EXPECT_EQ(s.GetSchedule(small, 5), 16u);
  EXPECT_STREQ(small, L"Tue ");
  wchar_t exact[16];
  s.GetSchedule(exact, 16);
  EXPECT_STREQ(exact, L"Tue 1:00-2:00, ");
}

// Any painted week survives being written, parsed by the monitor's own reader and read back in.
TEST(ScheduleSelection, RandomGridsRoundTripThroughTheParser) {
  std::mt19937 rng(20240531);
  for (int round = 0; round < 1000; ++round) {
    ScheduleSelection painted = MakeGrid();
    // From sparse to nearly full weeks, where the runs are long and cross midnight.
    const unsigned onPercent[] = {5, 25, 50, 75, 98};
    const unsigned density = onPercent[rng() % 5];
    for (int row = 0; row < kScheduleRows; ++row) {
      for (int half = 0; half < 48; ++half) {
        const bool on = rng() % 100 < density;
        if (!on) {
          // One half hour off, through the same press the editor gets.
          painted.LeftDown(X(half / 2, half % 2 * 30), Y(row));
          painted.LeftUp();
          ASSERT_TRUE(painted.SetSelectionState(kFalse));
        }
      }
    }
    const std::wstring text = painted.ScheduleTextToStore();
    PeriodList periods;
    ASSERT_EQ(Schedule::ParseText(text.c_str(), periods), nullptr) << "unreadable: " << round;
    ScheduleSelection reread;
    ASSERT_TRUE(reread.SetSchedule(text.c_str()));
    for (int row = 0; row < kScheduleRows; ++row) {
      for (int half = 0; half < 48; ++half) {
        ASSERT_EQ(reread.IsHalfActive(row, half), painted.IsHalfActive(row, half))
            << "round " << round << " row " << row << " half " << half;
      }
    }
    ASSERT_EQ(reread.ScheduleTextToStore(), text);
  }
}

}  // namespace
}  // namespace tv
