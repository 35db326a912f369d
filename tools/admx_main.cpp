// tv-admx: writes the administrative templates for Tarnvale's computer policy into a folder laid
// out as a central store is: FOLDER/Tarnvale.admx and FOLDER/en-US/Tarnvale.adml.
//
//   tv-admx FOLDER
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "policy_templates.h"

namespace {

bool WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.close();
  if (!out) {
    std::fprintf(stderr, "tv-admx: cannot write %s\n", path.string().c_str());
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '\0' || argv[1][0] == '-') {
    std::fprintf(stderr, "usage: tv-admx FOLDER   (writes FOLDER/%s.admx and FOLDER/en-US/%s.adml)\n",
                 tv::admx::kCategory, tv::admx::kCategory);
    return 2;
  }
  const std::filesystem::path folder(argv[1]);
  std::error_code error;
  std::filesystem::create_directories(folder / "en-US", error);
  if (error) {
    std::fprintf(stderr, "tv-admx: cannot make %s: %s\n", (folder / "en-US").string().c_str(), error.message().c_str());
    return 1;
  }
  const std::string stem = tv::admx::kCategory;
  if (!WriteFile(folder / (stem + ".admx"), tv::admx::WriteAdmx())) return 1;
  if (!WriteFile(folder / "en-US" / (stem + ".adml"), tv::admx::WriteAdml())) return 1;
  return 0;
}
