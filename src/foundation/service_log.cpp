#include "foundation/service_log.h"

#include <vector>

namespace tv {

void LogEvent(EventLog& log, DWORD eventId, const std::wstring& account) {
  std::vector<std::wstring> strings;
  if (!account.empty()) strings.push_back(account);
  // The error a caller is about to read must survive the log's own calls.
  PreserveLastError keep;
  (void)log.Report(EventTypeOf(eventId), eventId, strings);
}

void LogError(EventLog& log, DWORD eventId, const std::wstring& account, ErrorCode code) {
  std::vector<std::wstring> strings;
  if (!account.empty()) strings.push_back(account);
  strings.push_back(std::to_wstring(code));
  PreserveLastError keep;
  (void)log.Report(EventTypeOf(eventId), eventId, strings);
}

void LogEvent2(EventLog& log, DWORD eventId, const std::wstring& first, const std::wstring& second) {
  PreserveLastError keep;
  (void)log.Report(EventTypeOf(eventId), eventId, {first, second});
}

void LogEventN(EventLog& log, DWORD eventId, const std::vector<std::wstring>& strings) {
  PreserveLastError keep;
  (void)log.Report(EventTypeOf(eventId), eventId, strings);
}

}  // namespace tv
