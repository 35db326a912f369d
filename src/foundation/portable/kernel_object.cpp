// Portable implementation of the kernel objects (events, mutexes, thread handles) for builds without Win32.
#ifndef _WIN32

#include "foundation/kernel_object.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/last_error.h"

namespace tv::kernel {
namespace {

constexpr ErrorCode kNotOwner = 288;  // ERROR_NOT_OWNER

enum class Kind { kEvent, kMutex, kThread };

// A thread waiting on several objects at once: each object it watches wakes it on a change.
struct Watcher {
  std::mutex m;
  std::condition_variable cv;
  bool woken = false;
};

struct Object {
  explicit Object(Kind k) : kind(k) {}
  const Kind kind;
  // Guarded by the table's lock: the name lives while a handle on the object is open.
  std::wstring name;
  unsigned handles = 0;
  std::mutex m;
  std::condition_variable cv;
  // Events and threads (a thread is a manual-reset event set when it ends).
  bool manual = true;
  bool signalled = false;
  // A pulse releases waiters that were already waiting: those that arrived before generation
  // `pulse_gen` began, up to `pulse_left` of them.
  unsigned waiters = 0;
  std::uint64_t pulse_gen = 0;
  unsigned pulse_left = 0;
  // Threads: the body waits for this before it runs.
  bool resumed = false;
  // Mutexes.
  std::thread::id owner;
  unsigned recursion = 0;
  bool abandoned = false;
  // The descriptor text the object was created with; empty for default security.
  std::wstring sddl;
  // Threads in WaitAnyObject that watch this object; guarded by `m`.
  std::vector<Watcher*> watchers;

