// The per-session record of why the service watches a session or leaves it alone (see
// settings/watch_reasons.h), kept in the registry where the configuration utility reads it.
#pragma once

#include <mutex>

#include "platform/registry.h"
#include "platform/sessions.h"
#include "service/membership.h"
#include "settings/kept_alive_record.h"
#include "settings/watch_reasons.h"

namespace tv {

// The reason a membership verdict that leaves the session alone stands for; kWatched when the
// verdict watches it.
WatchReason WatchReasonOf(const MembershipVerdict& verdict);

class WatchRecord {
 public:
  explicit WatchRecord(KeyStore& keys) : keys_(keys) {}
  WatchRecord(const WatchRecord&) = delete;
  WatchRecord& operator=(const WatchRecord&) = delete;

  // Records `reason` for `session` at once. A registry that cannot be written loses only the
  // explanation, never the watch: failures are ignored.
  void Set(SessionId session, WatchReason reason);
  // Records the latest sparing of `session` beside its reason, failures ignored as with Set.
  void SetKeptAlive(SessionId session, const KeptAliveRecord& record);
  // The session has ended: its records go, so a new log-on to the number is not explained by
  // the one before.
  void Forget(SessionId session);
  // Every record goes: the service starts, stops or quits its work, and each session that is
  // watched afterwards is examined afresh.
  void Clear();

 private:
  KeyStore& keys_;
  std::mutex mutex_;  // monitors report from their own threads
};

}  // namespace tv
