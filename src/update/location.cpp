#include "update/location.h"

#include <algorithm>
#include <cwctype>

namespace tv {
namespace {

constexpr std::size_t kMaxLocationChars = 2048;
constexpr std::size_t kMaxPackageNameChars = 200;

wchar_t Lower(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c - L'A' + L'a') : c; }

bool StartsWithNoCase(const std::wstring& text, const wchar_t* prefix) {
  std::size_t i = 0;
  for (; prefix[i]; ++i) {
    if (i >= text.size() || Lower(text[i]) != Lower(prefix[i])) return false;
  }
  return true;
}

bool EndsWithNoCase(const std::wstring& text, const wchar_t* suffix) {
  const std::wstring s(suffix);
  if (text.size() < s.size()) return false;
  return StartsWithNoCase(text.substr(text.size() - s.size()), suffix);
}

bool Refuse(std::wstring* why, const std::wstring& text) {
  if (why) *why = text;
  return false;
}

bool IsDecimal(const std::wstring& s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

bool IsLoopback(const std::wstring& host) {
  std::wstring h;
  for (wchar_t c : host) h.push_back(Lower(c));
  if (h == L"localhost" || h == L"::1") return true;
  // 127.0.0.0/8, written as four decimal parts.
  if (h.rfind(L"127.", 0) != 0) return false;
  int parts = 0;
  std::size_t start = 0;
  while (start <= h.size()) {
    const std::size_t dot = std::min(h.find(L'.', start), h.size());
    const std::wstring part = h.substr(start, dot - start);
    if (!IsDecimal(part) || part.size() > 3 || std::stoi(part) > 255) return false;
    ++parts;
    start = dot + 1;
  }
  return parts == 4;
}

bool IsHostChar(wchar_t c) {
  return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'.' || c == L'-';
}

bool ParseAddress(const std::wstring& text, bool secure, UpdateLocation& out, std::wstring* why) {
  const std::size_t schemeEnd = text.find(L"://") + 3;
  const std::size_t authorityEnd = std::min(text.find_first_of(L"/?#", schemeEnd), text.size());
  const std::wstring authority = text.substr(schemeEnd, authorityEnd - schemeEnd);
  if (authority.find(L'@') != std::wstring::npos)
    return Refuse(why, L"the address \"" + text + L"\" holds a user name; give the server alone");
  std::wstring host;
  std::wstring port;
  if (!authority.empty() && authority[0] == L'[') {
    const std::size_t close = authority.find(L']');
    if (close == std::wstring::npos) return Refuse(why, L"the address \"" + text + L"\" has an unclosed [");
    host = authority.substr(1, close - 1);
    const std::wstring rest = authority.substr(close + 1);
    if (!rest.empty()) {
      if (rest[0] != L':') return Refuse(why, L"the address \"" + text + L"\" cannot be read after ]");
      port = rest.substr(1);
    }
    if (host.empty() || !std::all_of(host.begin(), host.end(), [](wchar_t c) {
          return std::iswxdigit(static_cast<std::wint_t>(c)) || c == L':' || c == L'.';
        }))
      return Refuse(why, L"the address \"" + text + L"\" has no server name");
  } else {
    const std::size_t colon = authority.find(L':');
    host = authority.substr(0, colon);
    if (colon != std::wstring::npos) port = authority.substr(colon + 1);
    if (host.empty() || !std::all_of(host.begin(), host.end(), IsHostChar))
      return Refuse(why, L"the address \"" + text + L"\" has no server name that can be read");
  }
  unsigned portNumber = secure ? 443 : 80;
  if (!port.empty() || authority.find(L':') != std::wstring::npos) {
    if (!IsDecimal(port) || port.size() > 5 || std::stoul(port) == 0 || std::stoul(port) > 65535)
      return Refuse(why, L"the address \"" + text + L"\" has a port that is not a number from 1 to 65535");
    portNumber = static_cast<unsigned>(std::stoul(port));
  }
  std::wstring path = text.substr(authorityEnd);
  if (path.find(L'#') != std::wstring::npos) path.erase(path.find(L'#'));
  if (path.empty() || path[0] != L'/') path.insert(0, L"/");
  if (!secure && !IsLoopback(host))
    return Refuse(why, L"the address \"" + text +
                           L"\" uses plain http, which anybody on the way can change; give an https:// address "
                           L"(plain http is only taken from this computer itself)");
  out.kind = secure ? LocationKind::kHttps : LocationKind::kLocalHttp;
  out.text = text;
  out.host = host;
  out.port = portNumber;
  out.path = path;
  return true;
}

bool IsAbsolutePath(const std::wstring& text) {
  if (text.size() >= 3 && std::iswalpha(static_cast<std::wint_t>(text[0])) && text[1] == L':' &&
      (text[2] == L'\\' || text[2] == L'/'))
    return true;
  if (text.size() >= 3 && text[0] == L'\\' && text[1] == L'\\' && text[2] != L'\\' && text[2] != L'?' &&
      text[2] != L'.')
    return true;
#ifndef _WIN32
  if (!text.empty() && text[0] == L'/') return true;
#endif
  return false;
}

bool IsSafeNameChar(wchar_t c) {
  return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'.' ||
         c == L'-' || c == L'_' || c == L'+';
}

}  // namespace

bool ParseUpdateLocation(const std::wstring& raw, UpdateLocation& out, std::wstring* why) {
  const std::size_t first = raw.find_first_not_of(L" \t\r\n");
  const std::wstring text =
      first == std::wstring::npos ? std::wstring() : raw.substr(first, raw.find_last_not_of(L" \t\r\n") - first + 1);
  if (text.empty()) {
    out = UpdateLocation{};
    return true;
  }
  if (text.size() > kMaxLocationChars) return Refuse(why, L"the update source is longer than 2048 characters");
  if (std::any_of(text.begin(), text.end(), [](wchar_t c) { return c < 0x20 || c == 0x7F; }))
    return Refuse(why, L"the update source holds a control character");
  UpdateLocation result;
  bool ok;
  if (StartsWithNoCase(text, L"https://")) {
    ok = ParseAddress(text, true, result, why);
  } else if (StartsWithNoCase(text, L"http://")) {
    ok = ParseAddress(text, false, result, why);
  } else if (text.find(L"://") != std::wstring::npos) {
    return Refuse(why, L"the update source \"" + text + L"\" is neither an https:// address nor a file path");
  } else if (IsAbsolutePath(text)) {
    result.kind = LocationKind::kFile;
    result.text = text;
    ok = true;
  } else {
    return Refuse(why, L"the update source \"" + text +
                           L"\" is neither an https:// address nor a full file path such as "
                           L"\\\\server\\share\\Tarnvale\\Tarnvale-update.xml");
  }
  if (ok) out = result;
  return ok;
}

bool ResolvePackageLocation(const UpdateLocation& manifest, const std::wstring& package, UpdateLocation& out,
                            std::wstring* why) {
  if (StartsWithNoCase(package, L"https://") || StartsWithNoCase(package, L"http://")) {
    UpdateLocation address;
    if (!ParseUpdateLocation(package, address, why)) return false;
    std::wstring path = address.path.substr(0, address.path.find(L'?'));
    if (!EndsWithNoCase(path, L".msi")) return Refuse(why, L"the package \"" + package + L"\" is not an .msi file");
    out = address;
    return true;
  }
  if (package.empty() || package.size() > kMaxPackageNameChars || package == L"." || package == L".." ||
      package.find(L"..") != std::wstring::npos || !std::all_of(package.begin(), package.end(), IsSafeNameChar))
    return Refuse(why, L"the package name \"" + package.substr(0, kMaxPackageNameChars) +
                           L"\" is not a plain file name beside the manifest");
  if (!EndsWithNoCase(package, L".msi")) return Refuse(why, L"the package \"" + package + L"\" is not an .msi file");
  UpdateLocation result = manifest;
  switch (manifest.kind) {
    case LocationKind::kFile: {
      const std::size_t slash = manifest.text.find_last_of(L"\\/");
      result.text = manifest.text.substr(0, slash + 1) + package;
      break;
    }
    case LocationKind::kHttps:
    case LocationKind::kLocalHttp: {
      const std::wstring path = manifest.path.substr(0, manifest.path.find(L'?'));
      result.path = path.substr(0, path.find_last_of(L'/') + 1) + package;
      const std::size_t pathStart = manifest.text.find(L'/', manifest.text.find(L"://") + 3);
      result.text = (pathStart == std::wstring::npos ? manifest.text : manifest.text.substr(0, pathStart)) + result.path;
      break;
    }
    case LocationKind::kNone:
      return Refuse(why, L"there is no update source");
  }
  out = result;
  return true;
}

}  // namespace tv
