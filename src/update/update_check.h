// The update check itself, apart from any window: read the organisation's manifest, compare its
// version with the installed one, and, when asked, fetch the package and verify it against the
// manifest before anything may run it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "update/location.h"
#include "update/manifest.h"
#include "update/transport.h"
#include "update/version.h"

namespace tv {

enum class CheckOutcome {
  kNoSource,  // UpdateSource is empty: nobody was contacted
  kFailed,    // the source was refused, could not be read, or its manifest could not be used
  kUpToDate,  // the manifest's version is this one or older
  kNewer,     // the manifest offers a newer version
};

struct CheckResult {
  CheckOutcome outcome = CheckOutcome::kNoSource;
  std::wstring source;  // the setting as read
  std::wstring why;     // kFailed: what went wrong, one sentence
  PackageVersion current;
  UpdateManifest manifest;  // kUpToDate, kNewer
  UpdateLocation package;   // kNewer: where the package is
};

// Reads the manifest at `sourceSetting` through `transport` and decides. Never throws.
CheckResult CheckForUpdate(const std::wstring& sourceSetting, const PackageVersion& current,
                           UpdateTransport& transport);

// Whether `bytes` are the package `manifest` describes: its size first, then its SHA-256.
bool VerifyPackage(const std::vector<std::uint8_t>& bytes, const UpdateManifest& manifest, std::wstring* why);

// Fetches the package of a kNewer result (never more than the announced size) and verifies it.
// False with `why` when it cannot be read or is not the announced package; `bytes` then empty.
bool FetchVerifiedPackage(const CheckResult& result, UpdateTransport& transport, std::vector<std::uint8_t>& bytes,
                          std::wstring& why);

// The exit codes of "/CHECK4UPDATES", for scheduled tasks and scripts.
namespace update_exit {
inline constexpr int kUpToDate = 0;
inline constexpr int kFailed = 1;          // a failed or refused check, a refused package
inline constexpr int kNewerAvailable = 2;  // a newer version exists and was not installed
inline constexpr int kInstalling = 3;      // the verified newer package is being installed
inline constexpr int kNoSource = 4;        // no UpdateSource is set
}  // namespace update_exit

// The exit code a check that ends with `outcome` (nothing installed) answers.
int ExitCodeOf(CheckOutcome outcome);

}  // namespace tv
