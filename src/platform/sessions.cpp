// What the terminal-session seam gives every implementation: a tracked start for seams that
// cannot follow the processes they start.
#include "platform/sessions.h"

namespace tv {

namespace {
class UnfollowedProcess final : public SessionProcess {
 public:
  bool Running() override { return true; }
  DWORD ExitCode() override { return kStillActive; }

 private:
  static constexpr DWORD kStillActive = 259;
};
}  // namespace

BOOL Sessions::StartTrackedInSession(SessionId id, const std::wstring& commandLine,
                                     std::unique_ptr<SessionProcess>& started) {
  if (!StartInSession(id, commandLine)) return kFalse;
  started = std::make_unique<UnfollowedProcess>();
  return kTrue;
}

bool LockedFromSessionFlags(long flags, DWORD major, DWORD minor, bool& locked) {
  constexpr long kLock = 0;
  constexpr long kUnlock = 1;
  if (flags != kLock && flags != kUnlock) return false;
  const bool inverted = major == 6 && minor == 1;
  locked = (flags == kLock) != inverted;
  return true;
}

}  // namespace tv
