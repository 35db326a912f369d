// Starting the installation of a verified package. The package is written to a folder only local
// system and administrators may change, checked there once more, and handed to the Windows
// Installer, which runs on after this process has ended (it replaces this very library); the
// package file is deleted as soon as the installer returns.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "update/manifest.h"

namespace tv {

class PackageInstaller {
 public:
  virtual ~PackageInstaller() = default;
  // `verified` has passed VerifyPackage against `manifest`. True when the installer was started,
  // with `logFile` its log; false with `why`, and nothing written left behind.
  virtual bool Start(const std::vector<std::uint8_t>& verified, const UpdateManifest& manifest, std::wstring& logFile,
                     std::wstring& why) = 0;
};

// The Windows Installer on Windows; elsewhere one that refuses.
std::unique_ptr<PackageInstaller> CreateSystemInstaller();

}  // namespace tv
