// Why the service watches a session or leaves it alone, as it records it for each session under
// the product's key, so that the configuration utility can tell the user of that session the
// real reason instead of guessing from what it sees.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv {

// The key the records live in: one REG_DWORD per session, named by the session number in decimal.
// Nothing recorded for a session means the service has not examined it since it started.
inline constexpr const wchar_t* kWatchReasonsKey = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale\\Sessions";
// The same key's name below the product's key.
inline constexpr const wchar_t* kWatchReasonsSubKey = L"Sessions";

// The values are stored: never renumber them.
enum class WatchReason : DWORD {
  kWatched = 1,           // a monitor watches the session
  kNotEnabled = 2,        // Enable was off when the session was examined
  kExcludedAccount = 3,   // the account is in the "Do not apply to" list
  kExcludedGroup = 4,     // a group of the account is in the "Do not apply to" list
  kNotApplied = 5,        // the "Apply to" list names neither the account nor one of its groups
  kGroupsUnknown = 6,     // the account's groups could not be read, and an excluding group may hold it
  kAgentNotStarted = 7,   // the session's monitor process could not be started
  kAgentKeptEnding = 8,   // the monitor process kept ending, so the watch was given up
};

// The value name of `session`'s record.
inline std::wstring WatchReasonValueName(DWORD session) { return std::to_wstring(session); }

}  // namespace tv
