// The event-log seam: entries the service writes about what it did, under the product's event
// source, and the registration of that source with its message file. SimulatedEventLog
// (platform/portable/event_log.h) keeps the entries in memory for tests and the simulator.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/last_error.h"
#include "platform/types.h"

namespace tv {

// Entry types, Windows' EVENTLOG_*_TYPE values.
enum class EventType : std::uint16_t { kError = 1, kWarning = 2, kInformation = 4 };

// The event source every entry of the product is written under.
inline constexpr const wchar_t* kEventSourceName = L"Tarnvale";

// The type a message identifier carries in its top two bits (severity): 0x6... information,
// 0xA... warning, 0xE... error. Identifiers of success severity count as information.
inline EventType EventTypeOf(DWORD eventId) {
  switch (eventId >> 30) {
    case 2: return EventType::kWarning;
    case 3: return EventType::kError;
    default: return EventType::kInformation;
  }
}

class EventLog {
 public:
  virtual ~EventLog() = default;

  // Writes one entry: `eventId` names the text in the message file, `strings` fill its %1, %2...
  virtual BOOL Report(EventType type, DWORD eventId, const std::vector<std::wstring>& strings) = 0;

  // Registers the source in the Application log with `messageFile` (a full path) holding its
  // texts, so the viewer can show them. Needs administrator rights.
  virtual BOOL RegisterSource(const std::wstring& messageFile) = 0;

  // Removes the source's registration; succeeds when there was none.
  virtual BOOL RemoveSource() = 0;
};

// The Windows event log under `source` (default: the product's); a simulated log elsewhere.
std::unique_ptr<EventLog> CreateSystemEventLog(const std::wstring& source = kEventSourceName);

}  // namespace tv
