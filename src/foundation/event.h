// Events, named or not. Named objects live in the "Global\" or "Local\" namespace, chosen by a
// flag; two objects opened by the same full name are the same event, between processes on Windows
// and between the objects of one process in the portable build.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "platform/types.h"

namespace tv {

// Access rights for opening events, and for the access masks of CreateNewForUser (Windows values).
inline constexpr DWORD kEventModifyState = 0x0002;
inline constexpr DWORD kSynchronize = 0x00100000;
inline constexpr DWORD kEventAllAccess = 0x001F0003;

// The characters a full object name is cut to, terminator included.
inline constexpr size_t kObjectNameChars = 260;

// A named kernel object: its handle and the result of its last wait. Closed on destruction.
class Synch {
 public:
  explicit Synch(int kind = 0) : kind_(kind) {}
  virtual ~Synch();
  Synch(const Synch&) = delete;
  Synch& operator=(const Synch&) = delete;

  // Opens the existing object `name` (null: none) in the namespace `global` chooses, through
  // Win32_Open, replacing any handle held. TRUE iff a handle was obtained.
  BOOL Open(const wchar_t* name, BOOL global, DWORD access, BOOL inherit);

  // Writes "Global\<name>" or "Local\<name>" into `buffer`, cut to `size` characters with the
  // terminator; an empty text for a null name (an unnamed object).
  static void PrepareName(wchar_t* buffer, size_t size, const wchar_t* name, BOOL global);

  void Close();
  // Waits up to `timeout` ms; TRUE iff the object was signalled. The raw result is kept.
  BOOL Wait(DWORD timeout);
  // As Wait, but also wakes (answering FALSE) for the calling thread's messages in `wakeMask`.
  BOOL MsgWait(DWORD timeout, DWORD wakeMask);
  DWORD GetLastWaitResult() const { return last_wait_result_.load(std::memory_order_relaxed); }
  BOOL IsReady() const { return handle_ != nullptr ? kTrue : kFalse; }
  explicit operator void*() const { return handle_; }
  int GetKind() const { return kind_; }

 protected:
  // Opens an existing object of the derived kind; this base opens nothing.
  virtual void* Win32_Open(DWORD access, BOOL inherit, const wchar_t* fullName);

  void* handle_ = nullptr;

 private:
  int kind_;
  // Several threads may wait on one object (a quit event); each wait leaves its own result.
  std::atomic<DWORD> last_wait_result_{0};
};

class Event : public Synch {
 public:
  Event() : Synch(1) {}

  // Creates the event `name` (null: unnamed) in the namespace `global` chooses, or opens it if it
  // exists. `securityAttributes` is a SECURITY_ATTRIBUTES* on Windows (null: default). Replaces
  // any handle held. TRUE iff a handle was obtained.
  BOOL CreateOrOpen(const wchar_t* name, BOOL global, BOOL manualReset, BOOL initialState,
                    void* securityAttributes = nullptr);
  // As CreateOrOpen, but an event that already existed is closed again: FALSE with error 183.
  BOOL CreateNew(const wchar_t* name, BOOL global, BOOL manualReset, BOOL initialState,
                 void* securityAttributes = nullptr);
  // CreateNew with a descriptor that gives the account `userSid` (an SDDL SID text such as a
  // session's logon SID "S-1-5-5-X-Y") exactly `accessMask` and local system, which the service
  // runs as, full access; nobody else gets anything. The handle is inheritable. FALSE at once
  // when the descriptor is refused.
  BOOL CreateNewForUser(const wchar_t* name, BOOL global, const wchar_t* userSid, DWORD accessMask,
                        BOOL manualReset, BOOL initialState);

  // The access list the event carries, as SDDL text (see kernel::QueryObjectSecurity).
  BOOL QuerySecurity(std::wstring& sddl) const;

  // Each does nothing without a handle. Pulse releases the threads waiting now and leaves the
  // event clear.
  void Set();
  void Clear();
  void Pulse();
  // Whether the event is set now (keeping the wait result). On an auto-reset event this takes
  // the signal, as any successful wait does.
  BOOL IsSet();

 protected:
  void* Win32_Open(DWORD access, BOOL inherit, const wchar_t* fullName) override;
};

// Waits for the first of `count` events (at most 64) and takes its signal: the index of that
// event, or 258 (timed out), or 0xFFFFFFFF when an event has no handle. One wait on all of
// them, so a thread watching several events sleeps until one of them changes.
DWORD WaitForAnyEvent(Event* const* events, DWORD count, DWORD timeout);

// An event under a name used exactly as given (no namespace prefix), with default security.
class EventSimple {
 public:
  // Creates the event, or opens it if the name exists; IsAreadyExists tells which. The default
  // is an unnamed auto-reset event, initially clear.
  explicit EventSimple(const wchar_t* name = nullptr, BOOL manualReset = kFalse, BOOL initialState = kFalse);
  ~EventSimple();
  EventSimple(const EventSimple&) = delete;
  EventSimple& operator=(const EventSimple&) = delete;

  // As the constructor, on this object (the handle held before is closed). TRUE iff a handle was obtained.
  BOOL Open(const wchar_t* name, BOOL manualReset, BOOL initialState);
  // Opens an existing event only; the already-exists flag then says whether that worked.
  BOOL OpenEventW(DWORD access, BOOL inherit, const wchar_t* name);
  // Whether the last creation met an existing event (or the last OpenEventW succeeded).
  BOOL IsAreadyExists() const { return already_exists_; }

  // Sets the event (on) or clears it (off).
  BOOL Set(BOOL on = kTrue);
  BOOL Clear() { return Set(kFalse); }
  // TRUE iff signalled within `timeout` ms.
  BOOL WaitSignalled(DWORD timeout);
  // Waits in 100 ms slices, pumping the messages of `hwnd` between them; see PumpingWait.
  // QuitAll does not end it, and a failed wait (no handle) counts as signalled.
  BOOL WaitProcessAllMessages(void* hwnd, DWORD timeout, BOOL pumpAllInput);

  BOOL IsReady() const { return handle_ != nullptr ? kTrue : kFalse; }
  void** GetHandleAddr() { return &handle_; }
  explicit operator void*() const { return handle_; }
  void Close();

 private:
  void* handle_ = nullptr;
  BOOL already_exists_ = kFalse;
};

}  // namespace tv
