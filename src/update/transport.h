// How the update check reads a manifest or a package: from a file (local or on a share) with the
// file API, from an address with WinHTTP on Windows. The check depends on the seam, so tests and
// other platforms can stand in for the network.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "update/location.h"

namespace tv {

class UpdateTransport {
 public:
  virtual ~UpdateTransport() = default;
  // Reads everything at `where` into `bytes`; more than `limit` bytes is refused. False with
  // `why` (one sentence a person can act on) when nothing usable arrived.
  virtual bool Fetch(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes,
                     std::wstring& why) = 0;
};

// Reads a kFile location with the file API; refuses other kinds.
bool FetchFile(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes, std::wstring& why);

// Runs each fetch of `inner` on a worker thread and stops waiting after `timeoutMs`: a server
// that accepts and never answers, or a share that hangs, must not hold the check for a minute.
// A fetch given up on finishes (or not) on its own; its result is dropped.
std::unique_ptr<UpdateTransport> WithDeadline(std::shared_ptr<UpdateTransport> inner, unsigned timeoutMs);

// This system's transport: files everywhere, addresses through WinHTTP on Windows (elsewhere an
// address is refused), each fetch under `timeoutMs`.
std::unique_ptr<UpdateTransport> CreateSystemTransport(unsigned timeoutMs);

}  // namespace tv
