// RegKey: construction, opening and access, recording mode, and the helpers the other parts share.
#include "settings/reg_key.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <mutex>
#include <optional>
#include <string_view>

#include "foundation/split_text.h"
#include "foundation/utf16.h"
#include "platform/last_error.h"
#include "settings/reg_key_detail.h"

namespace tv {
namespace reg_key_detail {


std::wstring Join(const wchar_t* prefix, const wchar_t* name) {
  std::wstring joined(NameOf(prefix));
  joined.append(NameOf(name));
  return joined;
}


// ---- recording mode


LogState& Log() {
  static LogState state;
  return state;
}

void Emit(std::wstring_view text) {
  LogState& log = Log();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.count += text.size();
  if (log.out) {
    std::copy(text.begin(), text.end(), log.out);
    log.out += text.size();
  }
}

std::wstring Hex8(DWORD value) {
  static const wchar_t kDigits[] = L"0123456789ABCDEF";
  std::wstring s(8, L'0');
  for (int i = 7; i >= 0; --i, value >>= 4) s[static_cast<std::size_t>(i)] = kDigits[value & 0xF];
  return s;
}

// ---- paths

bool ParseRoot(std::wstring_view name, RegRoot* root) {
  struct Alias {
    const wchar_t* name;
    RegRoot root;
  };
  static const Alias kAliases[] = {
      {L"HKCLS", RegRoot::kClassesRoot},   {L"HKEY_CLASSES_ROOT", RegRoot::kClassesRoot},
      {L"HKCU", RegRoot::kCurrentUser},    {L"HKEY_CURRENT_USER", RegRoot::kCurrentUser},
      {L"HKLM", RegRoot::kLocalMachine},   {L"HKEY_LOCAL_MACHINE", RegRoot::kLocalMachine},
      {L"HKU", RegRoot::kUsers},           {L"HKEY_USERS", RegRoot::kUsers},
  };
  for (const Alias& a : kAliases) {
    if (name == a.name) {
      *root = a.root;
      return true;
    }
  }
  return false;
}

// Opens (or creates) `path` below `start` one name at a time, closing each handle on the way.
RegHandle Walk(KeyStore& store, RegHandle start, std::wstring_view path, bool forWrite, int keepLast) {
  std::vector<std::wstring_view> names = SplitText(path, L'\\', true);
  if (keepLast > 0) names.resize(names.size() - std::min<std::size_t>(names.size(), static_cast<std::size_t>(keepLast)));
  RegHandle current = start;
  for (std::wstring_view name : names) {
    RegHandle next{};
    const BOOL ok = forWrite ? store.CreateKey(current, name, reg::kKeyAllAccess, &next, nullptr)
                             : store.OpenKey(current, name, reg::kKeyRead, &next);
    if (current != start) {
      PreserveLastError keep;
      store.CloseKey(current);
    }
    if (!ok) return RegHandle{};
    current = next;
  }
  return current;
}

// ---- whole-key helpers

BOOL DeleteRecursive(KeyStore& store, RegHandle parent, std::wstring_view name);

// Deletes every subkey and value of `key`. An entry that cannot be deleted is stepped over so
// that the rest still goes; the answer is then 0 with the first failure's code.
BOOL EmptyKey(KeyStore& store, RegHandle key) {
  ErrorCode firstError = err::kSuccess;
  auto failed = [&firstError]() {
    if (firstError == err::kSuccess) firstError = GetLastErrorCode();
  };
  // Deleting entry `index` moves the next one into its place, so the index only moves on past
  // an entry that stays. A store that lists again what it just deleted is stepped over too,
  // rather than looped on.
  auto sweep = [&](auto enumerate, auto remove) {
    std::wstring name;
    std::optional<std::wstring> previous;
    DWORD index = 0;
    while (enumerate(index, &name)) {
      const bool again = previous && CompareRegNames(name, *previous) == 0;
      if (!again && remove(name)) {
        previous = name;
        continue;
      }
      if (again) SetLastErrorCode(err::kAccessDenied);
      failed();
      previous.reset();
      ++index;
    }
    if (GetLastErrorCode() != err::kNoMoreItems) failed();
  };
  sweep([&](DWORD i, std::wstring* n) { return store.EnumKey(key, i, n); },
        [&](const std::wstring& n) { return DeleteRecursive(store, key, n); });
  sweep([&](DWORD i, std::wstring* n) { return store.EnumValue(key, i, n, nullptr); },
        [&](const std::wstring& n) { return store.DeleteValue(key, n); });
  if (firstError != err::kSuccess) return Fail(firstError);
  return kTrue;
}

BOOL DeleteRecursive(KeyStore& store, RegHandle parent, std::wstring_view name) {
  RegHandle handle{};
  if (!store.OpenKey(parent, name, reg::kKeyAllAccess, &handle)) {
    return GetLastErrorCode() == err::kFileNotFound ? kTrue : kFalse;
  }
  {
    UniqueKey key(store, handle);
    EmptyKey(store, handle);  // whatever stays makes the delete below fail, which is the answer
  }
  if (store.DeleteKey(parent, name)) return kTrue;
  return GetLastErrorCode() == err::kFileNotFound ? kTrue : kFalse;
}

BOOL CopyTree(KeyStore& from, RegHandle source, KeyStore& to, RegHandle target, int depth) {
  if (depth > kMaxDepth) return Fail(err::kInvalidParameter);
  std::wstring name;
  std::vector<std::uint8_t> data;
  DWORD type = 0;
  for (DWORD i = 0; from.EnumValue(source, i, &name, nullptr); ++i) {
    if (!from.ReadValue(source, name, &type, &data)) return kFalse;
    if (!to.SetValue(target, name, type, data.data(), static_cast<DWORD>(data.size()))) return kFalse;
  }
  if (GetLastErrorCode() != err::kNoMoreItems) return kFalse;
  // Take the names first: copying into a key below the source must not see its own copies.
  std::vector<std::wstring> subkeys;
  for (DWORD i = 0; from.EnumKey(source, i, &name); ++i) subkeys.push_back(name);
  if (GetLastErrorCode() != err::kNoMoreItems) return kFalse;
  for (const std::wstring& sub : subkeys) {
    RegHandle s{}, t{};
    if (!from.OpenKey(source, sub, reg::kKeyRead, &s)) return kFalse;
    UniqueKey sourceKey(from, s);
    if (!to.CreateKey(target, sub, reg::kKeyAllAccess, &t, nullptr)) return kFalse;
    UniqueKey targetKey(to, t);
    if (!CopyTree(from, s, to, t, depth + 1)) return kFalse;
  }
  return kTrue;
}

// C's decimal conversion as the registry's hand-written numbers need it: leading blanks, a sign,
// digits up to the first non-digit, saturated to the int range; no digits gives 0.
int ParseDecimal(std::wstring_view text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == L' ' || (text[i] >= L'\t' && text[i] <= L'\r'))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == L'+' || text[i] == L'-')) negative = text[i++] == L'-';
  long long value = 0;
  for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
    value = value * 10 + (text[i] - L'0');
    if (value > static_cast<long long>(INT_MAX) + 1) break;
  }
  if (negative) value = -value;
  return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
}