  // Wakes the watchers after a change that may let a waiter go. Called with `m` held, which keeps
  // every registered watcher alive (a watcher leaves the list under `m` before it goes away).
  void WakeWatchersLocked() {
    for (Watcher* w : watchers) {
      std::lock_guard<std::mutex> lock(w->m);
      w->woken = true;
      w->cv.notify_one();
    }
  }
};

// Handles are numbers that are never reused, so a stale or closed handle fails cleanly
// instead of reaching another object. Hashed: every wait looks its handles up, and a simulated
// terminal server holds tens of thousands of them.
struct Table {
  std::mutex m;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> handles;
  // Hashed too: the names of a session's events share a long stem, which an ordered map compares
  // over and over.
  std::unordered_map<std::wstring, std::weak_ptr<Object>> names;
  std::uintptr_t next = 4;
};

Table& GetTable() {
  // Never destroyed: detached threads may still close handles while the process exits.
  static Table* table = new Table;
  return *table;
}

void* AddHandleLocked(Table& t, std::shared_ptr<Object> object) {
  ++object->handles;
  std::uintptr_t h = t.next;
  t.next += 4;
  t.handles.emplace(h, std::move(object));
  return reinterpret_cast<void*>(h);
}

std::shared_ptr<Object> Find(void* handle, Kind kind, bool any_kind = false) {
  Table& t = GetTable();
  std::lock_guard<std::mutex> lock(t.m);
  auto it = t.handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == t.handles.end() || (!any_kind && it->second->kind != kind)) {
    SetLastErrorCode(err::kInvalidHandle);
    return nullptr;
  }
  return it->second;
}

std::shared_ptr<Object> FindNameLocked(Table& t, const wchar_t* name) {
  auto it = t.names.find(name);
  if (it == t.names.end()) return nullptr;
  std::shared_ptr<Object> o = it->second.lock();
  return o && o->handles > 0 ? o : nullptr;
}

// Creates an object of `kind`, or opens the one of that name: named objects of all kinds share
// one namespace, as on Windows.
template <class Init>
void* CreateNamed(Kind kind, const wchar_t* name, Init init) {
  Table& t = GetTable();
  std::lock_guard<std::mutex> lock(t.m);
  const bool named = name && *name;
  if (named) {
    if (std::shared_ptr<Object> existing = FindNameLocked(t, name)) {
      if (existing->kind != kind) {
        SetLastErrorCode(err::kInvalidHandle);
        return nullptr;
      }
      void* h = AddHandleLocked(t, std::move(existing));
      SetLastErrorCode(err::kAlreadyExists);
      return h;
    }
  }
  auto object = std::make_shared<Object>(kind);
  init(*object);
  if (named) {
    object->name = name;
    t.names[name] = object;
  }
  void* h = AddHandleLocked(t, std::move(object));
  SetLastErrorCode(err::kSuccess);
  return h;
}

// Mutexes the calling thread owns; when the thread ends still owning one, the mutex is left
// abandoned so that its next waiter learns of it, as Windows does.
struct OwnedMutexes {
  std::vector<std::weak_ptr<Object>> list;
  ~OwnedMutexes() {
    const std::thread::id self = std::this_thread::get_id();
    for (auto& weak : list) {
      std::shared_ptr<Object> o = weak.lock();
      if (!o) continue;
      {
        std::lock_guard<std::mutex> lock(o->m);
        if (o->recursion == 0 || o->owner != self) continue;
        o->recursion = 0;
        o->owner = std::thread::id();
        o->abandoned = true;
        o->WakeWatchersLocked();
      }
      o->cv.notify_all();
    }
  }
};
thread_local OwnedMutexes t_owned;

// Whether a waiter that arrived during pulse generation `gen` may go now; takes what it consumes.
// Called with o.m held. Answers the wait result, or kWaitTimeout for "not yet".
DWORD TryAcquireLocked(Object& o, std::uint64_t gen, std::shared_ptr<Object>& self_ref) {
  if (o.kind == Kind::kMutex) {
    const std::thread::id me = std::this_thread::get_id();
    if (o.recursion != 0 && o.owner != me) return kWaitTimeout;
    if (o.recursion++ == 0) {
      o.owner = me;
      t_owned.list.push_back(self_ref);
    }
    if (o.abandoned) {
      o.abandoned = false;
      return kWaitAbandoned;
    }
    return kWaitObject0;
  }
  if (o.signalled) {
    if (!o.manual) o.signalled = false;
    return kWaitObject0;
  }
  if (gen != o.pulse_gen && o.pulse_left > 0) {
    --o.pulse_left;
    return kWaitObject0;
  }
  return kWaitTimeout;
}

void ForgetOwned(const Object* o) {
  auto& list = t_owned.list;
  list.erase(std::remove_if(list.begin(), list.end(),
                            [o](const std::weak_ptr<Object>& w) {
                              auto s = w.lock();
                              return !s || s.get() == o;
                            }),
             list.end());
}

// Accepts the SDDL the product writes: "D:" with optional flags and one or more ACEs of six
// fields, whose trustee is a two-letter alias the system knows or an "S-1-..." SID.
bool IsWellFormedSddl(std::wstring_view s) {
  if (s.substr(0, 2) != L"D:") return false;
  s.remove_prefix(2);
  while (!s.empty() && s.front() >= L'A' && s.front() <= L'Z') s.remove_prefix(1);
  if (s.empty()) return false;
  static constexpr std::wstring_view kAliases[] = {L"AN", L"AO", L"AU", L"BA", L"BG", L"BO", L"BU", L"CA",
                                                    L"CO", L"DA", L"DU", L"IU", L"LA", L"LS", L"NS", L"NU",
                                                    L"PU", L"RD", L"SO", L"SU", L"SY", L"WD"};
  while (!s.empty()) {
    if (s.front() != L'(') return false;
    const size_t close = s.find(L')');
    if (close == std::wstring_view::npos) return false;
    std::wstring_view ace = s.substr(1, close - 1);
    s.remove_prefix(close + 1);
    std::vector<std::wstring_view> fields;
    for (size_t start = 0;;) {
      const size_t semi = ace.find(L';', start);
      fields.push_back(ace.substr(start, semi == std::wstring_view::npos ? std::wstring_view::npos : semi - start));
      if (semi == std::wstring_view::npos) break;
      start = semi + 1;
    }
    if (fields.size() != 6 || (fields[0] != L"A" && fields[0] != L"D") || fields[2].empty()) return false;
    std::wstring_view rights = fields[2];
    if (rights.substr(0, 2) == L"0x") {
      rights.remove_prefix(2);
      if (rights.empty() || rights.find_first_not_of(L"0123456789abcdefABCDEF") != std::wstring_view::npos) {
        return false;
      }
    } else if (rights.find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::wstring_view::npos) {
      return false;
    }
    std::wstring_view sid = fields[5];
    const bool alias = std::find(std::begin(kAliases), std::end(kAliases), sid) != std::end(kAliases);
    const bool numeric = sid.substr(0, 4) == L"S-1-" && sid.size() > 4 &&
                         sid.substr(4).find_first_not_of(L"0123456789-") == std::wstring_view::npos;
    if (!alias && !numeric) return false;
  }
  return true;
}

}  // namespace

void* CreateEventObject(void* securityAttributes, BOOL manualReset, BOOL initialState, const wchar_t* name) {
  return CreateNamed(Kind::kEvent, name, [&](Object& o) {
    o.manual = manualReset != 0;
    o.signalled = initialState != 0;
    if (securityAttributes) o.sddl = *static_cast<const std::wstring*>(securityAttributes);
  });
}

