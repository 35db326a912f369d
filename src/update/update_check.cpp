#include "update/update_check.h"

namespace tv {

CheckResult CheckForUpdate(const std::wstring& sourceSetting, const PackageVersion& current,
                           UpdateTransport& transport) {
  CheckResult result;
  result.source = sourceSetting;
  result.current = current;
  auto failed = [&](std::wstring why) {
    result.outcome = CheckOutcome::kFailed;
    result.why = std::move(why);
    return result;
  };
  try {
    UpdateLocation manifestAt;
    std::wstring why;
    if (!ParseUpdateLocation(sourceSetting, manifestAt, &why)) return failed(why);
    if (manifestAt.kind == LocationKind::kNone) return result;
    std::vector<std::uint8_t> bytes;
    // One byte more than a manifest may have tells an oversized one from a full-sized one.
    if (!transport.Fetch(manifestAt, kMaxManifestBytes + 1, bytes, why)) return failed(why);
    UpdateManifest manifest;
    if (!ReadManifest(bytes, manifest, &why)) return failed(why);
    result.manifest = manifest;
    if (manifest.version <= current) {
      result.outcome = CheckOutcome::kUpToDate;
      return result;
    }
    // A package the check could not fetch safely is no offer at all.
    if (!ResolvePackageLocation(manifestAt, manifest.package, result.package, &why)) return failed(why);
    result.outcome = CheckOutcome::kNewer;
    return result;
  } catch (...) {
    return failed(L"the check ran out of memory");
  }
}

bool VerifyPackage(const std::vector<std::uint8_t>& bytes, const UpdateManifest& manifest, std::wstring* why) {
  if (bytes.size() != manifest.size) {
    if (why)
      *why = L"the package has " + std::to_wstring(bytes.size()) + L" bytes, but the manifest gives " +
             std::to_wstring(manifest.size);
    return false;
  }
  const Sha256::Digest digest = Sha256Of(bytes.data(), bytes.size());
  if (digest != manifest.sha256) {
    if (why)
      *why = L"the package's SHA-256 is " + DigestToHex(digest) + L", but the manifest gives " +
             DigestToHex(manifest.sha256);
    return false;
  }
  return true;
}

bool FetchVerifiedPackage(const CheckResult& result, UpdateTransport& transport, std::vector<std::uint8_t>& bytes,
                          std::wstring& why) {
  bytes.clear();
  if (result.outcome != CheckOutcome::kNewer) {
    why = L"there is no newer package to fetch";
    return false;
  }
  std::vector<std::uint8_t> got;
  try {
    if (!transport.Fetch(result.package, result.manifest.size, got, why)) return false;
  } catch (...) {
    why = L"the package did not fit in memory";
    return false;
  }
  if (!VerifyPackage(got, result.manifest, &why)) return false;
  bytes = std::move(got);
  return true;
}

int ExitCodeOf(CheckOutcome outcome) {
  switch (outcome) {
    case CheckOutcome::kNoSource: return update_exit::kNoSource;
    case CheckOutcome::kFailed: return update_exit::kFailed;
    case CheckOutcome::kUpToDate: return update_exit::kUpToDate;
    case CheckOutcome::kNewer: return update_exit::kNewerAvailable;
  }
  return update_exit::kFailed;
}

}  // namespace tv
