// Quit-all is raised once per process and never cleared, so its test has its own executable.
#include <gtest/gtest.h>

#include <atomic>

#include "foundation/thread.h"
#include "foundation/thread_test_support.h"

namespace tv {
namespace {

using namespace test;

struct Probe {
  Gate go, all_gone;
  std::atomic<int> destroyed{0}, cancel_seen{0};
};

// Waits for its cancel event, which nobody raises, then for `go` (a plain wait, deaf to quit-all).
class Sleeper : public CSThreadExAutoDelete {
 public:
  explicit Sleeper(Probe& probe) : probe_(probe) {}
  ~Sleeper() override {
    if (++probe_.destroyed == 2) probe_.all_gone.Set();
  }

 protected:
  DWORD DoThreadEx() override {
    WaitForCancel(kInfinite);
    probe_.cancel_seen += IsCanceled();
    probe_.go.Wait(kInfinite);
    return CSThreadExAutoDelete::DoThreadEx();
  }

 private:
  Probe& probe_;
};

TEST(CSThreadQuitAll, EndsEveryThreadWaitWithinASliceButNoEventSimpleWait) {
  Probe probe;
  auto* first = new Sleeper(probe);
  ASSERT_TRUE(first->Start());
  EXPECT_FALSE(CSThread::IsQuitAll());
  Gate never;
  {
    ScopedPumpHook hook([](int n, void*) {
      if (n == 2) CSThread::QuitAll();
    });
    // An infinite wait ends in the slice after the flag went up.
    EXPECT_TRUE(first->WaitForEvent(static_cast<void*>(never), kInfinite, kFalse));
    EXPECT_EQ(hook->count, 2);
    // From now on every thread wait ends within its first slice: the new thread's own wait for
    // cancel, and this one, without a pump.
    auto* second = new Sleeper(probe);
    ASSERT_TRUE(second->Start());
    EXPECT_TRUE(second->WaitForEvent(static_cast<void*>(never), 250, kFalse));
    EXPECT_EQ(hook->count, 2);
    second->DeleteIfDone();
  }
  // EventSimple's pumping wait does not listen to the flag.
  EventSimple simple;
  EXPECT_FALSE(simple.WaitProcessAllMessages(nullptr, 250, kFalse));

  first->DeleteIfDone();
  probe.go.Set();
  ASSERT_TRUE(probe.all_gone.Wait(kPatience));
  EXPECT_EQ(probe.cancel_seen, 0);  // both waits for cancel ended on the flag alone
}

}  // namespace
}  // namespace tv
