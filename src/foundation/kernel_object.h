// The handful of kernel-object calls the thread, event and mutex classes stand on, on opaque
// handles. On Windows they are the system's own objects; elsewhere an in-process table stands in,
// so named objects are shared between the objects of one process only. Only the synchronisation
// classes of this folder use these directly.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv::kernel {

// Wait results, with the Windows values.
inline constexpr DWORD kWaitObject0 = 0;
inline constexpr DWORD kWaitInput = 1;  // a message-aware wait woke for input, not for the object
inline constexpr DWORD kWaitAbandoned = 0x80;
inline constexpr DWORD kWaitTimeout = 258;
inline constexpr DWORD kWaitFailed = 0xFFFFFFFF;

using ThreadProc = DWORD (*)(void* param);

// Creates the event, or opens it when `name` is already taken by an event: the last error is then
// 183 (already exists), else 0. A name taken by another kind of object fails with error 6.
// `securityAttributes` is a SECURITY_ATTRIBUTES* on Windows and ignored elsewhere.
void* CreateEventObject(void* securityAttributes, BOOL manualReset, BOOL initialState, const wchar_t* name);
// Opens an existing named event; null with error 2 when there is none.
void* OpenEventObject(DWORD access, BOOL inherit, const wchar_t* name);
BOOL SetEventObject(void* event);
BOOL ResetEventObject(void* event);
// Releases the threads waiting now (one of them for an auto-reset event) and leaves it clear.
BOOL PulseEventObject(void* event);

// Creates or opens the mutex `name` (null: unnamed), not owned by the caller.
void* CreateMutexObject(const wchar_t* name);
// Fails with error 288 when the calling thread does not own the mutex.
BOOL ReleaseMutexObject(void* mutex);

// Waits for one object: kWaitObject0, kWaitTimeout, kWaitFailed (bad handle) or, for a mutex
// whose owner ended, kWaitAbandoned. A successful wait takes what it waited for (an auto-reset
// event's signal, a mutex's ownership).
DWORD WaitObject(void* handle, DWORD timeout);
// Waits for the first of `count` objects (at most 64): kWaitObject0 + index of the one taken,
// kWaitAbandoned + index, kWaitTimeout or kWaitFailed. Only the object that ends the wait is taken.
DWORD WaitAnyObject(void* const* handles, DWORD count, DWORD timeout);
// As WaitObject, but on Windows also wakes with kWaitInput when a message of the kinds in
// `wakeMask` arrives for the calling thread. Elsewhere there is no message queue.
DWORD MsgWaitObject(void* handle, DWORD timeout, DWORD wakeMask);

BOOL CloseObject(void* handle);
// A second handle on the same object, closed independently of the first.
void* DuplicateObject(void* handle);

// Makes a thread for `proc(param)` that runs only once ResumeThreadObject is called, so that
// its owner can store the handle first. The handle is signalled once the thread ended.
void* StartThreadSuspended(ThreadProc proc, void* param, DWORD* threadId);
BOOL ResumeThreadObject(void* thread);
BOOL SetThreadPriorityOf(void* thread, int priority);

// Removes, translates and dispatches the calling thread's messages for `hwnd` (null: all).
// FALSE if one of them was a quit message. Elsewhere there is no queue: TRUE.
BOOL PumpThreadMessages(void* hwnd);

// Security attributes whose descriptor is built from the SDDL text `sddl` (revision 1), with
// the handle-inheritance flag `inheritHandle`; null with the last error set when the text is
// refused. Freed with FreeSecurityAttributes. Elsewhere only the text's form is checked.
void* NewSecurityAttributes(const wchar_t* sddl, BOOL inheritHandle);
void FreeSecurityAttributes(void* attributes);
// The access list of the object behind `handle` as SDDL text ("D:(A;;...)..."), read back from
// the object itself; elsewhere the text it was created with (empty for default security).
BOOL QueryObjectSecurity(void* handle, std::wstring& sddl);

}  // namespace tv::kernel
