// SHA-256 (FIPS 180-4), the digest an update manifest vouches for its package with. Written here
// so that the product needs no cryptographic library to decide whether a download may run.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tv {

class Sha256 {
 public:
  using Digest = std::array<std::uint8_t, 32>;

  Sha256() { Reset(); }
  void Reset();
  // Adds `size` bytes; may be called any number of times.
  void Update(const void* data, std::size_t size);
  // The digest of everything added since the last Reset; the object must be Reset before reuse.
  Digest Finish();

 private:
  void Block(const std::uint8_t* block);

  std::array<std::uint32_t, 8> state_{};
  std::array<std::uint8_t, 64> buffer_{};
  std::size_t buffered_ = 0;
  std::uint64_t totalBytes_ = 0;
};

// The digest of one buffer.
Sha256::Digest Sha256Of(const void* data, std::size_t size);

// Lower-case hexadecimal, 64 characters.
std::wstring DigestToHex(const Sha256::Digest& digest);

// Reads 64 hexadecimal digits (either case) into `digest`; false (digest untouched) for any
// other length or character.
bool DigestFromHex(const std::wstring& hex, Sha256::Digest& digest);

}  // namespace tv
