#include "service/session_registry.h"

#include <algorithm>

#include "service/session_monitor.h"

namespace tv {

SessionRegistry::Entry& SessionRegistry::At(std::uint64_t key) {
  return *std::lower_bound(entries_.begin(), entries_.end(), key,
                           [](const Entry& e, std::uint64_t k) { return e.key < k; });
}

const SessionRegistry::Entry& SessionRegistry::At(std::uint64_t key) const {
  return const_cast<SessionRegistry*>(this)->At(key);
}

const SessionRegistry::Entry* SessionRegistry::FindWatching(SessionId session) const {
  auto of = keysOf_.find(session);
  if (of == keysOf_.end()) return nullptr;
  // A monitor told to end (its session logged off) still has a thread until its next round, but
  // the session is no longer its: a new log-on to that session number gets a monitor of its own.
  for (std::uint64_t key : of->second) {
    const Entry& e = At(key);
    if (!e.monitor->EndRequested()) return &e;
  }
  return nullptr;
}

BOOL SessionRegistry::Add(SessionMonitor& monitor, void* owner) {
  CritSecLock hold(lock_);
  if (FindWatching(monitor.Id())) return kFalse;
  const std::uint64_t key = nextKey_++;
  entries_.push_back(Entry{key, &monitor, owner});
  keyOf_[&monitor] = key;
  keysOf_[monitor.Id()].push_back(key);
  if (!monitor.EndRequested()) ++live_;
  return kTrue;
}

void SessionRegistry::Remove(const SessionMonitor& monitor) {
  CritSecLock hold(lock_);
  auto it = keyOf_.find(&monitor);
  if (it == keyOf_.end()) return;
  const std::uint64_t key = it->second;
  keyOf_.erase(it);
  At(key) = Entry{key, nullptr, nullptr};
  if (++holes_ * 2 > entries_.size()) {
    std::erase_if(entries_, [](const Entry& e) { return e.monitor == nullptr; });
    holes_ = 0;
  }
  if (!monitor.EndRequested()) --live_;
  auto of = keysOf_.find(monitor.Id());
  if (of == keysOf_.end()) return;
  std::erase(of->second, key);
  if (of->second.empty()) keysOf_.erase(of);
}

bool SessionRegistry::Contains(SessionId session) const {
  CritSecLock hold(lock_);
  return FindWatching(session) != nullptr;
}

std::size_t SessionRegistry::Count() const {
  CritSecLock hold(lock_);
  return entries_.size() - holes_;
}

void* SessionRegistry::FindOwner(SessionId session) const {
  CritSecLock hold(lock_);
  const Entry* e = FindWatching(session);
  return e ? e->owner : nullptr;
}

BOOL SessionRegistry::SetLocked(SessionId session, bool locked) {
  CritSecLock hold(lock_);
  const Entry* e = FindWatching(session);
  if (!e) return kFalse;
  e->monitor->SetLocked(locked);
  return kTrue;
}

std::vector<SessionId> SessionRegistry::Sessions() const {
  CritSecLock hold(lock_);
  std::vector<SessionId> out;
  out.reserve(entries_.size());
  for (const Entry& e : entries_) {
    if (e.monitor && !e.monitor->EndRequested()) out.push_back(e.monitor->Id());
  }
  return out;
}

std::size_t SessionRegistry::Retire(SessionId session) {
  CritSecLock hold(lock_);
  auto of = keysOf_.find(session);
  if (of == keysOf_.end()) return 0;
  std::size_t n = 0;
  for (std::uint64_t key : of->second) {
    SessionMonitor* m = At(key).monitor;
    if (m->EndRequested()) continue;
    m->RequestEnd();
    --live_;
    ++n;
  }
  return n;
}

void SessionRegistry::SettingsChangedAll() {
  CritSecLock hold(lock_);
  for (const Entry& e : entries_) {
    if (e.monitor) e.monitor->SettingsChanged();
  }
}

void SessionRegistry::WakeAll() {
  CritSecLock hold(lock_);
  for (const Entry& e : entries_) {
    if (e.monitor) e.monitor->Wake();
  }
}

std::vector<SessionId> SessionRegistry::TrimStale(BOOL logoffStale, DWORD keepCount, SessionId lastActive, Tick now) {
  std::vector<SessionId> marked;
  if (!logoffStale) return marked;
  CritSecLock hold(lock_);
  const std::size_t live = live_;
  if (live <= keepCount) return marked;
  // Most recently active first. The last active session stays in front whatever its clock says;
  // the others are placed by their age (now - last activity), which unlike the raw tick values
  // keeps its order across the wrap of the tick count; of equal ages the earlier listed first.
  struct Placed {
    Tick age;
    std::uint64_t key;
    SessionMonitor* monitor;
    bool operator<(const Placed& o) const { return age != o.age ? age < o.age : key < o.key; }
  };
  std::vector<Placed> others;
  others.reserve(entries_.size());
  SessionMonitor* pinned = nullptr;
  for (const Entry& e : entries_) {
    SessionMonitor* m = e.monitor;
    if (!m || m->EndRequested()) continue;
    if (m->Id() == lastActive) {
      pinned = m;
      continue;
    }
    others.push_back({static_cast<Tick>(now - m->LastActivity()), e.key, m});
  }
  // Only the ones past the first `keepCount` need their exact order: a selection, then a sort
  // of those few, instead of ordering every session at every log-on.
  const std::size_t excess = live - keepCount;
  const std::size_t fromOthers = std::min(excess, others.size());
  const auto cut = others.end() - static_cast<std::ptrdiff_t>(fromOthers);
  std::nth_element(others.begin(), cut, others.end());
  std::sort(cut, others.end());
  marked.reserve(excess);
  for (auto it = others.end(); it != cut;) {
    --it;
    it->monitor->RequestStaleLogoff();
    marked.push_back(it->monitor->Id());
  }
  if (excess > fromOthers && pinned) {
    pinned->RequestStaleLogoff();
    marked.push_back(pinned->Id());
  }
  return marked;
}

}  // namespace tv
