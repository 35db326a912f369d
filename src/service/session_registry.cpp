#include "service/session_registry.h"

#include <algorithm>

#include "service/session_monitor.h"

namespace tv {

namespace {
// A monitor told to end (its session logged off) still has a thread until its next round, but
// the session is no longer its: a new log-on to that session number gets a monitor of its own.
bool Watches(const SessionMonitor& m, SessionId session) { return m.Id() == session && !m.EndRequested(); }
}  // namespace

BOOL SessionRegistry::Add(SessionMonitor& monitor, void* owner) {
  CritSecLock hold(lock_);
  for (const Entry& e : entries_) {
    if (Watches(*e.monitor, monitor.Id())) return kFalse;
  }
  entries_.push_back({&monitor, owner});
  return kTrue;
}

void SessionRegistry::Remove(const SessionMonitor& monitor) {
  CritSecLock hold(lock_);
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.monitor == &monitor; });
  if (it != entries_.end()) entries_.erase(it);
}

bool SessionRegistry::Contains(SessionId session) const {
  CritSecLock hold(lock_);
  return std::any_of(entries_.begin(), entries_.end(), [&](const Entry& e) { return Watches(*e.monitor, session); });
}

std::size_t SessionRegistry::Count() const {
  CritSecLock hold(lock_);
  return entries_.size();
}

void* SessionRegistry::FindOwner(SessionId session) const {
  CritSecLock hold(lock_);
  for (const Entry& e : entries_) {
    if (Watches(*e.monitor, session)) return e.owner;
  }
  return nullptr;
}

BOOL SessionRegistry::SetLocked(SessionId session, bool locked) {
  CritSecLock hold(lock_);
  for (const Entry& e : entries_) {
    if (Watches(*e.monitor, session)) {
      e.monitor->SetLocked(locked);
      return kTrue;
    }
  }
  return kFalse;
}

std::vector<SessionId> SessionRegistry::Sessions() const {
  CritSecLock hold(lock_);
  std::vector<SessionId> out;
  out.reserve(entries_.size());
  for (const Entry& e : entries_) {
    if (!e.monitor->EndRequested()) out.push_back(e.monitor->Id());
  }
  return out;
}

std::size_t SessionRegistry::Retire(SessionId session) {
  CritSecLock hold(lock_);
  std::size_t n = 0;
  for (const Entry& e : entries_) {
    if (!Watches(*e.monitor, session)) continue;
    e.monitor->RequestEnd();
    ++n;
  }
  return n;
}

void SessionRegistry::SettingsChangedAll() {
  CritSecLock hold(lock_);
  for (const Entry& e : entries_) e.monitor->SettingsChanged();
}

void SessionRegistry::WakeAll() {
  CritSecLock hold(lock_);
  for (const Entry& e : entries_) e.monitor->Wake();
}

std::vector<SessionId> SessionRegistry::TrimStale(BOOL logoffStale, DWORD keepCount, SessionId lastActive, Tick now) {
  std::vector<SessionId> marked;
  if (!logoffStale) return marked;
  CritSecLock hold(lock_);
  std::size_t live = 0;
  for (const Entry& e : entries_) live += e.monitor->EndRequested() ? 0 : 1;
  if (live <= keepCount) return marked;
  // Most recently active first. The last active session stays in front whatever its clock says;
  // the others are placed by their age (now - last activity), which unlike the raw tick values
  // keeps its order across the wrap of the tick count.
  std::vector<SessionMonitor*> order;
  order.reserve(entries_.size());
  std::size_t pinned = 0;
  for (const Entry& e : entries_) {
    SessionMonitor* m = e.monitor;
    if (m->EndRequested()) continue;
    if (m->Id() == lastActive) {
      order.insert(order.begin(), m);
      pinned = 1;
      continue;
    }
    const Tick age = now - m->LastActivity();
    auto pos = std::find_if(order.begin() + pinned, order.end(),
                            [&](const SessionMonitor* o) { return now - o->LastActivity() > age; });
    order.insert(pos, m);
  }
  while (order.size() > keepCount) {
    order.back()->RequestStaleLogoff();
    marked.push_back(order.back()->Id());
    order.pop_back();
  }
  return marked;
}

}  // namespace tv
