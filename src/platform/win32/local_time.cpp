// Win32 body of the computer's zone: Windows' current time zone and its daylight-saving rules.
#include "platform/win32/windows_include.h"

#include "platform/local_time.h"

namespace tv {
namespace {

// Only the UTC-to-local direction is asked of Windows: it is a function, where local-to-UTC is
// ambiguous around the changes and Windows resolves a time in the spring-forward gap backwards.
// The shared conversion then resolves every zone's ambiguities one way.
class WindowsTimeZone final : public LocalTimeZone {
 public:
  BOOL OffsetAt(FileTime utc, std::int32_t& offsetSeconds) const override {
    if (utc < 0) return Fail(err::kInvalidParameter);
    FILETIME ft;
    ft.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(utc) & 0xFFFFFFFFu);
    ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(utc) >> 32);
    SYSTEMTIME universal, local;
    if (!::FileTimeToSystemTime(&ft, &universal)) return kFalse;
    if (!::SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local)) return kFalse;
    FILETIME shown;
    if (!::SystemTimeToFileTime(&local, &shown)) return kFalse;
    const std::int64_t shownTime =
        static_cast<std::int64_t>((static_cast<std::uint64_t>(shown.dwHighDateTime) << 32) | shown.dwLowDateTime);
    offsetSeconds = static_cast<std::int32_t>((shownTime - utc) / kFileTimePerSecond);
    return kTrue;
  }
};

}  // namespace

const LocalTimeZone& SystemLocalTimeZone() {
  static const WindowsTimeZone zone;
  return zone;
}

}  // namespace tv
