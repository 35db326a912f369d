// The update transport off Windows: files only (the simulator's and the native tests' platform).
#include "update/transport.h"

#ifndef _WIN32

namespace tv {
namespace {

class FileOnlyTransport final : public UpdateTransport {
 public:
  bool Fetch(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes,
             std::wstring& why) override {
    if (where.kind == LocationKind::kFile) return FetchFile(where, limit, bytes, why);
    why = L"addresses are read only on Windows; \"" + where.text + L"\" was not contacted";
    return false;
  }
};

}  // namespace

std::unique_ptr<UpdateTransport> CreateSystemTransport(unsigned timeoutMs) {
  return WithDeadline(std::make_shared<FileOnlyTransport>(), timeoutMs);
}

}  // namespace tv

#endif  // _WIN32
