// The account chooser's decisions: rows, typed names and the objects they become.
#include "config_ui/account_chooser.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "platform/last_error.h"

namespace tv {
namespace {

constexpr const wchar_t* kBlanks = L" \t\r\n";

std::wstring Trim(const std::wstring& text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::wstring::npos) return L"";
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The order a person expects: letters of either case together, as SameAccountName matches them.
wchar_t OrderFold(wchar_t c) {
  if (c >= L'A' && c <= L'Z') return static_cast<wchar_t>(c + 32);
  if ((c >= 0xC0 && c <= 0xDE && c != 0xD7) || (c >= 0x410 && c <= 0x42F)) return static_cast<wchar_t>(c + 32);
  if (c >= 0x400 && c <= 0x40F) return static_cast<wchar_t>(c + 80);
  return c;
}

bool OrderedBefore(const std::wstring& a, const std::wstring& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](wchar_t x, wchar_t y) { return OrderFold(x) < OrderFold(y); });
}

bool Contains(const std::vector<std::wstring>& names, const std::wstring& name) {
  return std::any_of(names.begin(), names.end(), [&name](const std::wstring& n) { return SameAccountName(n, name); });
}

// Sorted by folded name, each name once.
std::vector<std::wstring> SortedUnique(std::vector<std::wstring> names) {
  names.erase(std::remove_if(names.begin(), names.end(), [](const std::wstring& n) { return Trim(n).empty(); }),
              names.end());
  std::stable_sort(names.begin(), names.end(), OrderedBefore);
  names.erase(std::unique(names.begin(), names.end(),
                          [](const std::wstring& a, const std::wstring& b) { return SameAccountName(a, b); }),
              names.end());
  return names;
}

BOOL Refuse(std::wstring& problem, ErrorCode code, std::wstring text) {
  problem = std::move(text);
  return Fail(code);
}

// The first forbidden character of `part`, or 0.
wchar_t ForbiddenIn(const std::wstring& part) {
  const std::size_t at = part.find_first_of(kAccountNameForbidden);
  if (at != std::wstring::npos) return part[at];
  for (wchar_t c : part) {
    if (c < 0x20) return c;
  }
  return 0;
}

std::wstring CharacterText(wchar_t c) {
  if (c < 0x20) return L"a control character";
  return std::wstring(L"\"") + c + L"\"";
}

// Whether `domain` as typed means this computer.
bool IsThisComputer(const std::wstring& domain, const std::wstring& computerName) {
  return domain == L"." || SameAccountName(domain, L"BUILTIN") || SameAccountName(domain, computerName);
}

}  // namespace

PickedObject LocalAccountObject(const std::wstring& computerName, const std::wstring& name, bool isGroup) {
  PickedObject object;
  object.name = name;
  object.path = L"WinNT://" + computerName + L"/" + name;
  object.objectClass = isGroup ? L"Group" : L"User";
  return object;
}

BOOL ParseTypedAccount(const std::wstring& typed, const std::wstring& computerName,
                       const std::vector<std::wstring>& localGroups, PickedObject& out, std::wstring& problem) {
  const std::wstring text = Trim(typed);
  if (text.empty()) return Refuse(problem, err::kInvalidName, L"Type an account name, as name or domain\\name.");
  const std::size_t slash = text.find(L'\\');
  if (slash != std::wstring::npos && text.find(L'\\', slash + 1) != std::wstring::npos) {
    return Refuse(problem, err::kInvalidName,
                  L"\"" + text + L"\" holds more than one backslash. Type name or domain\\name.");
  }
  const std::wstring domain = slash == std::wstring::npos ? L"" : Trim(text.substr(0, slash));
  const std::wstring name = slash == std::wstring::npos ? text : Trim(text.substr(slash + 1));
  if (slash != std::wstring::npos && domain.empty()) {
    return Refuse(problem, err::kInvalidName, L"The domain before the backslash in \"" + text + L"\" is missing.");
  }
  if (name.empty()) {
    return Refuse(problem, err::kInvalidName, L"The account name after the backslash in \"" + text + L"\" is missing.");
  }
  for (const std::wstring* part : {&domain, &name}) {
    if (const wchar_t c = ForbiddenIn(*part)) {
      return Refuse(problem, err::kInvalidName,
                    L"\"" + *part + L"\" cannot be an account name: it holds " + CharacterText(c) +
                        L". Account names cannot hold any of " + kAccountNameForbidden + L".");
    }
  }
  // Names of dots and blanks alone are refused by the system; a path built of one would point
  // at the domain or the provider instead of an account.
  if (name.find_first_not_of(L". ") == std::wstring::npos) {
    return Refuse(problem, err::kInvalidName, L"\"" + name + L"\" cannot be an account name.");
  }
  if (name.size() > kMaxAccountNameChars) {
    return Refuse(problem, err::kInvalidName,
                  L"The account name is longer than " + std::to_wstring(kMaxAccountNameChars) + L" characters.");
  }
  if (domain.empty() || IsThisComputer(domain, computerName)) {
    out = LocalAccountObject(computerName, name, Contains(localGroups, name));
  } else {
    out = PickedObject{name, L"WinNT://" + domain + L"/" + name, L"User", L""};
  }
  return kTrue;
}

AccountChooser::AccountChooser(std::wstring computerName, const std::vector<std::wstring>& users,
                               const std::vector<std::wstring>& groups)
    : computerName_(std::move(computerName)), groups_(SortedUnique(groups)) {
  for (const std::wstring& user : SortedUnique(users)) rows_.push_back(ChooserRow{user, false});
  for (const std::wstring& group : groups_) rows_.push_back(ChooserRow{group, true});
}

std::wstring AccountChooser::RowText(std::size_t row) const {
  if (row >= rows_.size()) return L"";
  return rows_[row].name + (rows_[row].isGroup ? L"\tGroup" : L"\tUser");
}

BOOL AccountChooser::Choose(const std::vector<int>& rows, const std::wstring& typed, std::vector<PickedObject>& out,
                            std::wstring& problem) const {
  std::vector<int> chosen = rows;
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  std::vector<PickedObject> objects;
  for (int row : chosen) {
    if (row < 0 || static_cast<std::size_t>(row) >= rows_.size()) {
      return Refuse(problem, err::kInvalidParameter, L"The list has no row " + std::to_wstring(row) + L".");
    }
    const ChooserRow& r = rows_[static_cast<std::size_t>(row)];
    objects.push_back(LocalAccountObject(computerName_, r.name, r.isGroup));
  }
  if (!Trim(typed).empty()) {
    PickedObject object;
    if (!ParseTypedAccount(typed, computerName_, groups_, object, problem)) return kFalse;
    objects.push_back(std::move(object));
  }
  if (objects.empty()) {
    return Refuse(problem, err::kInvalidParameter, L"Choose an account in the list or type its name.");
  }
  out = std::move(objects);
  return kTrue;
}

}  // namespace tv
