#include "foundation/thread.h"

#include <gtest/gtest.h>

#include <atomic>

#include "foundation/thread_test_support.h"
#include "platform/last_error.h"

namespace tv {
namespace {

using namespace test;

// What the workers did, kept outside them so that it outlives them.
struct Probe {
  Gate go, all_gone;
  std::atomic<int> runs{0}, finished{0}, saw_cancel{0}, destroyed{0}, expected{1};
};

// Waits for `go` (deaf to cancel) or, with listen_to_cancel, for its own cancel event.
template <class Base>
class Worker : public Base {
 public:
  Worker(Probe& probe, bool listen_to_cancel) : probe_(probe), listen_(listen_to_cancel) {}
  ~Worker() override {
    this->Stop(kPatience);  // the derived destructor stops its thread: the base's is too late
    if (++probe_.destroyed == probe_.expected) probe_.all_gone.Set();
  }

 protected:
  DWORD DoThreadEx() override {
    ++probe_.runs;
    if (!listen_) probe_.go.Wait(kInfinite);
    else if (this->WaitForCancel(kInfinite)) probe_.saw_cancel += this->IsCanceled();
    ++probe_.finished;
    return Base::DoThreadEx();
  }

 private:
  Probe& probe_;
  bool listen_;
};
using PlainWorker = Worker<CSThreadEx>;
using AutoWorker = Worker<CSThreadExAutoDelete>;

TEST(CSThread, StartWaitsForReadyAndTheQueriesFollowTheRun) {
  Probe probe;
  PlainWorker w(probe, false);
  // No thread: every query answers "nothing to wait for".
  EXPECT_TRUE(w.IsReady() && w.IsDone() && w.IsCanceled() && w.WaitForDone(0) && w.WaitForThread(0));
  EXPECT_FALSE(w.IsRunning());

  ASSERT_TRUE(w.Start());
  EXPECT_TRUE(w.IsRunning() && w.IsReady());
  EXPECT_FALSE(w.IsDone() || w.IsCanceled() || w.WaitForDone(0) || w.WaitForThread(0));
  probe.go.Set();
  ASSERT_TRUE(w.WaitForDone(kPatience));
  EXPECT_FALSE(w.IsRunning());  // the thread closed its handle before it said it was done

  // A finished object starts again, its events cleared for the new run.
  probe.go.Clear();
  ASSERT_TRUE(w.Start());
  EXPECT_FALSE(w.IsDone());
  probe.go.Set();
  ASSERT_TRUE(w.WaitForDone(kPatience));
  EXPECT_EQ(probe.finished, 2);
}

TEST(CSThread, StopAndTheDestructorRaiseCancelAndWaitForTheWorkToEnd) {
  Probe probe;
  PlainWorker w(probe, true);
  w.Stop(kPatience);  // never started: harmless
  ASSERT_TRUE(w.Start());
  w.Stop(kPatience);
  EXPECT_TRUE(probe.finished == 1 && probe.saw_cancel == 1 && !w.IsRunning());

  // A plain procedure: the base destructor raises cancel and waits for done.
  struct Context {
    std::atomic<int>* saw_cancel;
    CSThread thread;
  };
  std::atomic<int> saw_cancel{0};
  auto proc = [](void* p) -> DWORD {
    auto* c = static_cast<Context*>(p);
    c->thread.SetReady();
    if (c->thread.WaitForCancel(kInfinite)) *c->saw_cancel = c->thread.IsCanceled();
    c->thread.SetDone();  // its last touch of the object
    return 0;
  };
  {
    Context ctx{&saw_cancel};
    ASSERT_TRUE(ctx.thread.Create(proc, &ctx, /*priority=*/1));
    EXPECT_FALSE(ctx.thread.Create(proc, &ctx));  // a second start would lose the first thread
  }
  EXPECT_EQ(saw_cancel, 1);
  CSThread idle;
  EXPECT_FALSE(idle.Create(nullptr, nullptr));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidParameter);
}

TEST(CSThreadExAutoDelete, TheSecondVoteDeletesTheObjectExactlyOnceInEitherOrder) {
  {  // the maker lets go first, even before the start: the thread deletes after its work
    Probe probe;
    auto* w = new AutoWorker(probe, false);
    w->DeleteIfDone();
    ASSERT_TRUE(w->Start());
    EXPECT_EQ(probe.destroyed, 0);
    probe.go.Set();
    ASSERT_TRUE(probe.all_gone.Wait(kPatience));
  }
  {  // the thread lets go first: its vote alone frees nothing, the maker's deletes at once
    Probe probe;
    probe.go.Set();
    auto* w = new AutoWorker(probe, false);
    ASSERT_TRUE(w->Start() && w->WaitForDone(kPatience));
    EXPECT_EQ(probe.destroyed, 0);
    w->DeleteIfDone();
    EXPECT_EQ(probe.destroyed, 1);
  }
  {  // a stop that times out closes the handle; the thread still finishes and frees the object
    Probe probe;
    auto* w = new AutoWorker(probe, false);
    ASSERT_TRUE(w->Start());
    w->Stop(200);
    EXPECT_TRUE(!w->IsRunning() && probe.finished == 0);
    w->DeleteIfDone();
    probe.go.Set();
    ASSERT_TRUE(probe.all_gone.Wait(kPatience));
  }
  {  // the two votes race: each object is deleted once, by one side or the other
    Probe probe;
    probe.expected = 64;
    probe.go.Set();
    for (int i = 0; i < probe.expected; ++i) {
      auto* w = new AutoWorker(probe, false);
      ASSERT_TRUE(w->Start());
      w->DeleteIfDone();
    }
    ASSERT_TRUE(probe.all_gone.Wait(kPatience));
    EXPECT_EQ(probe.destroyed, 64);  // a second deletion of any one would overshoot
  }
}

TEST(CSThread, WaitForEventCountsWholeSlicesAndPumpsBetweenThem) {
  Probe probe;
  PlainWorker w(probe, true);
  Gate never, later;
  ScopedPumpHook hook([&](int n, void*) {
    if (n == 5) later.Set();
  });
  EXPECT_TRUE(w.WaitForEvent(static_cast<void*>(never), 250, kFalse));  // no thread: nothing to wait for
  EXPECT_EQ(hook->count, 0);

  ASSERT_TRUE(w.Start());
  // 250 -> 150 -> 50 -> 0: three slices, the queue pumped after the first two.
  EXPECT_FALSE(w.WaitForEvent(static_cast<void*>(never), 250, kFalse));
  EXPECT_EQ(hook->count, 2);
  // Below one slice still costs a whole slice and no pump; zero only looks.
  EXPECT_FALSE(w.WaitForEvent(static_cast<void*>(never), 1, kFalse));
  EXPECT_FALSE(w.WaitForEvent(static_cast<void*>(never), 0, kTrue));
  EXPECT_EQ(hook->count, 2);
  // Infinite never runs out: it ends in the slice after the event was set (at the fifth pump).
  EXPECT_TRUE(w.WaitForEvent(static_cast<void*>(later), kInfinite, kTrue));
  EXPECT_EQ(hook->count, 5);
  // A failed wait (no handle) counts as success rather than hanging.
  EXPECT_TRUE(w.WaitForEvent(nullptr, kInfinite, kFalse));
}

}  // namespace
}  // namespace tv
