// Win32 implementation of the kernel objects the synchronisation classes use: the system's own events, mutexes and threads.
#include "platform/win32/windows_include.h"

#include <aclapi.h>
#include <process.h>
#include <sddl.h>

#include <new>

#include "foundation/kernel_object.h"
#include "platform/last_error.h"

namespace tv::kernel {
namespace {

struct ThreadStart {
  ThreadProc proc;
  void* param;
};

unsigned __stdcall Trampoline(void* p) {
  ThreadStart start = *static_cast<ThreadStart*>(p);
  delete static_cast<ThreadStart*>(p);
  return start.proc(start.param);
}

}  // namespace

void* CreateEventObject(void* securityAttributes, BOOL manualReset, BOOL initialState, const wchar_t* name) {
  // The caller tells "created" from "opened" by the last error, so start from a clean slot.
  ::SetLastError(ERROR_SUCCESS);
  return ::CreateEventW(static_cast<SECURITY_ATTRIBUTES*>(securityAttributes), manualReset, initialState, name);
}

void* OpenEventObject(DWORD access, BOOL inherit, const wchar_t* name) { return ::OpenEventW(access, inherit, name); }

BOOL SetEventObject(void* event) { return ::SetEvent(event) ? kTrue : kFalse; }
BOOL ResetEventObject(void* event) { return ::ResetEvent(event) ? kTrue : kFalse; }
BOOL PulseEventObject(void* event) { return ::PulseEvent(event) ? kTrue : kFalse; }

void* CreateMutexObject(const wchar_t* name) {
  ::SetLastError(ERROR_SUCCESS);
  return ::CreateMutexW(nullptr, FALSE, name);
}

BOOL ReleaseMutexObject(void* mutex) { return ::ReleaseMutex(mutex) ? kTrue : kFalse; }

DWORD WaitObject(void* handle, DWORD timeout) { return ::WaitForSingleObject(handle, timeout); }

DWORD WaitAnyObject(void* const* handles, DWORD count, DWORD timeout) {
  return ::WaitForMultipleObjects(count, const_cast<HANDLE*>(handles), FALSE, timeout);
}

DWORD MsgWaitObject(void* handle, DWORD timeout, DWORD wakeMask) {
  HANDLE h = handle;
  return ::MsgWaitForMultipleObjects(1, &h, FALSE, timeout, wakeMask);
}

BOOL CloseObject(void* handle) { return ::CloseHandle(handle) ? kTrue : kFalse; }

void* DuplicateObject(void* handle) {
  HANDLE copy = nullptr;
  HANDLE self = ::GetCurrentProcess();
  if (!::DuplicateHandle(self, handle, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS)) return nullptr;
  return copy;
}

void* StartThreadSuspended(ThreadProc proc, void* param, DWORD* threadId) {
  auto* start = new (std::nothrow) ThreadStart{proc, param};
  if (!start) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  unsigned id = 0;
  const uintptr_t h = ::_beginthreadex(nullptr, 0, &Trampoline, start, CREATE_SUSPENDED, &id);
  if (h == 0) {
    // The runtime reports through errno; the thread-creation call underneath left the last error.
    delete start;
    if (::GetLastError() == ERROR_SUCCESS) ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  if (threadId) *threadId = id;
  return reinterpret_cast<void*>(h);
}

BOOL ResumeThreadObject(void* thread) { return ::ResumeThread(thread) != static_cast<::DWORD>(-1) ? kTrue : kFalse; }

BOOL SetThreadPriorityOf(void* thread, int priority) { return ::SetThreadPriority(thread, priority) ? kTrue : kFalse; }

BOOL PumpThreadMessages(void* hwnd) {
  BOOL ok = kTrue;
  MSG msg;
  while (::PeekMessageW(&msg, static_cast<HWND>(hwnd), 0, 0, PM_REMOVE)) {
    if (msg.message == WM_QUIT) {
      ok = kFalse;
      continue;
    }
    ::TranslateMessage(&msg);
    ::DispatchMessageW(&msg);
  }
  return ok;
}

void* NewSecurityAttributes(const wchar_t* sddl, BOOL inheritHandle) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &descriptor, nullptr)) {
    return nullptr;
  }
  auto* attributes = new (std::nothrow) SECURITY_ATTRIBUTES{sizeof(SECURITY_ATTRIBUTES), descriptor, inheritHandle};
  if (!attributes) {
    ::LocalFree(descriptor);
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  }
  return attributes;
}

void FreeSecurityAttributes(void* attributes) {
  auto* sa = static_cast<SECURITY_ATTRIBUTES*>(attributes);
  if (!sa) return;
  ::LocalFree(sa->lpSecurityDescriptor);
  delete sa;
}

BOOL QueryObjectSecurity(void* handle, std::wstring& sddl) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const ::DWORD status = ::GetSecurityInfo(handle, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                           nullptr, nullptr, &descriptor);
  if (status != ERROR_SUCCESS) {
    ::SetLastError(status);
    return FALSE;
  }
  LPWSTR text = nullptr;
  const BOOL ok = ::ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                                          DACL_SECURITY_INFORMATION, &text, nullptr);
  if (ok) {
    sddl = text;
    ::LocalFree(text);
  }
  {
    PreserveLastError keep;
    ::LocalFree(descriptor);
  }
  return ok ? TRUE : FALSE;
}

}  // namespace tv::kernel
