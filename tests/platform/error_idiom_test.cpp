#include <gtest/gtest.h>

#include <thread>

#include "platform/last_error.h"
#include "platform/unique_handle.h"

namespace tv {
namespace {

int g_closed = 0;

struct FakeTraits {
  using Handle = int;
  static Handle Invalid() { return -1; }
  static bool IsValid(Handle h) { return h >= 0; }
  // A close that itself fails, as CloseHandle on a stale handle would.
  static void Close(Handle) {
    ++g_closed;
    SetLastErrorCode(err::kInvalidHandle);
  }
};
using FakeHandle = UniqueHandle<FakeTraits>;

TEST(ErrorIdiom, LastErrorIsPerThreadAndFailAnswersZero) {
  EXPECT_EQ(Fail(err::kAccessDenied), 0);
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  // A new thread starts with its own clean slot: another thread's failure never leaks into it.
  // (Joining may reset the caller's code on Windows, so that slot is not compared across it.)
  ErrorCode first_seen = 12345, after_set = 12345;
  std::thread([&] {
    first_seen = GetLastErrorCode();
    SetLastErrorCode(err::kFileNotFound);
    after_set = GetLastErrorCode();
  }).join();
  EXPECT_EQ(first_seen, err::kSuccess);
  EXPECT_EQ(after_set, err::kFileNotFound);
}

TEST(UniqueHandle, ClosesOnceAcrossMovesAndKeepsTheFirstError) {
  g_closed = 0;
  {
    FakeHandle a(3);
    FakeHandle b(std::move(a));
    EXPECT_FALSE(a.valid());
    FakeHandle c;
    c = std::move(b);
    EXPECT_EQ(c.get(), 3);
    SetLastErrorCode(err::kMoreData);  // a failure's code must survive the cleanup on the way out
  }
  EXPECT_EQ(g_closed, 1);
  EXPECT_EQ(GetLastErrorCode(), err::kMoreData);

  FakeHandle d(4);
  d.reset(4);  // the same handle again must not close what is still in use
  EXPECT_EQ(g_closed, 1);
  d.reset(5);
  EXPECT_EQ(g_closed, 2);
  EXPECT_EQ(d.release(), 5);
  d.reset();
  EXPECT_EQ(g_closed, 2);
}

}  // namespace
}  // namespace tv
