// Win32 implementation of the event-log seam over RegisterEventSource/ReportEvent and the
// Application log's source registration in the registry.
#include "platform/win32/windows_include.h"

#include <mutex>

#include "platform/event_log.h"
#include "platform/win32/handles.h"

namespace tv {
namespace {

const wchar_t kApplicationLogKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\";

class Win32EventLog final : public EventLog {
 public:
  explicit Win32EventLog(std::wstring source) : source_(std::move(source)) {}

  BOOL Report(EventType type, DWORD eventId, const std::vector<std::wstring>& strings) override {
    HANDLE handle = Source();
    if (!handle) return kFalse;
    std::vector<LPCWSTR> pointers;
    pointers.reserve(strings.size());
    for (const auto& s : strings) pointers.push_back(s.c_str());
    if (!::ReportEventW(handle, static_cast<WORD>(type), 0, eventId, nullptr, static_cast<WORD>(pointers.size()), 0,
                        pointers.empty() ? nullptr : pointers.data(), nullptr))
      return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL RegisterSource(const std::wstring& messageFile) override {
    const std::wstring path = kApplicationLogKey + source_;
    HKEY key = nullptr;
    LSTATUS status = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                       KEY_SET_VALUE, nullptr, &key, nullptr);
    if (status != ERROR_SUCCESS) return Fail(static_cast<ErrorCode>(status));
    const ::DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
    status = ::RegSetValueExW(key, L"EventMessageFile", 0, REG_EXPAND_SZ,
                              reinterpret_cast<const BYTE*>(messageFile.c_str()),
                              static_cast<::DWORD>((messageFile.size() + 1) * sizeof(wchar_t)));
    if (status == ERROR_SUCCESS)
      status = ::RegSetValueExW(key, L"TypesSupported", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&types),
                                sizeof(types));
    ::RegCloseKey(key);
    if (status != ERROR_SUCCESS) return Fail(static_cast<ErrorCode>(status));
    return kTrue;
  }

  BOOL RemoveSource() override {
    const std::wstring path = kApplicationLogKey + source_;
    LSTATUS status = ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return Fail(static_cast<ErrorCode>(status));
    return kTrue;
  }

 private:
  // Opened on first use, so a log made before the source is registered still works.
  HANDLE Source() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!handle_.valid()) {
      handle_.reset(::RegisterEventSourceW(nullptr, source_.c_str()));
      if (!handle_.valid()) {
        Fail(LastErrorOr(err::kGenFailure));
        return nullptr;
      }
    }
    return handle_.get();
  }

  std::wstring source_;
  std::mutex mutex_;
  UniqueEventSource handle_;
};

}  // namespace

std::unique_ptr<EventLog> CreateSystemEventLog(const std::wstring& source) {
  return std::make_unique<Win32EventLog>(source);
}

}  // namespace tv
