// Portable fault injection shared by the simulated platform seams: "fail the Nth call of an
// operation with error E, once or from then on", optionally only for one subject (a session, a
// service). Not locked itself: each simulated seam consults it under its own lock.
#pragma once

#include <vector>

#include "platform/types.h"

namespace tv {

// For `times`: every matching call from then on.
inline constexpr int kFailAlways = -1;
// For `subject`: any subject.
inline constexpr DWORD kAnySubject = 0xFFFFFFFFu;

class FaultPlan {
 public:
  // Calls of `op` (on `subject`) fail with `error`: the first `skip` matching calls pass, then
  // `times` calls fail (kFailAlways: all of them). Rules are consulted in the order added.
  void Add(int op, ErrorCode error, int times = 1, int skip = 0, DWORD subject = kAnySubject) {
    if (times == 0 || error == 0) return;
    rules_.push_back({op, subject, error, skip, times});
  }

  void Clear() { rules_.clear(); }

  // Counts one call of `op` on `subject`; answers the error it must fail with, or 0 to proceed.
  ErrorCode Next(int op, DWORD subject = kAnySubject) {
    for (auto it = rules_.begin(); it != rules_.end(); ++it) {
      if (it->op != op || (it->subject != kAnySubject && it->subject != subject)) continue;
      if (it->skip > 0) {
        --it->skip;
        continue;
      }
      ErrorCode error = it->error;
      if (it->times > 0 && --it->times == 0) rules_.erase(it);
      return error;
    }
    return 0;
  }

 private:
  struct Rule {
    int op;
    DWORD subject;
    ErrorCode error;
    int skip;
    int times;
  };
  std::vector<Rule> rules_;
};

}  // namespace tv
