#include "service/session_signals.h"

#include <chrono>
#include <thread>

#include "foundation/object_names.h"

namespace tv {

BOOL SessionSignals::Create(const std::wstring& prefix, SessionId id, const std::wstring& tag,
                            const std::wstring& logonSid) {
  CloseAll();
  failedName_.clear();
  struct Spec {
    Event& event;
    std::wstring name;
    DWORD access;
    BOOL manual;
  };
  // The agent sets idle and cancel and only waits on quit: each right is granted alone.
  const Spec specs[] = {
      {idle_, IdleEventName(prefix, id, tag), kEventModifyState, kFalse},
      {cancel_, CancelEventName(prefix, id, tag), kEventModifyState, kFalse},
      {quit_, QuitEventName(prefix, tag), kSynchronize, kTrue},
      {reload_, ReloadEventName(prefix, id, tag), kSynchronize, kFalse},
  };
  for (const Spec& s : specs) {
    if (!s.event.CreateNewForUser(s.name.c_str(), kTrue, logonSid.c_str(), s.access, s.manual, kFalse)) {
      PreserveLastError keep;
      failedName_ = s.name;
      CloseAll();
      return kFalse;
    }
  }
  if (!wake_.CreateOrOpen(nullptr, kFalse, kFalse, kFalse)) {
    PreserveLastError keep;
    CloseAll();
    return kFalse;
  }
  return kTrue;
}

void SessionSignals::CloseAll() {
  idle_.Close();
  cancel_.Close();
  quit_.Close();
  reload_.Close();
  wake_.Close();
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