void CopyCut(const wchar_t* text, wchar_t* buffer, std::size_t chars) {
  std::wstring_view t = NameOf(text);
  const std::size_t n = std::min(t.size(), chars - 1);
  std::copy_n(t.begin(), n, buffer);
  buffer[n] = L'\0';
}

}  // namespace reg_key_detail

using namespace reg_key_detail;

// ---- construction

RegKey::RegKey(KeyStore& store) : store_(&store) {}

RegKey::RegKey(const wchar_t* path, bool forWrite, KeyStore& store) : store_(&store) { Open(path, forWrite); }

RegKey::RegKey(RegHandle parent, const wchar_t* subkey, bool forWrite, KeyStore& store) : store_(&store) {
  Open(parent, subkey, forWrite);
}

RegKey::RegKey(const RegKey& parent, const wchar_t* subkey, bool forWrite) : store_(parent.store_) {
  Open(parent.key_, subkey, forWrite);
}

RegKey::RegKey(RegRoot root, const wchar_t* path, bool forWrite, KeyStore& store) : store_(&store) {
  Open(root, path, forWrite);
}

RegKey::~RegKey() { Close(); }

RegKey::RegKey(RegKey&& other) noexcept
    : store_(other.store_), key_(other.Detach()), subKeyIndex_(other.subKeyIndex_), valueIndex_(other.valueIndex_) {}

