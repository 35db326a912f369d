#include "service/session_signals.h"

#include <chrono>
#include <thread>

namespace tv {

namespace {
// Interactive users may only set and reset the events; the service keeps full access.
constexpr const wchar_t* kInteractiveUsers = L"IU";

std::wstring EventName(const std::wstring& prefix, const wchar_t* kind, SessionId id) {
  return prefix + L"Event" + kind + L"-" + std::to_wstring(static_cast<long>(id));
}
}  // namespace

std::wstring SessionSignals::IdleName(const std::wstring& prefix, SessionId id) {
  return EventName(prefix, L"Idle", id);
}

std::wstring SessionSignals::CancelName(const std::wstring& prefix, SessionId id) {
  return EventName(prefix, L"Cancel", id);
}

BOOL SessionSignals::Create(const std::wstring& prefix, SessionId id) {
  if (!idle_.CreateNewForUser(IdleName(prefix, id).c_str(), kTrue, kInteractiveUsers, kEventModifyState, kFalse,
                              kFalse)) {
    return kFalse;
  }
  if (!cancel_.CreateNewForUser(CancelName(prefix, id).c_str(), kTrue, kInteractiveUsers, kEventModifyState,
                                kFalse, kFalse)) {
    PreserveLastError keep;
    idle_.Close();
    return kFalse;
  }
  if (!wake_.CreateOrOpen(nullptr, kFalse, kFalse, kFalse)) {
    PreserveLastError keep;
    idle_.Close();
    cancel_.Close();
    return kFalse;
  }
  return kTrue;
}

RoundSignal SessionSignals::Wait(DWORD timeoutMs) {
  Event* events[3] = {&idle_, &cancel_, &wake_};
  switch (WaitForAnyEvent(events, 3, timeoutMs)) {
    case 0: return RoundSignal::kIdle;
    case 1: return RoundSignal::kCancel;
    case 2:
    case 258: return RoundSignal::kTimeout;
    default:
      // A failed wait must not turn the once-a-second loop into a spin.
      std::this_thread::sleep_for(std::chrono::milliseconds(timeoutMs));
      return RoundSignal::kTimeout;
  }
}

}  // namespace tv
