#include "update/version.h"

namespace tv {

std::wstring PackageVersion::ToString() const {
  return std::to_wstring(fields[0]) + L"." + std::to_wstring(fields[1]) + L"." + std::to_wstring(fields[2]);
}

bool ParsePackageVersion(const std::wstring& text, PackageVersion& version, std::wstring* why) {
  auto refuse = [&](const std::wstring& reason) {
    if (why) *why = L"the version \"" + text.substr(0, 40) + L"\" " + reason;
    return false;
  };
  PackageVersion out;
  std::size_t pos = 0;
  for (std::size_t field = 0; field < out.fields.size(); ++field) {
    if (field > 0) {
      if (pos >= text.size() || text[pos] != L'.') return refuse(L"is not three numbers such as 24.5.0");
      ++pos;
    }
    unsigned value = 0;
    std::size_t digits = 0;
    for (; pos < text.size() && text[pos] >= L'0' && text[pos] <= L'9'; ++pos, ++digits) {
      // Stop counting before the value could overflow; the digit count refuses it below.
      if (digits < 6) value = value * 10 + static_cast<unsigned>(text[pos] - L'0');
    }
    if (digits == 0) return refuse(L"is not three numbers such as 24.5.0");
    if (digits > 5 || value > kMaxVersionField) return refuse(L"has a number above 65535");
    out.fields[field] = static_cast<std::uint16_t>(value);
  }
  if (pos != text.size()) return refuse(L"is not three numbers such as 24.5.0");
  version = out;
  return true;
}

}  // namespace tv
