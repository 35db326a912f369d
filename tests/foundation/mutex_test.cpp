// The one-holder objects: the named mutex and the single-instance marker.
#include "foundation/mutex.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "foundation/single_instance.h"
#include "foundation/thread_test_support.h"
#include "platform/last_error.h"

namespace tv {
namespace {

using namespace test;

// Runs `body` on another thread and answers what it answered.
template <class Body>
BOOL OnOtherThread(Body body) {
  BOOL result = kFalse;
  std::thread([&] { result = body(); }).join();
  return result;
}

TEST(MyMutex, OneThreadOwnsItAtATimeThroughAnyObjectOfTheName) {
  const std::wstring name = UniqueName(L"Mutex");
  MyMutex mine(kFalse, name.c_str()), theirs(kFalse, name.c_str()), global(kTrue, name.c_str());
  ASSERT_TRUE(mine.Wait(0));
  ASSERT_TRUE(mine.Wait(0));  // the owner may take it again
  EXPECT_FALSE(OnOtherThread([&] { return theirs.Wait(0) || theirs.Wait(150) || theirs.Release(); }));
  // The global namespace holds another mutex of that name.
  EXPECT_TRUE(OnOtherThread([&] { return global.Wait(0) && global.Release(); }));
  // Held twice, released twice; a third release is refused.
  EXPECT_TRUE(mine.Release());
  EXPECT_FALSE(OnOtherThread([&] { return theirs.Wait(0); }));
  EXPECT_TRUE(mine.Release());
  EXPECT_FALSE(mine.Release());
  EXPECT_TRUE(OnOtherThread([&] { return theirs.Wait(0) && theirs.Release(); }));

  // An owner that ends without releasing leaves it abandoned: the next waiter gets it, but is
  // told that it was not released properly.
  ASSERT_TRUE(OnOtherThread([&] { return theirs.Wait(0); }));
  EXPECT_FALSE(mine.Wait(kPatience));
  EXPECT_TRUE(mine.Release());
  EXPECT_TRUE(mine.Wait(0) && mine.Release());
}

TEST(MyMutex, GuardsSharedStateUnderContentionAndFailsOnANameTakenByAnEvent) {
  const std::wstring name = UniqueName(L"Contended");
  long counter = 0;  // not atomic: only the mutex guards it
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      MyMutex m(kFalse, name.c_str());
      for (int i = 0; i < 2000 && m.Wait(kInfinite); ++i) {
        ++counter;
        m.Release();
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, 4 * 2000);

  const std::wstring taken = UniqueName(L"TakenByEvent");
  Event event;
  ASSERT_TRUE(event.CreateNew(taken.c_str(), kFalse, kTrue, kFalse));
  MyMutex clash(kFalse, taken.c_str());
  EXPECT_FALSE(clash.IsReady() || clash.Wait(0) || clash.Release());
}

TEST(SingleInstanceXP, OnlyTheFirstHolderOfANameAndScopeIsFirst) {
  const std::wstring name = UniqueName(L"App");
  {
    SingleInstanceXP first, second, other_scope;
    EXPECT_TRUE(first.IsFirstInstance(kFalse, name.c_str()));
    EXPECT_FALSE(second.IsFirstInstance(kFalse, name.c_str()));
    EXPECT_EQ(GetLastErrorCode(), err::kAlreadyExists);
    EXPECT_TRUE(other_scope.IsFirstInstance(kTrue, name.c_str()));
    EXPECT_TRUE(first.IsFirstInstance(kFalse, name.c_str()));  // asked again, still the holder
    Event marker;  // the marker is the event "<scope>\Brellick_App_<name>"
    EXPECT_TRUE(marker.Open((L"Brellick_App_" + name).c_str(), kFalse, kSynchronize, kFalse));
  }
  SingleInstanceXP later;  // the first instance is gone: the next one is first
  EXPECT_TRUE(later.IsFirstInstance(kFalse, name.c_str()));
}

}  // namespace
}  // namespace tv
