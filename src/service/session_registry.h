// The service's list of monitored sessions (in the service, one per live session thread) under
// one lock: who is watched, how many, the locked flags the session-change handling writes and
// the stale-session rule that picks which sessions to log off.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "foundation/crit_sec.h"
#include "platform/sessions.h"
#include "platform/types.h"

namespace tv {

class SessionMonitor;

class SessionRegistry {
 public:
  SessionRegistry() = default;
  SessionRegistry(const SessionRegistry&) = delete;
  SessionRegistry& operator=(const SessionRegistry&) = delete;

  // Appends `monitor` (with the object that runs it, for FindOwner) at the tail. FALSE, adding
  // nothing, when the session is already watched.
  BOOL Add(SessionMonitor& monitor, void* owner = nullptr);
  // Takes `monitor` out; nothing when it is not listed.
  void Remove(const SessionMonitor& monitor);

  bool Contains(SessionId session) const;
  // Every listed monitor, those told to end included: each still has a thread that must end.
  std::size_t Count() const;
  // The runner given to Add for the first monitor of `session`, or null. Only meaningful while
  // the caller holds Lock() or otherwise knows the runner is alive.
  void* FindOwner(SessionId session) const;
  // Sets the locked flag of the session's monitor; FALSE when none watches it.
  BOOL SetLocked(SessionId session, bool locked);
  // The sessions watched, in list order.
  std::vector<SessionId> Sessions() const;
  // The session has ended: its monitors are told to end (and woken), and from now on the
  // session counts as not watched, so that a new log-on to the same number is examined afresh.
  // Answers how many monitors were told.
  std::size_t Retire(SessionId session);

  // The stale-session rule: when more than `keepCount` sessions are watched, orders the
  // monitors from the most recently active (the last active session first) to the least, by
  // their age at `now`, and asks the ones past the first `keepCount` for a stale log-off.
  // Answers the sessions so marked, least recently active first.
  std::vector<SessionId> TrimStale(BOOL logoffStale, DWORD keepCount, SessionId lastActive, Tick now);

  // Wakes the thread of every listed monitor that waits for its next deadline.
  void WakeAll();
  // Tells every listed monitor (and through it its session's agent) that the settings changed.
  void SettingsChangedAll();

  // The list's lock (recursive): hold it to make several steps one.
  CritSec& Lock() { return lock_; }

 private:
  struct Entry {
    std::uint64_t key;
    SessionMonitor* monitor;  // null: taken out, a hole until the next compaction
    void* owner;
  };
  // The entry of `session` that watches it (not told to end), first in list order; or null.
  const Entry* FindWatching(SessionId session) const;
  Entry& At(std::uint64_t key);
  const Entry& At(std::uint64_t key) const;

  mutable CritSec lock_;
  // The list, in the order of the keys given when each entry was added (list order), and two
  // indexes into it, so that a terminal server's thousands of sessions cost each session change
  // a look-up, not a walk. Contiguous, as the stale-session rule walks it at every log-on once
  // the sessions outnumber its count; taken-out entries are dropped once they are half of it.
  std::vector<Entry> entries_;
  std::size_t holes_ = 0;
  std::uint64_t nextKey_ = 0;
  std::unordered_map<const SessionMonitor*, std::uint64_t> keyOf_;
  std::unordered_map<SessionId, std::vector<std::uint64_t>> keysOf_;  // by session, in list order
  // The entries not told to end (only Retire tells them), so that a log-on below the stale count
  // costs no walk.
  std::size_t live_ = 0;
};

}  // namespace tv