RegKey& RegKey::operator=(RegKey&& other) noexcept {
  if (this != &other) {
    Close();
    store_ = other.store_;
    key_ = other.Detach();
    subKeyIndex_ = other.subKeyIndex_;
    valueIndex_ = other.valueIndex_;
  }
  return *this;
}

// ---- opening

RegHandle RegKey::OpenKey(const wchar_t* path, bool forWrite, int keepLast, KeyStore& store) {
  if (!path || !*path) {
    SetLastErrorCode(err::kInvalidParameter);
    return RegHandle{};
  }
  if (IsLogging()) {
    Emit(L"[" + std::wstring(path) + L"]\r\n");
    return kLogHandle;
  }
  const std::wstring_view p(path);
  const std::size_t sep = p.find(L'\\');
  RegRoot root;
  if (!ParseRoot(p.substr(0, sep), &root)) {
    SetLastErrorCode(err::kInvalidParameter);
    return RegHandle{};
  }
  const std::wstring_view rest = sep == std::wstring_view::npos ? std::wstring_view() : p.substr(sep + 1);
  return Walk(store, store.Root(root), rest, forWrite, keepLast);
}

BOOL RegKey::Open(const wchar_t* path, bool forWrite) {
  const RegHandle opened = OpenKey(path, forWrite, 0, *store_);
  Close();
  key_ = opened;
  return IsOpen();
}

BOOL RegKey::OpenParent(const wchar_t* path, bool forWrite, int levels) {
  const RegHandle opened = OpenKey(path, forWrite, levels < 1 ? 1 : levels, *store_);
  Close();
  key_ = opened;
  return IsOpen();
}

BOOL RegKey::Open(RegHandle parent, const wchar_t* subkey, bool forWrite) {
  RegHandle opened{};
  BOOL ok;
  if (parent == RegHandle{} || parent == kLogHandle) {
    ok = Fail(err::kInvalidHandle);
  } else if (forWrite && IsLogging()) {
    ok = Fail(err::kAccessDenied);  // while recording nothing may be created
  } else if (forWrite) {
    ok = store_->CreateKey(parent, NameOf(subkey), reg::kKeyAllAccess, &opened, nullptr);
  } else {
    ok = store_->OpenKey(parent, NameOf(subkey), reg::kKeyRead, &opened);
  }
  Close();
  if (ok) key_ = opened;
  return ok;
}

BOOL RegKey::Open(const RegKey& parent, const wchar_t* subkey, bool forWrite) {
  if (&parent == this) {
    RegKey child(parent, subkey, forWrite);
    *this = std::move(child);
    return IsOpen();
  }
  Close();
  store_ = parent.store_;
  return Open(parent.key_, subkey, forWrite);
}

BOOL RegKey::Open(RegRoot root, const wchar_t* path, bool forWrite) {
  RegHandle opened{};
  if (forWrite && IsLogging()) {
    SetLastErrorCode(err::kAccessDenied);
  } else {
    opened = Walk(*store_, store_->Root(root), NameOf(path), forWrite, 0);
  }
  Close();
  key_ = opened;
  return IsOpen();
}

void RegKey::Attach(RegHandle key) {
  if (key == key_) return;
  Close();
  key_ = key;
}

RegHandle RegKey::Detach() {
  const RegHandle key = key_;
  key_ = RegHandle{};
  return key;
}

void RegKey::Close() {
  if (key_ == RegHandle{}) return;
  if (key_ != kLogHandle) {
    PreserveLastError keep;
    store_->CloseKey(key_);
  }
  key_ = RegHandle{};
  subKeyIndex_ = valueIndex_ = 0;
}

BOOL RegKey::Flush() {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  return store_->FlushKey(key_);
}

BOOL RegKey::Readable() const {
  if (key_ == RegHandle{} || key_ == kLogHandle) return Fail(err::kInvalidHandle);
  return kTrue;
}

BOOL RegKey::Writable() const { return Readable(); }

// ---- recording mode

void RegKey::StartLog(wchar_t* buffer) {
  LogState& log = Log();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.count = 0;
  log.out = buffer;
  log.on = true;
}

std::size_t RegKey::EndLog() {
  LogState& log = Log();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.on = false;
  const std::size_t produced = log.count;
  if (produced && log.out) *log.out = L'\0';
  log.count = 0;
  log.out = nullptr;
  return produced ? produced + 1 : 0;
}

bool RegKey::IsLogging() { return Log().on.load(); }

}  // namespace tv
