// The entries the service writes to the event log: their identifiers (the message texts live in
// the message table of TV64.DLL) and the two shapes they come in.
#pragma once

#include <string>
#include <vector>

#include "platform/event_log.h"
#include "platform/types.h"

namespace tv {

namespace evt {
inline constexpr DWORD kServiceStarted = 0x60000001;
inline constexpr DWORD kStopInitiated = 0x60000002;
inline constexpr DWORD kServiceStopped = 0x60000003;
inline constexpr DWORD kMonitoringStarted = 0x60000006;     // %1 account
inline constexpr DWORD kSkippedExcluded = 0x60000007;       // %1 account
inline constexpr DWORD kSkippedExcludedGroup = 0x60000008;  // %1 account, %2 group
inline constexpr DWORD kSkippedNotApplied = 0x60000009;     // %1 account
inline constexpr DWORD kLoggedOff = 0x6000000a;             // %1 account
inline constexpr DWORD kShutdownInitiated = 0x60000012;
inline constexpr DWORD kSuspendInitiated = 0x60000014;
inline constexpr DWORD kStaleLoggedOff = 0x60000017;        // %1 account
// %1 account, %2 session, %3 idle minutes, %4 how it was shown, %5 locked or not, %6 countdown minutes
inline constexpr DWORD kWarningShown = 0x60000022;
// Beside each log-off: %1 account, %2 session, %3 idle minutes, %4 connect state, %5 locked or
// not, %6 whether a warning had been shown
inline constexpr DWORD kLogoffDetails = 0x60000023;
// The update check (written by the checking process, not the service):
inline constexpr DWORD kUpdateAvailable = 0x60000030;   // %1 installed version, %2 source, %3 newer version
inline constexpr DWORD kUpdateUpToDate = 0x60000031;    // %1 installed version, %2 source
inline constexpr DWORD kUpdateInstalling = 0x60000032;  // %1 version, %2 package, %3 installer's log
// A session at its idle mark kept by a source other than input: %1 account, %2 the source
inline constexpr DWORD kKeptAlive = 0x60000040;
inline constexpr DWORD kNotEnabledAtStart = 0xa000000c;
inline constexpr DWORD kNotEnabledAtLogon = 0xa000000d;
inline constexpr DWORD kNotEnabledAtTimeout = 0xa000000e;   // %1 account
inline constexpr DWORD kSparedLastActive = 0xa0000016;      // %1 account
inline constexpr DWORD kScheduleInactive = 0xa0000019;      // %1 account
inline constexpr DWORD kSettingUnusable = 0xa000001a;       // %1 value name, %2 what and what instead
inline constexpr DWORD kQuitWorkReceived = 0xa000001b;
inline constexpr DWORD kAgentRestarted = 0xa000001d;        // %1 account, %2 attempt
inline constexpr DWORD kHooksReinstalled = 0xa000001f;      // %1 account
inline constexpr DWORD kSkippedGroupsUnknown = 0xa0000020;  // %1 account, %2 code
inline constexpr DWORD kDecidedWithoutGroups = 0xa0000021;  // %1 account, %2 code
inline constexpr DWORD kWarningNotShown = 0xa0000024;      // %1 account, %2 session, %3 code
inline constexpr DWORD kUpdateCheckFailed = 0xa0000033;    // %1 what went wrong, %2 source
inline constexpr DWORD kUpdatePackageRefused = 0xa0000034; // %1 package, %2 why
inline constexpr DWORD kLogoffFailed = 0xe000000b;          // %1 account, %2 code
inline constexpr DWORD kAgentStartFailed = 0xe000000f;      // %1 account, %2 code
inline constexpr DWORD kShutdownFailed = 0xe0000013;        // %1 code
inline constexpr DWORD kSuspendFailed = 0xe0000015;         // %1 code
inline constexpr DWORD kStaleLogoffFailed = 0xe0000018;     // %1 account, %2 code
inline constexpr DWORD kObjectExisted = 0xe000001c;         // %1 object name
inline constexpr DWORD kAgentGaveUp = 0xe000001e;           // %1 account, %2 code
inline constexpr DWORD kUpdateInstallFailed = 0xe0000035;   // %1 package, %2 why
}  // namespace evt

// Writes entry `eventId` with the type its identifier carries and `account` (if not empty) as its
// only insertion string. A log that cannot be written is not the service's concern.
void LogEvent(EventLog& log, DWORD eventId, const std::wstring& account = {});

// Writes an error entry: `account` (if not empty) and then `code` in decimal.
void LogError(EventLog& log, DWORD eventId, const std::wstring& account, ErrorCode code);

// The same with a second text (the excluding group of kSkippedExcludedGroup).
void LogEvent2(EventLog& log, DWORD eventId, const std::wstring& first, const std::wstring& second);

// Any number of insertion strings, in order (%1, %2, ...).
void LogEventN(EventLog& log, DWORD eventId, const std::vector<std::wstring>& strings);

}  // namespace tv
