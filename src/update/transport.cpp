#include "update/transport.h"

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

namespace tv {
namespace {

struct PendingFetch {
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
  bool ok = false;
  std::vector<std::uint8_t> bytes;
  std::wstring why;
};

class DeadlineTransport final : public UpdateTransport {
 public:
  DeadlineTransport(std::shared_ptr<UpdateTransport> inner, unsigned timeoutMs)
      : inner_(std::move(inner)), timeoutMs_(timeoutMs) {}

  bool Fetch(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes,
             std::wstring& why) override {
    auto pending = std::make_shared<PendingFetch>();
    try {
      // The worker owns what it needs, so that giving up on it leaves nothing dangling.
      std::thread([inner = inner_, where, limit, pending] {
        std::vector<std::uint8_t> got;
        std::wstring reason;
        bool ok = false;
        try {
          ok = inner->Fetch(where, limit, got, reason);
        } catch (...) {
          reason = L"reading \"" + where.text + L"\" failed";
        }
        std::lock_guard<std::mutex> lock(pending->mutex);
        pending->ok = ok;
        pending->bytes = std::move(got);
        pending->why = std::move(reason);
        pending->finished = true;
        pending->done.notify_all();
      }).detach();
    } catch (...) {
      why = L"no thread could be started to read \"" + where.text + L"\"";
      return false;
    }
    std::unique_lock<std::mutex> lock(pending->mutex);
    if (!pending->done.wait_for(lock, std::chrono::milliseconds(timeoutMs_), [&] { return pending->finished; })) {
      why = L"\"" + where.text + L"\" did not answer within " + std::to_wstring((timeoutMs_ + 999) / 1000) +
            L" seconds";
      return false;
    }
    if (!pending->ok) {
      why = pending->why;
      return false;
    }
    bytes = std::move(pending->bytes);
    return true;
  }

 private:
  std::shared_ptr<UpdateTransport> inner_;
  unsigned timeoutMs_;
};

}  // namespace

bool FetchFile(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes, std::wstring& why) {
  if (where.kind != LocationKind::kFile) {
    why = L"\"" + where.text + L"\" is not a file path";
    return false;
  }
  try {
    std::ifstream in(std::filesystem::path(where.text), std::ios::binary);
    if (!in) {
      why = L"the file \"" + where.text + L"\" cannot be opened";
      return false;
    }
    std::vector<std::uint8_t> out;
    char buffer[16384];
    while (in) {
      in.read(buffer, sizeof buffer);
      const std::streamsize n = in.gcount();
      if (n <= 0) break;
      if (out.size() + static_cast<std::uint64_t>(n) > limit) {
        why = L"the file \"" + where.text + L"\" is larger than the " + std::to_wstring(limit) + L" bytes expected";
        return false;
      }
      out.insert(out.end(), buffer, buffer + n);
    }
    if (in.bad()) {
      why = L"the file \"" + where.text + L"\" could not be read to its end";
      return false;
    }
    bytes = std::move(out);
    return true;
  } catch (...) {
    why = L"the file \"" + where.text + L"\" cannot be read";
    return false;
  }
}

std::unique_ptr<UpdateTransport> WithDeadline(std::shared_ptr<UpdateTransport> inner, unsigned timeoutMs) {
  return std::make_unique<DeadlineTransport>(std::move(inner), timeoutMs);
}

}  // namespace tv
