#include "foundation/thread.h"

#include "foundation/kernel_object.h"
#include "foundation/message_pump.h"
#include "platform/last_error.h"

namespace tv {
namespace {

constexpr ErrorCode kBusy = 170;  // ERROR_BUSY: the object still holds a thread

void* NewManualResetEvent() { return kernel::CreateEventObject(nullptr, kTrue, kFalse, nullptr); }

void CloseIfOpen(void*& handle) {
  if (!handle) return;
  kernel::CloseObject(handle);
  handle = nullptr;
}

}  // namespace

CSThread::CSThread() : ready_(NewManualResetEvent()), done_(NewManualResetEvent()), cancel_(NewManualResetEvent()) {}

CSThread::~CSThread() {
  if (thread_.load()) {
    SetCancel();
    WaitForEvent(done_, kDestructorTimeoutMs, kTrue);
  }
  // Under the lock first: a thread finishing right now leaves the lock only after its last
  // touch of this object.
  CloseThreadHandle();
  CloseIfOpen(ready_);
  CloseIfOpen(done_);
  CloseIfOpen(cancel_);
  signature_.store(0);
}

BOOL CSThread::Create(ThreadProc proc, void* param, int priority) {
  if (!proc) return Fail(err::kInvalidParameter);
  // The lock is held until the ready wait is over, so that the thread cannot finish its run (and
  // perhaps delete the object) while its starter still looks at the object.
  CritSecLock hold(lock_);
  if (thread_.load()) return Fail(kBusy);
  kernel::ResetEventObject(ready_);
  kernel::ResetEventObject(done_);
  kernel::ResetEventObject(cancel_);
  DWORD id = 0;
  // The thread runs only once its handle is stored: its own waits look at the handle.
  void* handle = kernel::StartThreadSuspended(proc, param, &id);
  if (!handle) return kFalse;
  thread_.store(handle);
  thread_id_.store(id);
  if (priority != 0) kernel::SetThreadPriorityOf(handle, priority);
  kernel::ResumeThreadObject(handle);
  WaitForEvent(ready_, kReadyTimeoutMs, kTrue);
  return thread_.load() ? kTrue : kFalse;
}

void CSThread::Destroy(DWORD timeout) {
  if (thread_.load()) {
    SetCancel();
    WaitForEvent(done_, timeout, kTrue);
  }
  CloseThreadHandle();
}

BOOL CSThread::WaitForEvent(void* handle, DWORD timeout, BOOL pumpAllInput) {
  if (!thread_.load()) return kTrue;
  return PumpingWait(handle, timeout, pumpAllInput, nullptr, /*stopOnQuitAll=*/true);
}

void CSThread::SetReady() { kernel::SetEventObject(ready_); }
void CSThread::SetDone() { kernel::SetEventObject(done_); }
void CSThread::SetCancel() { kernel::SetEventObject(cancel_); }

BOOL CSThread::CheckEvent(void* handle) {
  if (!thread_.load()) return kTrue;
  return kernel::WaitObject(handle, 0) == kernel::kWaitObject0 ? kTrue : kFalse;
}

BOOL CSThread::WaitForThread(DWORD timeout) {
  void* copy;
  {
    // Wait on a duplicate: the thread closes its own handle when its work returns, which must
    // not pull the handle away from under this wait.
    CritSecLock hold(lock_);
    void* handle = thread_.load();
    if (!handle) return kTrue;
    copy = kernel::DuplicateObject(handle);
  }
  if (!copy) return kFalse;
  const BOOL ended = kernel::WaitObject(copy, timeout) == kernel::kWaitObject0 ? kTrue : kFalse;
  kernel::CloseObject(copy);
  return ended;
}

void CSThread::CloseThreadHandle() {
  CritSecLock hold(lock_);
  if (void* handle = thread_.exchange(nullptr)) kernel::CloseObject(handle);
}

BOOL CSThread::ProcessAllMessages(void* hwnd) { return tv::ProcessAllMessages(hwnd); }

void CSThread::QuitAll() { RaiseQuitAll(); }

BOOL CSThread::IsQuitAll() { return IsQuitAllRaised(); }

bool CSThread::ClaimLocked() {
  DWORD expected = 2;
  return delete_votes_.compare_exchange_strong(expected, 0);
}

bool CSThread::VoteAndClaim() {
  CritSecLock hold(lock_);
  delete_votes_.fetch_add(1);
  return ClaimLocked();
}

bool CSThread::FinishRunAndClaim() {
  // Closing the handle, setting done and taking the last vote happen under one lock, and the
  // maker's vote takes the same lock: whichever side deletes, the other has already made its
  // last touch of the object.
  CritSecLock hold(lock_);
  if (void* handle = thread_.exchange(nullptr)) kernel::CloseObject(handle);
  SetDone();
  return ClaimLocked();
}

DWORD CSThreadEx::ThreadProcEx(void* param) {
  auto* self = static_cast<CSThreadEx*>(param);
  // Taken while the object is whole: once DoThreadEx returned, an owner's destructor may already
  // have gone past the derived parts, leaving only the CSThread to talk to.
  CSThread* base = self;
  base->SetReady();
  const DWORD exit_code = self->DoThreadEx();
  if (base->FinishRunAndClaim()) delete base;
  return exit_code;
}

void CSThreadExAutoDelete::DeleteIfDone() {
  if (VoteAndClaim()) delete this;
}

DWORD CSThreadExAutoDelete::DoThreadEx() {
  if (IsSignatureIntact()) AddDeleteVote();
  return 0;
}

}  // namespace tv
