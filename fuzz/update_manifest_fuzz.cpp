// Fuzzes the update manifest reader with raw file bytes (any encoding, any size). A manifest
// that reads must write to text that reads back to the same manifest, and the package it names
// must resolve beside a manifest or be refused, never escape.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "update/location.h"
#include "update/manifest.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> bytes(data, data + size);
  tv::UpdateManifest m;
  std::wstring why;
  if (!tv::ReadManifest(bytes, m, &why)) {
    Check(!why.empty());
    return 0;
  }
  const std::wstring text = tv::WriteManifest(m);
  std::vector<std::uint8_t> again{0xFF, 0xFE};
  for (wchar_t c : text) {
    again.push_back(static_cast<std::uint8_t>(c & 0xFF));
    again.push_back(static_cast<std::uint8_t>((c >> 8) & 0xFF));
  }
  tv::UpdateManifest back;
  Check(tv::ReadManifest(again, back, &why));
  Check(back.version == m.version && back.package == m.package && back.size == m.size && back.sha256 == m.sha256 &&
        back.released == m.released && back.notes == m.notes);
  tv::UpdateLocation share, out;
  Check(tv::ParseUpdateLocation(L"\\\\srv\\share\\tv\\Tarnvale-update.xml", share));
  if (tv::ResolvePackageLocation(share, m.package, out) && out.kind == tv::LocationKind::kFile)
    Check(out.text.rfind(L"\\\\srv\\share\\tv\\", 0) == 0 && out.text.find(L"..") == std::wstring::npos);
  return 0;
}
