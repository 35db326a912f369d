// Worker threads. A thread is started only once it has said that it runs (the ready handshake,
// at most 5 s); it is stopped by raising its cancel event and waiting for its done event; every
// wait pumps the waiting thread's messages in 100 ms slices. An auto-delete thread object has two
// owners, its maker and the thread, and whichever lets go second deletes it.
#pragma once

#include <atomic>

#include "foundation/crit_sec.h"
#include "platform/types.h"

namespace tv {

// A thread and the three manual-reset events that describe its run: ready (set by the thread
// when it begins), done (set once its work returned) and cancel (set by whoever wants it to stop).
// The events live as long as the object, so a finished object can be started again.
class CSThread {
 public:
  using ThreadProc = DWORD (*)(void* param);

  static constexpr DWORD kSignature = 0x4927FA34;
  static constexpr DWORD kReadyTimeoutMs = 5000;
  static constexpr DWORD kDestructorTimeoutMs = 6000;

  CSThread();
  // A thread still running is asked to stop and given 6 s to finish; then everything is closed
  // regardless. By the time this runs, the derived parts are already gone: a derived class whose
  // object may be destroyed while its thread runs must call Stop in its own destructor (even its
  // virtual DoThreadEx may still be about to be called). Auto-delete objects never meet this.
  virtual ~CSThread();
  CSThread(const CSThread&) = delete;
  CSThread& operator=(const CSThread&) = delete;

  // Clears the three events, starts `proc(param)` on a new thread, sets its priority when
  // `priority` is non-zero (Windows thread-priority values) and waits up to 5 s, pumping
  // messages, for the ready event, which `proc` must set itself (SetReady). TRUE iff the thread
  // runs. Fails while a thread handle is still held (the previous run was not closed).
  BOOL Create(ThreadProc proc, void* param, int priority = 0);

  // Raises the cancel event and waits up to `timeout` ms, pumping, for the done event; then
  // closes the thread handle whatever the outcome (the thread may still be running).
  virtual void Destroy(DWORD timeout);

  // Waits up to `timeout` ms, pumping, for `handle`. TRUE when it is signalled, when there is no
  // thread (nothing to wait for), when the wait fails, or once QuitAll was raised. A zero
  // timeout only looks. See PumpingWait for how the time-out is counted.
  BOOL WaitForEvent(void* handle, DWORD timeout, BOOL pumpAllInput);
  BOOL WaitForReady(DWORD timeout) { return WaitForEvent(ready_, timeout, kTrue); }
  BOOL WaitForDone(DWORD timeout) { return WaitForEvent(done_, timeout, kTrue); }
  BOOL WaitForCancel(DWORD timeout) { return WaitForEvent(cancel_, timeout, kTrue); }

  void SetReady();
  void SetDone();
  void SetCancel();

  // TRUE when there is no thread handle, else whether the event is set now.
  BOOL IsReady() { return CheckEvent(ready_); }
  BOOL IsDone() { return CheckEvent(done_); }
  BOOL IsCanceled() { return CheckEvent(cancel_); }
  BOOL CheckEvent(void* handle);

  // TRUE when there is no thread handle, else whether the thread ends within `timeout` ms.
  BOOL WaitForThread(DWORD timeout);

  BOOL IsRunning() const { return thread_.load() != nullptr ? kTrue : kFalse; }
  explicit operator void*() const { return thread_.load(); }
  DWORD GetThreadId() const { return thread_id_.load(); }

  // Closes the thread handle (the thread itself runs on).
  void CloseThreadHandle();

  // Pumps the calling thread's messages for `hwnd`; see tv::ProcessAllMessages.
  static BOOL ProcessAllMessages(void* hwnd);
  // Raises the process-wide quit-all flag, which ends every CSThread wait within one slice.
  static void QuitAll();
  static BOOL IsQuitAll();

 protected:
  // Adds one delete vote.
  void AddDeleteVote() { delete_votes_.fetch_add(1); }
  // Adds one vote and answers whether the caller now holds the last share and must delete.
  bool VoteAndClaim();
  // Run by the thread after its work: closes the thread handle, sets done and answers whether
  // both votes are in, so that the thread must delete the object.
  bool FinishRunAndClaim();
  bool IsSignatureIntact() const { return signature_.load() == kSignature; }

 private:
  friend class CSThreadEx;  // its thread procedure finishes the run through the base

  // Replaces a vote count of 2 by 0; the caller of a successful claim deletes the object.
  bool ClaimLocked();

  std::atomic<void*> thread_{nullptr};  // written only under lock_
  std::atomic<DWORD> thread_id_{0};
  void* ready_;
  void* done_;
  void* cancel_;
  std::atomic<DWORD> signature_{kSignature};
  std::atomic<DWORD> delete_votes_{0};
  CritSec lock_;
};

// A thread whose work is the virtual DoThreadEx of the object itself.
class CSThreadEx : public CSThread {
 public:
  // Create with ThreadProcEx and this object.
  BOOL Start(int priority = 0) { return Create(&ThreadProcEx, this, priority); }
  // Destroy(timeout).
  void Stop(DWORD timeout) { Destroy(timeout); }

  // The body of every CSThreadEx thread: sets ready, runs DoThreadEx, closes the thread handle,
  // sets done, and deletes the object if both delete votes are in. Answers DoThreadEx's result.
  static DWORD ThreadProcEx(void* param);

 protected:
  // The thread's work; the answer is the thread's exit code.
  virtual DWORD DoThreadEx() { return 0; }
};

// A thread object that frees itself. Its maker lets go by calling DeleteIfDone once (before or
// after Start) and must not touch the object afterwards. The thread lets go at the end of
// DoThreadEx: a derived class's DoThreadEx ends with `return CSThreadExAutoDelete::DoThreadEx();`.
// Whichever comes second deletes the object, exactly once.
class CSThreadExAutoDelete : public CSThreadEx {
 public:
  // The maker's vote: deletes the object at once if the thread's work already ended.
  void DeleteIfDone();

 protected:
  // The thread's vote, cast only while the object is intact; answers 0.
  DWORD DoThreadEx() override;
  // A vote without the intactness check and without deleting.
  void DeleteDelayed() { AddDeleteVote(); }
};

}  // namespace tv
