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

}  // namespace tv
