// The update manifest an organisation publishes beside its package: which version the package
// is, where it is, how big it is and its SHA-256, when it was released and a few lines on what
// changed, in the product's own XML dialect:
//
//   <?xml version="1.0"?>
//   <TarnvaleUpdate>
//   	<Version>24.6.0</Version>
//   	<Package Size="1048576" SHA256="64 hex digits">Tarnvale-24.6.0-x64.msi</Package>
//   	<Released>2024-06-03</Released>
//   	<Notes>What changed.</Notes>
//   </TarnvaleUpdate>
//
// The manifest is what vouches for the package, so the reader refuses anything it does not
// fully understand rather than guess.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "update/sha256.h"
#include "update/version.h"

namespace tv {

// A manifest is a few hundred bytes; anything beyond this is not one.
inline constexpr std::size_t kMaxManifestBytes = 64 * 1024;
// The largest package a manifest may announce.
inline constexpr std::uint64_t kMaxPackageBytes = 512ull * 1024 * 1024;
// Release notes longer than this are refused: they are shown in a message box.
inline constexpr std::size_t kMaxNotesChars = 1000;

struct UpdateManifest {
  PackageVersion version;
  std::wstring package;  // a file name beside the manifest, or an address
  std::uint64_t size = 0;
  Sha256::Digest sha256{};
  std::wstring released;  // YYYY-MM-DD
  std::wstring notes;     // plain text, may be empty
};

// Reads a manifest from the bytes of its file (UTF-8 or UTF-16 with its byte-order mark, or
// ASCII). False with `why` naming the first thing wrong: too big, not XML, another root, a
// missing, repeated or unreadable element, a version or size out of range, a hash that is not 64
// hexadecimal digits, a date that is not YYYY-MM-DD, notes that are too long.
bool ReadManifest(const std::vector<std::uint8_t>& bytes, UpdateManifest& out, std::wstring* why = nullptr);

// The manifest's text as ReadManifest reads it back (CR LF lines, tab indents).
std::wstring WriteManifest(const UpdateManifest& manifest);

}  // namespace tv