void* OpenEventObject(DWORD, BOOL, const wchar_t* name) {
  if (!name || !*name) {
    SetLastErrorCode(err::kInvalidParameter);
    return nullptr;
  }
  Table& t = GetTable();
  std::lock_guard<std::mutex> lock(t.m);
  std::shared_ptr<Object> existing = FindNameLocked(t, name);
  if (!existing) {
    SetLastErrorCode(err::kFileNotFound);
    return nullptr;
  }
  if (existing->kind != Kind::kEvent) {
    SetLastErrorCode(err::kInvalidHandle);
    return nullptr;
  }
  return AddHandleLocked(t, std::move(existing));
}

BOOL SetEventObject(void* event) {
  std::shared_ptr<Object> o = Find(event, Kind::kEvent);
  if (!o) return kFalse;
  {
    std::lock_guard<std::mutex> lock(o->m);
    o->signalled = true;
    o->WakeWatchersLocked();
  }
  o->cv.notify_all();
  return kTrue;
}

BOOL ResetEventObject(void* event) {
  std::shared_ptr<Object> o = Find(event, Kind::kEvent);
  if (!o) return kFalse;
  std::lock_guard<std::mutex> lock(o->m);
  o->signalled = false;
  return kTrue;
}

BOOL PulseEventObject(void* event) {
  std::shared_ptr<Object> o = Find(event, Kind::kEvent);
  if (!o) return kFalse;
  {
    std::lock_guard<std::mutex> lock(o->m);
    o->signalled = false;
    o->pulse_left = o->manual ? o->waiters : (o->waiters ? 1u : 0u);
    if (o->pulse_left == 0) return kTrue;
    ++o->pulse_gen;
  }
  o->cv.notify_all();
  return kTrue;
}

void* CreateMutexObject(const wchar_t* name) {
  return CreateNamed(Kind::kMutex, name, [](Object&) {});
}

BOOL ReleaseMutexObject(void* mutex) {
  std::shared_ptr<Object> o = Find(mutex, Kind::kMutex);
  if (!o) return kFalse;
  {
    std::lock_guard<std::mutex> lock(o->m);
    if (o->recursion == 0 || o->owner != std::this_thread::get_id()) return Fail(kNotOwner);
    if (--o->recursion != 0) return kTrue;
    o->owner = std::thread::id();
    o->WakeWatchersLocked();
  }
  ForgetOwned(o.get());
  o->cv.notify_all();
  return kTrue;
}

DWORD WaitObject(void* handle, DWORD timeout) {
  std::shared_ptr<Object> o = Find(handle, Kind::kEvent, /*any_kind=*/true);
  if (!o) return kWaitFailed;
  std::unique_lock<std::mutex> lock(o->m);
  const std::uint64_t gen = o->pulse_gen;
  DWORD result = kWaitTimeout;
  auto ready = [&] { return (result = TryAcquireLocked(*o, gen, o)) != kWaitTimeout; };
  ++o->waiters;
  if (timeout == 0) {
    (void)ready();  // a poll: waiting on the condition for no time still costs a sleep
  } else if (timeout == 0xFFFFFFFF) {
    o->cv.wait(lock, ready);
  } else {
    o->cv.wait_for(lock, std::chrono::milliseconds(timeout), ready);
  }
  --o->waiters;
  return result;
}

