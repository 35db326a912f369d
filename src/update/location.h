// Where an update manifest or package is read from: an https:// address, an http:// address of
// this computer itself (for tests: plain http cannot vouch for anything that crosses a network),
// or an absolute file path, local or on a share. The organisation's UpdateSource setting is one
// of these; the manifest names its package relative to itself or by address.
#pragma once

#include <string>

namespace tv {

enum class LocationKind {
  kNone,       // the setting is empty: there is no update source
  kHttps,      // https://host[:port]/path
  kLocalHttp,  // http:// on localhost, 127.x.x.x or [::1]
  kFile,       // C:\..., \\server\share\... (and /... off Windows)
};

struct UpdateLocation {
  LocationKind kind = LocationKind::kNone;
  std::wstring text;  // as given, blanks around it removed
  // For the address kinds: the host as written (brackets of an IPv6 literal removed), the port
  // (443 or 80 when not given) and the path with its query, starting with "/".
  std::wstring host;
  unsigned port = 0;
  std::wstring path;
};

// Reads an UpdateSource value. Empty (or blanks only) gives kNone and true. False, with `why`
// saying what is wrong and how to write it, for any other scheme, plain http to another computer,
// user names in the address, a relative path, control characters and the like.
bool ParseUpdateLocation(const std::wstring& text, UpdateLocation& out, std::wstring* why = nullptr);

// The package a manifest at `manifest` names: a plain file name (letters, digits, ".", "-",
// "_", "+", ending in ".msi") in the manifest's own folder, or an address read as
// ParseUpdateLocation reads one whose path ends in ".msi". A name with a separator, "..", a drive
// or anything else that could leave the manifest's folder is refused with `why`.
bool ResolvePackageLocation(const UpdateLocation& manifest, const std::wstring& package, UpdateLocation& out,
                            std::wstring* why = nullptr);

}  // namespace tv
