// Win32 handle owners: UniqueHandle traits for the kernel, service-manager, event-log, loaded
// module, network-API and terminal-services handles the platform layer holds.
#pragma once

#include "platform/unique_handle.h"
#include "platform/win32/windows_include.h"

namespace tv {

// Kernel objects (processes, threads, tokens, events). Both null and INVALID_HANDLE_VALUE mean
// "none": CreateFile answers the one, most other creators the other.
struct KernelHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle h) { return h != nullptr && h != INVALID_HANDLE_VALUE; }
  static void Close(Handle h) { ::CloseHandle(h); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

// Service-manager and service handles.
struct ScHandleTraits {
  using Handle = SC_HANDLE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle h) { return h != nullptr; }
  static void Close(Handle h) { ::CloseServiceHandle(h); }
};
using UniqueScHandle = UniqueHandle<ScHandleTraits>;

// Event-log source registrations.
struct EventSourceTraits {
  using Handle = HANDLE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle h) { return h != nullptr; }
  static void Close(Handle h) { ::DeregisterEventSource(h); }
};
using UniqueEventSource = UniqueHandle<EventSourceTraits>;

// Libraries loaded at run time.
struct ModuleTraits {
  using Handle = HMODULE;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle h) { return h != nullptr; }
  static void Close(Handle h) { ::FreeLibrary(h); }
};
using UniqueModule = UniqueHandle<ModuleTraits>;

// Memory handed out by the terminal-services library. Its free function is itself bound by
// name, so each block carries the function that releases it.
struct WtsMemory {
  using FreeFn = void(WINAPI*)(PVOID);
  void* block = nullptr;
  FreeFn free = nullptr;
  bool operator==(const WtsMemory& o) const { return block == o.block; }
};
struct WtsMemoryTraits {
  using Handle = WtsMemory;
  static Handle Invalid() { return {}; }
  static bool IsValid(const Handle& h) { return h.block != nullptr; }
  static void Close(const Handle& h) {
    if (h.free) h.free(h.block);
  }
};
using UniqueWtsMemory = UniqueHandle<WtsMemoryTraits>;

// Buffers the network-management API allocates (NetApiBufferFree).
struct NetApiBufferTraits {
  using Handle = void*;
  static Handle Invalid() { return nullptr; }
  static bool IsValid(Handle h) { return h != nullptr; }
  static void Close(Handle h);  // defined beside the accounts code, which links the network API
};
using UniqueNetApiBuffer = UniqueHandle<NetApiBufferTraits>;

// A failed Win32 call that left no error code (several system stubs do) still has to answer
// with one, so callers never read "failed with success".
inline ErrorCode LastErrorOr(ErrorCode fallback) {
  ErrorCode code = ::GetLastError();
  return code != 0 ? code : fallback;
}

}  // namespace tv
