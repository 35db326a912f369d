// MyConfig: the configuration utility's own preferences (which one-time messages were dismissed,
// the last export/import path, the bound GPO, the main dialog's placement), kept beside the
// settings under the product's key.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/registry.h"
#include "platform/types.h"
#include "settings/options.h"

namespace tv {

// Bits of MyConfig's flag word "Config".
inline constexpr std::uint32_t kConfigDataLossAccepted = 0x1;  // the data-loss warning was accepted
inline constexpr std::uint32_t kConfigHideSavedMsg = 0x4;      // don't show "settings saved" again
inline constexpr std::uint32_t kConfigHideCloseMsg = 0x8;      // don't show "you may close" again

// Size of the main dialog's window placement record (the system's WINDOWPLACEMENT).
inline constexpr std::size_t kDlgPlacementBytes = 44;
// Characters of the path fields with the terminator.
inline constexpr std::size_t kConfigPathChars = 260;

class MyConfig : public BoolOpts {
 public:
  // Flag value "Config"; empty paths, zero placement.
  explicit MyConfig(KeyStore& store = DefaultKeyStore());

  wchar_t ImpExpPath[kConfigPathChars] = {};  // last folder or file of an export or import
  wchar_t GPOPath[kConfigPathChars] = {};     // the bound GPO; empty = this computer
  std::uint8_t DlgMain[kDlgPlacementBytes] = {};

  // Empties both paths; the placement stays.
  void Reset() override;
  // Strings are taken only when they fit (at most 520 bytes; else emptied), the placement only
  // when it is at most kDlgPlacementBytes.
  BOOL OnLoad(RegKey& key) override;
  // A non-empty string is written, an empty one deleted; the placement is always written.
  BOOL OnStore(RegKey& key) override;

  bool IsGPO() const { return GPOPath[0] != L'\0'; }
  // Shows both hidden messages again (clears kConfigDataLossAccepted and kConfigHideSavedMsg).
  void RestoreHiddenMsg() { Set(kConfigDataLossAccepted | kConfigHideSavedMsg, false); }
};

}  // namespace tv
