// tv-update-manifest: writes Tarnvale-update.xml for a package, with the product's own SHA-256
// and manifest writer, so that what the packaging publishes is exactly what the check reads.
//
//   tv-update-manifest PACKAGE VERSION RELEASED NOTES_FILE OUTPUT
//
// NOTES_FILE may be "-" for no notes. Exit 0 when written, 1 on any failure, 2 on bad usage.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "update/manifest.h"

namespace {

std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

bool ReadAll(const std::string& path, std::vector<std::uint8_t>& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "usage: tv-update-manifest PACKAGE VERSION RELEASED NOTES_FILE OUTPUT\n");
    return 2;
  }
  tv::UpdateManifest m;
  std::wstring why;
  if (!tv::ParsePackageVersion(Wide(argv[2]), m.version, &why)) {
    std::fprintf(stderr, "tv-update-manifest: %ls\n", why.c_str());
    return 1;
  }
  std::vector<std::uint8_t> package;
  if (!ReadAll(argv[1], package) || package.empty()) {
    std::fprintf(stderr, "tv-update-manifest: cannot read %s\n", argv[1]);
    return 1;
  }
  m.package = Wide(std::filesystem::path(argv[1]).filename().string());
  m.size = package.size();
  m.sha256 = tv::Sha256Of(package.data(), package.size());
  m.released = Wide(argv[3]);
  if (std::string(argv[4]) != "-") {
    std::vector<std::uint8_t> notes;
    if (!ReadAll(argv[4], notes)) {
      std::fprintf(stderr, "tv-update-manifest: cannot read %s\n", argv[4]);
      return 1;
    }
    m.notes = Wide(std::string(notes.begin(), notes.end()));
    while (!m.notes.empty() && (m.notes.back() == L'\n' || m.notes.back() == L'\r')) m.notes.pop_back();
  }
  const std::wstring text = tv::WriteManifest(m);
  // What was written must be what the check accepts.
  tv::UpdateManifest back;
  // The notes arrive as UTF-8 bytes, one per character; the mark says how to read them back.
  std::string file = "\xEF\xBB\xBF";
  for (wchar_t c : text) file.push_back(static_cast<char>(c));
  const std::vector<std::uint8_t> utf8(file.begin(), file.end());
  if (!tv::ReadManifest(utf8, back, &why)) {
    std::fprintf(stderr, "tv-update-manifest: %ls\n", why.c_str());
    return 1;
  }
  std::ofstream out(argv[5], std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(utf8.data()), static_cast<std::streamsize>(utf8.size()));
  out.close();
  if (!out) {
    std::fprintf(stderr, "tv-update-manifest: cannot write %s\n", argv[5]);
    return 1;
  }
  return 0;
}
