// What the configuration utility's "Check for updates..." runs, behind a seam: the check lives in
// a layer above the utility (it reads the manifest, writes the event log and starts the
// installer), which hands an implementation in at start.
#pragma once

namespace tv {

class UpdateAccess {
 public:
  virtual ~UpdateAccess() = default;
  // Checks the update source in force and shows the result over `owner`, offering a newer
  // version; answers the check's exit code.
  virtual int CheckForUpdates(void* owner) = 0;
};

}  // namespace tv
