// Win32 implementation of the clock seam: GetTickCount and GetLocalTime.
#include "platform/win32/windows_include.h"

#include "platform/clock.h"

namespace tv {
namespace {

class Win32Clock final : public Clock {
 public:
  Tick GetTickCount() const override { return ::GetTickCount(); }

  SystemTime GetLocalTime() const override {
    SYSTEMTIME st{};
    ::GetLocalTime(&st);
    SystemTime t;
    t.year = st.wYear;
    t.month = st.wMonth;
    t.dayOfWeek = st.wDayOfWeek;
    t.day = st.wDay;
    t.hour = st.wHour;
    t.minute = st.wMinute;
    t.second = st.wSecond;
    t.milliseconds = st.wMilliseconds;
    return t;
  }
};

}  // namespace

std::unique_ptr<Clock> CreateSystemClock() { return std::make_unique<Win32Clock>(); }

}  // namespace tv
