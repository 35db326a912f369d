// Portable simulated event log (both toolchains): entries kept in memory.
#include "platform/portable/event_log.h"

namespace tv {

void SimulatedEventLog::FailOp(Op op, ErrorCode error, int times, int skip) {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Add(static_cast<int>(op), error, times, skip);
}

std::vector<SimulatedEventLog::Entry> SimulatedEventLog::Entries() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return entries_;
}

size_t SimulatedEventLog::Count(DWORD eventId) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t n = 0;
  for (const auto& e : entries_) n += e.eventId == eventId;
  return n;
}

void SimulatedEventLog::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
}

std::wstring SimulatedEventLog::RegisteredMessageFile() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return messageFile_;
}

BOOL SimulatedEventLog::Report(EventType type, DWORD eventId, const std::vector<std::wstring>& strings) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kReport))) return Fail(e);
  entries_.push_back({type, eventId, strings});
  return kTrue;
}

BOOL SimulatedEventLog::RegisterSource(const std::wstring& messageFile) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kRegisterSource))) return Fail(e);
  if (messageFile.empty()) return Fail(err::kInvalidParameter);
  messageFile_ = messageFile;
  return kTrue;
}

BOOL SimulatedEventLog::RemoveSource() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ErrorCode e = faults_.Next(static_cast<int>(Op::kRemoveSource))) return Fail(e);
  messageFile_.clear();
  return kTrue;
}

#ifndef _WIN32
std::unique_ptr<EventLog> CreateSystemEventLog(const std::wstring& source) {
  return std::make_unique<SimulatedEventLog>(source);
}
#endif

}  // namespace tv