DWORD WaitAnyObject(void* const* handles, DWORD count, DWORD timeout) {
  if (count == 0 || count > 64) {
    SetLastErrorCode(err::kInvalidParameter);
    return kWaitFailed;
  }
  if (timeout == 0) {
    // A poll, as every round of a simulated terminal server's thousands of monitors makes: looked
    // at under the table's lock, which keeps the objects alive without a copy of each reference.
    Table& t = GetTable();
    std::lock_guard<std::mutex> lock(t.m);
    std::shared_ptr<Object>* found[64];
    for (DWORD i = 0; i < count; ++i) {
      auto it = t.handles.find(reinterpret_cast<std::uintptr_t>(handles[i]));
      if (it == t.handles.end()) {
        SetLastErrorCode(err::kInvalidHandle);
        return kWaitFailed;
      }
      found[i] = &it->second;
    }
    for (DWORD i = 0; i < count; ++i) {
      Object& o = **found[i];
      std::lock_guard<std::mutex> hold(o.m);
      if (const DWORD result = TryAcquireLocked(o, o.pulse_gen, *found[i]); result != kWaitTimeout) return result + i;
    }
    return kWaitTimeout;
  }
  std::vector<std::shared_ptr<Object>> objects;
  objects.reserve(count);
  for (DWORD i = 0; i < count; ++i) {
    objects.push_back(Find(handles[i], Kind::kEvent, /*any_kind=*/true));
    if (!objects.back()) return kWaitFailed;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
  Watcher watcher;
  auto unwatch = [&](DWORD upto) {
    for (DWORD i = 0; i < upto; ++i) {
      std::lock_guard<std::mutex> lock(objects[i]->m);
      auto& list = objects[i]->watchers;
      list.erase(std::remove(list.begin(), list.end(), &watcher), list.end());
    }
  };
  for (;;) {
    // Look at each object in order and, while its lock is held, watch it: a change after the
    // look wakes the watcher, so nothing between the look and the sleep is missed.
    for (DWORD i = 0; i < count; ++i) {
      DWORD result;
      {
        Object& o = *objects[i];
        std::lock_guard<std::mutex> lock(o.m);
        result = TryAcquireLocked(o, o.pulse_gen, objects[i]);
        if (result == kWaitTimeout) {
          o.watchers.push_back(&watcher);
          continue;
        }
      }
      unwatch(i);  // the objects before this one are watched; this one is not
      return result + i;
    }
    bool woken;
    {
      std::unique_lock<std::mutex> lock(watcher.m);
      auto pred = [&] { return watcher.woken; };
      if (timeout == 0) {
        woken = watcher.woken;
      } else if (timeout == 0xFFFFFFFF) {
        watcher.cv.wait(lock, pred);
        woken = true;
      } else {
        woken = watcher.cv.wait_until(lock, deadline, pred);
      }
      watcher.woken = false;
    }
    unwatch(count);
    if (!woken) return kWaitTimeout;
  }
}

DWORD MsgWaitObject(void* handle, DWORD timeout, DWORD) { return WaitObject(handle, timeout); }

BOOL CloseObject(void* handle) {
  std::shared_ptr<Object> released;  // the object may die here, outside the table's lock
  Table& t = GetTable();
  std::lock_guard<std::mutex> lock(t.m);
  auto it = t.handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == t.handles.end()) return Fail(err::kInvalidHandle);
  released = std::move(it->second);
  t.handles.erase(it);
  if (--released->handles == 0 && !released->name.empty()) {
    // Last handle: the name is free again.
    auto n = t.names.find(released->name);
    if (n != t.names.end() && n->second.lock() == released) t.names.erase(n);
  }
  return kTrue;
}

void* DuplicateObject(void* handle) {
  Table& t = GetTable();
  std::lock_guard<std::mutex> lock(t.m);
  auto it = t.handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == t.handles.end()) {
    SetLastErrorCode(err::kInvalidHandle);
    return nullptr;
  }
  return AddHandleLocked(t, it->second);
}

void* StartThreadSuspended(ThreadProc proc, void* param, DWORD* threadId) {
  static std::atomic<DWORD> next_id{1000};
  auto object = std::make_shared<Object>(Kind::kThread);
  void* handle;
  {
    Table& t = GetTable();
    std::lock_guard<std::mutex> lock(t.m);
    handle = AddHandleLocked(t, object);
  }
  const DWORD id = next_id.fetch_add(4);
  try {
    std::thread([object, proc, param] {
      {
        std::unique_lock<std::mutex> lock(object->m);
        object->cv.wait(lock, [&] { return object->resumed; });
      }
      proc(param);
      {
        std::lock_guard<std::mutex> lock(object->m);
        object->signalled = true;
        object->WakeWatchersLocked();
      }
      object->cv.notify_all();
    }).detach();
  } catch (...) {
    SetLastErrorCode(err::kNotEnoughMemory);
    PreserveLastError keep;
    CloseObject(handle);
    return nullptr;
  }
  if (threadId) *threadId = id;
  return handle;
}

BOOL ResumeThreadObject(void* thread) {
  std::shared_ptr<Object> o = Find(thread, Kind::kThread);
  if (!o) return kFalse;
  {
    std::lock_guard<std::mutex> lock(o->m);
    o->resumed = true;
  }
  o->cv.notify_all();
  return kTrue;
}

BOOL SetThreadPriorityOf(void* thread, int) {
  // Priorities are a scheduling hint the portable build does without.
  return Find(thread, Kind::kThread) ? kTrue : kFalse;
}

BOOL PumpThreadMessages(void*) { return kTrue; }

void* NewSecurityAttributes(const wchar_t* sddl, BOOL) {
  if (!sddl || !IsWellFormedSddl(sddl)) {
    SetLastErrorCode(err::kInvalidParameter);
    return nullptr;
  }
  // Nothing to enforce within one process; the text is kept so that the result is a real allocation.
  auto* copy = new (std::nothrow) std::wstring(sddl);
  if (!copy) SetLastErrorCode(err::kNotEnoughMemory);
  return copy;
}

void FreeSecurityAttributes(void* attributes) { delete static_cast<std::wstring*>(attributes); }

BOOL QueryObjectSecurity(void* handle, std::wstring& sddl) {
  std::shared_ptr<Object> o = Find(handle, Kind::kEvent, /*any_kind=*/true);
  if (!o) return kFalse;
  std::lock_guard<std::mutex> lock(GetTable().m);
  sddl = o->sddl;
  return kTrue;
}

}  // namespace tv::kernel

#endif  // !_WIN32
