// Portable simulated event log: keeps every entry in memory, in order, and fails on command.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/event_log.h"
#include "platform/portable/fault_plan.h"

namespace tv {

class SimulatedEventLog final : public EventLog {
 public:
  enum class Op { kReport, kRegisterSource, kRemoveSource };

  struct Entry {
    EventType type;
    DWORD eventId;
    std::vector<std::wstring> strings;
  };

  explicit SimulatedEventLog(std::wstring source = kEventSourceName) : source_(std::move(source)) {}

  void FailOp(Op op, ErrorCode error, int times = 1, int skip = 0);

  std::vector<Entry> Entries() const;
  // How many entries carry `eventId`.
  size_t Count(DWORD eventId) const;
  void Clear();
  const std::wstring& Source() const { return source_; }
  // The message file registered for the source, empty when it is not registered.
  std::wstring RegisteredMessageFile() const;

  BOOL Report(EventType type, DWORD eventId, const std::vector<std::wstring>& strings) override;
  BOOL RegisterSource(const std::wstring& messageFile) override;
  BOOL RemoveSource() override;

 private:
  const std::wstring source_;
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
  std::wstring messageFile_;
  FaultPlan faults_;
};

}  // namespace tv
