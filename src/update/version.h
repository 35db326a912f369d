// Package versions as an update manifest and the installer spell them: "major.minor.patch",
// compared field by field as numbers, so that 24.10.0 is newer than 24.9.3.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

namespace tv {

struct PackageVersion {
  // major, minor, patch; Windows Installer keeps each within 16 bits (major and minor even in 8).
  std::array<std::uint16_t, 3> fields{};

  auto operator<=>(const PackageVersion&) const = default;
  std::wstring ToString() const;
};

// The largest value a field may have: what Windows Installer can compare at all.
inline constexpr unsigned kMaxVersionField = 65535;

// Reads "a.b.c": exactly three fields of one to five decimal digits each, at most
// kMaxVersionField, nothing around them. False (with `why` saying what is wrong, `version`
// untouched) otherwise, so "99999999999.0.0" is refused rather than wrapped.
bool ParsePackageVersion(const std::wstring& text, PackageVersion& version, std::wstring* why = nullptr);

}  // namespace tv
