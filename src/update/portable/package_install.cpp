// The package installer off Windows: there is no Windows Installer to hand a package to.
#include "update/package_install.h"

#ifndef _WIN32

namespace tv {
namespace {

class NoInstaller final : public PackageInstaller {
 public:
  bool Start(const std::vector<std::uint8_t>&, const UpdateManifest&, std::wstring&, std::wstring& why) override {
    why = L"packages are installed only on Windows";
    return false;
  }
};

}  // namespace

std::unique_ptr<PackageInstaller> CreateSystemInstaller() { return std::make_unique<NoInstaller>(); }

}  // namespace tv

#endif  // _WIN32
