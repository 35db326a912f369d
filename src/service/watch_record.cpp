#include "service/watch_record.h"

#include "foundation/service_log.h"
#include "settings/options.h"
#include "settings/reg_key.h"

namespace tv {

WatchReason WatchReasonOf(const MembershipVerdict& verdict) {
  if (verdict.monitor) return WatchReason::kWatched;
  switch (verdict.eventId) {
    case evt::kSkippedExcluded: return WatchReason::kExcludedAccount;
    case evt::kSkippedExcludedGroup: return WatchReason::kExcludedGroup;
    case evt::kSkippedGroupsUnknown: return WatchReason::kGroupsUnknown;
    default: return WatchReason::kNotApplied;
  }
}

void WatchRecord::Set(SessionId session, WatchReason reason) {
  std::lock_guard<std::mutex> hold(mutex_);
  RegKey key(kWatchReasonsKey, true, keys_);
  if (key.IsOpen()) (void)key.PutDword(WatchReasonValueName(session).c_str(), static_cast<DWORD>(reason), true);
}

void WatchRecord::SetKeptAlive(SessionId session, const KeptAliveRecord& record) {
  std::lock_guard<std::mutex> hold(mutex_);
  RegKey key(kWatchReasonsKey, true, keys_);
  if (key.IsOpen()) (void)key.PutStr(KeptAliveValueName(session).c_str(), FormatKeptAlive(record).c_str());
}

void WatchRecord::Forget(SessionId session) {
  std::lock_guard<std::mutex> hold(mutex_);
  // Opened for reading first: forgetting must not create the product's key where none is.
  if (!RegKey(kWatchReasonsKey, false, keys_).IsOpen()) return;
  RegKey key(kWatchReasonsKey, true, keys_);
  if (!key.IsOpen()) return;
  (void)key.DelValue(WatchReasonValueName(session).c_str());
  (void)key.DelValue(KeptAliveValueName(session).c_str());
}

void WatchRecord::Clear() {
  std::lock_guard<std::mutex> hold(mutex_);
  if (!RegKey(kWatchReasonsKey, false, keys_).IsOpen()) return;
  RegKey product(kAppRootKey, true, keys_);
  if (product.IsOpen()) (void)product.DelSubKey(kWatchReasonsSubKey);
}

}  // namespace tv
