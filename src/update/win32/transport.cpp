// The update transport on Windows: files through the file API, addresses through WinHTTP.
#include "update/transport.h"

#include "platform/win32/windows_include.h"

#include <winhttp.h>

namespace tv {
namespace {

// Closes a WinHTTP handle on every way out.
class InternetHandle {
 public:
  explicit InternetHandle(HINTERNET handle = nullptr) : handle_(handle) {}
  ~InternetHandle() {
    if (handle_) ::WinHttpCloseHandle(handle_);
  }
  InternetHandle(const InternetHandle&) = delete;
  InternetHandle& operator=(const InternetHandle&) = delete;
  HINTERNET get() const { return handle_; }
  bool valid() const { return handle_ != nullptr; }

 private:
  HINTERNET handle_;
};

std::wstring HttpErrorText(::DWORD code, const std::wstring& where) {
  switch (code) {
    case ERROR_WINHTTP_CANNOT_CONNECT:
      return L"the server of \"" + where + L"\" refused the connection or cannot be reached";
    case ERROR_WINHTTP_NAME_NOT_RESOLVED:
      return L"the server name of \"" + where + L"\" is not known";
    case ERROR_WINHTTP_TIMEOUT:
      return L"\"" + where + L"\" did not answer in time";
    case ERROR_WINHTTP_CONNECTION_ERROR:
      return L"the server of \"" + where + L"\" closed the connection";
    case ERROR_WINHTTP_SECURE_FAILURE:
    case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
    case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
    case ERROR_WINHTTP_SECURE_INVALID_CA:
    case ERROR_WINHTTP_SECURE_CERT_REV_FAILED:
      return L"the certificate of the server of \"" + where + L"\" is not trusted by this computer";
    case ERROR_WINHTTP_INVALID_SERVER_RESPONSE:
      return L"the server of \"" + where + L"\" gave an answer that is not HTTP";
    default:
      return L"\"" + where + L"\" could not be read (WinHTTP error " + std::to_wstring(code) + L")";
  }
}

bool FetchAddress(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes,
                  std::wstring& why) {
  auto fail = [&](::DWORD code) {
    why = HttpErrorText(code, where.text);
    return false;
  };
  InternetHandle session(::WinHttpOpen(L"Tarnvale update check", WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                       WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
  if (!session.valid()) return fail(::GetLastError());
  // The deadline around the whole fetch is the one that counts; these only keep a healthy but
  // slow server from being cut off early by WinHTTP's own defaults.
  (void)::WinHttpSetTimeouts(session.get(), 10000, 10000, 30000, 30000);
  InternetHandle connection(::WinHttpConnect(session.get(), where.host.c_str(),
                                             static_cast<INTERNET_PORT>(where.port), 0));
  if (!connection.valid()) return fail(::GetLastError());
  const ::DWORD flags = where.kind == LocationKind::kHttps ? WINHTTP_FLAG_SECURE : 0;
  InternetHandle request(::WinHttpOpenRequest(connection.get(), L"GET", where.path.c_str(), nullptr,
                                              WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, flags));
  if (!request.valid()) return fail(::GetLastError());
  // Following a redirect from https to plain http would let the network choose the manifest.
  ::DWORD policy = WINHTTP_OPTION_REDIRECT_POLICY_DISALLOW_HTTPS_TO_HTTP;
  (void)::WinHttpSetOption(request.get(), WINHTTP_OPTION_REDIRECT_POLICY, &policy, sizeof(policy));
  if (!::WinHttpSendRequest(request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0, 0) ||
      !::WinHttpReceiveResponse(request.get(), nullptr))
    return fail(::GetLastError());
  ::DWORD status = 0;
  ::DWORD size = sizeof(status);
  if (!::WinHttpQueryHeaders(request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                             WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX))
    return fail(::GetLastError());
  if (status != 200) {
    why = L"the server answered \"" + where.text + L"\" with HTTP status " + std::to_wstring(status);
    return false;
  }
  std::vector<std::uint8_t> out;
  for (;;) {
    ::DWORD available = 0;
    if (!::WinHttpQueryDataAvailable(request.get(), &available)) return fail(::GetLastError());
    if (available == 0) break;
    if (out.size() + available > limit) {
      why = L"\"" + where.text + L"\" is larger than the " + std::to_wstring(limit) + L" bytes expected";
      return false;
    }
    const std::size_t at = out.size();
    out.resize(at + available);
    ::DWORD read = 0;
    if (!::WinHttpReadData(request.get(), out.data() + at, available, &read)) return fail(::GetLastError());
    out.resize(at + read);
  }
  bytes = std::move(out);
  return true;
}

class SystemTransport final : public UpdateTransport {
 public:
  bool Fetch(const UpdateLocation& where, std::uint64_t limit, std::vector<std::uint8_t>& bytes,
             std::wstring& why) override {
    switch (where.kind) {
      case LocationKind::kFile: return FetchFile(where, limit, bytes, why);
      case LocationKind::kHttps:
      case LocationKind::kLocalHttp: return FetchAddress(where, limit, bytes, why);
      case LocationKind::kNone: break;
    }
    why = L"there is no update source";
    return false;
  }
};

}  // namespace

std::unique_ptr<UpdateTransport> CreateSystemTransport(unsigned timeoutMs) {
  return WithDeadline(std::make_shared<SystemTransport>(), timeoutMs);
}

}  // namespace tv
