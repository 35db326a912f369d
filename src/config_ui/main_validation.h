// What the main configuration dialog decides before, during and after saving: whether the edited
// settings may be applied (the checks in the order the administrator meets them), whether there
// are changes to ask about, and what a save that read back equal settings leads to. The dialog
// shows the messages these name; nothing here touches a window or the registry.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tv {

class MyOpts;
class MyConfig;
class Power;

// Inclusive limits of the numbers the checks guard.
inline constexpr int kMinTimeout = 1;
inline constexpr int kMaxMinutes = 9999;
inline constexpr int kMinMessageTimeout = 0;
inline constexpr int kMinStaleCount = 1;
inline constexpr int kMinShutdownTimeout = 1;
// Refreshes during which the status panel shows the log-off notice after a save.
inline constexpr int kAfterSaveNoticeRefreshes = 15;

// The answer of the checks before a save.
struct ApplyVerdict {
  enum class Kind {
    kAccept,   // go on and save
    kRefuse,   // show the message with an error icon, focus `focusControl`, stop
    kConfirm,  // ask the Yes/No question with a warning icon; anything but Yes stops
  };
  Kind kind = Kind::kAccept;
  int stringId = 0;      // the string-table entry to show; 0 with kAccept
  int focusControl = 0;  // the field at fault; 0 when none
  int value = 0;         // string 23: the value and its limits
  int low = 0;
  int high = 0;
  std::wstring actionText;  // string 2: the power action's name

  // The message with its blanks filled ("" with kAccept).
  std::wstring Text() const;
};

// Where the edited settings are bound for.
struct ApplyTarget {
  bool gpoMode = false;        // a group policy object is edited
  bool policyManaged = false;  // this computer's settings come from a policy: nothing may be saved
};

// The checks of Apply, in order, stopping at the first that objects: a policy-managed computer
// (string 22); Timeout 1..9999, MessageTimeout 0..9999, LogoffStaleCount 1..9999 and
// ShutdownTimeout 1..9999, each read as a signed number and checked whether or not its feature
// is ticked (string 23 naming the value and limits); Enable with none of keyboard, mouse or CPU
// monitored (string 21); outside GPO mode, a ticked Shutdown whose action this computer cannot
// carry out (the question of string 2; `power` null asks the system). PercentCPU is left to its
// spin box.
ApplyVerdict CheckApply(const MyOpts& edited, const ApplyTarget& target, Power* power = nullptr);

// Whether leaving or closing must first ask string 104: the edited settings differ from those
// last loaded or saved, or another instance has changed the settings meanwhile.
bool HasUnsavedChanges(const MyOpts& loaded, const MyOpts& edited, bool reloadRequested);

// What to do with the answer to string 104 (Yes/No/Cancel).
enum class UnsavedChangesAction {
  kSaveThenGoOn,  // Yes: save; a failed save aborts
  kGoOn,          // No: discard the edits
  kAbort,         // Cancel, or the box was closed
};
UnsavedChangesAction OnUnsavedChangesAnswer(int answer);

// What follows a save that succeeded.
struct AfterSave {
  int noticeRefreshes = 0;     // the status panel's after-save counter; 0 leaves it as it was
  bool showSavedMessage = false;  // string 18, with "Don't show this message again"
};
// The settings read back after the save are compared with those saved: only when they agree did
// the save take, which starts the log-off notice and, unless dismissed before, string 18.
AfterSave DecideAfterSave(const MyOpts& readBack, const MyOpts& edited, const MyConfig& config);

// After a successful Apply outside GPO mode: whether the service must be started first (the
// settings enable monitoring and the service is not running). `serviceState` is the service
// manager's current state, 0 when it could not be read.
bool NeedsServiceStart(const MyOpts& edited, bool gpoMode, DWORD serviceState);

// Polls of the service's state after starting it, and the pause between two.
inline constexpr int kServiceStartPolls = 20;
inline constexpr int kServiceStartPollMs = 500;

}  // namespace tv
