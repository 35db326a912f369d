// Entries of the main dialog's account lists.
#include "config_ui/account_list.h"

#include <algorithm>

#include "platform/last_error.h"

namespace tv {
namespace {

constexpr wchar_t kProviderPrefix[] = L"WinNT://";

// The same folding on both toolchains: the C library's towlower knows only ASCII on one of them.
wchar_t FoldCase(wchar_t c) {
  if (c >= L'A' && c <= L'Z') return static_cast<wchar_t>(c + 32);
  if ((c >= 0xC0 && c <= 0xDE && c != 0xD7) || (c >= 0x410 && c <= 0x42F)) return static_cast<wchar_t>(c + 32);
  if (c >= 0x400 && c <= 0x40F) return static_cast<wchar_t>(c + 80);
  return c;
}

// The path's components after the provider prefix, empty ones dropped.
std::vector<std::wstring> PathComponents(const std::wstring& path) {
  std::wstring rest = path;
  const std::size_t prefixChars = sizeof kProviderPrefix / sizeof kProviderPrefix[0] - 1;
  if (rest.size() >= prefixChars && SameAccountName(rest.substr(0, prefixChars), kProviderPrefix)) {
    rest.erase(0, prefixChars);
  }
  std::vector<std::wstring> parts;
  std::size_t start = 0;
  while (start <= rest.size()) {
    const std::size_t slash = rest.find(L'/', start);
    const std::size_t end = slash == std::wstring::npos ? rest.size() : slash;
    if (end > start) parts.push_back(rest.substr(start, end - start));
    if (slash == std::wstring::npos) break;
    start = slash + 1;
  }
  return parts;
}

}  // namespace

bool SameAccountName(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldCase(a[i]) != FoldCase(b[i])) return false;
  }
  return true;
}

BOOL AccountEntryFromPicked(const PickedObject& object, const wchar_t* computerName, std::wstring& entry) {
  const bool isUser = object.objectClass == L"User";
  if (!isUser && object.objectClass != L"Group") {
    SetLastErrorCode(err::kNotSupported);
    return kFalse;
  }
  const std::vector<std::wstring> parts = PathComponents(object.path);
  if (parts.empty()) {
    SetLastErrorCode(err::kInvalidData);
    return kFalse;
  }
  const std::wstring& name = parts.back();
  // Groups are listed by name alone: membership is looked up by name on every computer.
  if (!isUser || parts.size() < 2) {
    entry = name;
    return kTrue;
  }
  const std::wstring domain = parts[parts.size() - 2].substr(0, kMaxEntryDomainChars);
  if (computerName && SameAccountName(domain, computerName)) {
    entry = name;
  } else {
    entry = domain + L"\\" + name;
  }
  return kTrue;
}

BOOL AddAccountEntry(StrList& list, const std::wstring& entry) {
  if (entry.empty()) {
    SetLastErrorCode(err::kInvalidParameter);
    return kFalse;
  }
  const bool present = std::any_of(list.begin(), list.end(),
                                   [&entry](const std::wstring& e) { return SameAccountName(e, entry); });
  if (present) {
    SetLastErrorCode(err::kAlreadyExists);
    return kFalse;
  }
  list.push_back(entry);
  return kTrue;
}

int AddPickedObjects(StrList& list, const std::vector<PickedObject>& objects, const wchar_t* computerName) {
  int added = 0;
  for (const PickedObject& object : objects) {
    std::wstring entry;
    if (AccountEntryFromPicked(object, computerName, entry) && AddAccountEntry(list, entry)) ++added;
  }
  return added;
}

int RemoveAccountEntry(StrList& list, int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= list.size()) {
    SetLastErrorCode(err::kInvalidParameter);
    return -1;
  }
  list.erase(list.begin() + index);
  if (list.empty()) return -1;
  return std::min(index, static_cast<int>(list.size()) - 1);
}

BOOL ProcessPickedObjects(const std::vector<PickedObject>& objects, PickedObjectCallback callback, void* context) {
  if (!callback) {
    SetLastErrorCode(err::kInvalidParameter);
    return kFalse;
  }
  if (!callback(context, nullptr, objects.size())) return kTrue;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    if (!callback(context, &objects[i], i)) break;
  }
  return kTrue;
}

}  // namespace tv
