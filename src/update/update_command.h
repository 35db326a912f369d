// "/CHECK4UPDATES" and the configuration utility's "Check for updates...": the check, its entry
// in the event log (so that a fleet's computers that lag behind show up in forwarded events),
// and, unless quiet, the result in the product's message box with the offer to download and
// install a newer version.
#pragma once

#include <string>

#include "update/package_install.h"
#include "update/transport.h"
#include "update/update_check.h"

namespace tv {

class EventLog;
class MyOpts;

struct UpdateCommandEnv {
  std::wstring source;     // the UpdateSource setting in force
  PackageVersion current;  // this installation's version
  UpdateTransport* transport = nullptr;
  PackageInstaller* installer = nullptr;
  EventLog* log = nullptr;  // may be null: nothing is logged
};

// What the check does once it knows the answer.
enum class UpdateAction {
  kOffer,      // shows the result to a person and installs a newer version when accepted
  kCheckOnly,  // "/quiet": checks and logs, for scheduled tasks that only report
  kInstall,    // "/install": shows nothing and installs a verified newer version, for scripts
};

// Runs the check, logs its result and does `action`: a newer version is fetched, verified and
// handed to the installer when accepted (kOffer) or at once (kInstall). Boxes go to `owner`, and
// only for kOffer. Answers the update_exit code.
int RunUpdateCommand(UpdateCommandEnv& env, UpdateAction action, void* owner);

// The message box's text (mark-up) for a check's result, installation aside.
std::wstring UpdateResultText(const CheckResult& result);

// The update source in force: the computer policy key's UpdateSource whenever it holds one (so
// that a GPO can set the source without taking over the other settings), else the product key's.
// `settings` gives the key store.
std::wstring EffectiveUpdateSource(const MyOpts& settings);

// The settings in force on this computer: the product's UpdateSource (the policy key's when it has
// one) and the build's version, with the system's transport, installer and event log; then
// RunUpdateCommand. The transport gives up after `timeoutMs` per read.
int RunSystemUpdateCommand(UpdateAction action, void* owner, unsigned timeoutMs = 8000);

}  // namespace tv
