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

namespace tv {
namespace {

constexpr ErrorCode kDirNotEmpty = 145;  // ERROR_DIR_NOT_EMPTY
// The registry nests at most 512 keys deep; a copy deeper than that is copying into itself.
constexpr int kMaxDepth = 512;

// What OpenKey answers while recording: never issued by a store (stores hand out small or
// predefined values), so nothing can mistake it for a real key.
const RegHandle kLogHandle = static_cast<RegHandle>(~std::uintptr_t{0xFF});

std::wstring_view NameOf(const wchar_t* name) { return name ? std::wstring_view(name) : std::wstring_view(); }

std::wstring Join(const wchar_t* prefix, const wchar_t* name) {
  std::wstring joined(NameOf(prefix));
  joined.append(NameOf(name));
  return joined;
}

bool IsText(DWORD type) { return type == reg::kSz || type == reg::kExpandSz; }

// ---- recording mode

struct LogState {
  std::atomic<bool> on{false};
  std::mutex mutex;
  std::size_t count = 0;
  wchar_t* out = nullptr;
};

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

}  // namespace

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

// ---- reading

BOOL RegKey::ReadRaw(const wchar_t* name, DWORD* type, void* data, DWORD* size) const {
  if (!Readable()) return kFalse;
  return store_->QueryValue(key_, NameOf(name), type, data, size);
}

DWORD RegKey::GetValueType(const wchar_t* name) const {
  DWORD type = reg::kNone;
  return ReadRaw(name, &type, nullptr, nullptr) ? type : reg::kNone;
}

BOOL RegKey::FindValue(const wchar_t* name) const { return ReadRaw(name, nullptr, nullptr, nullptr); }

DWORD RegKey::GetInt(const wchar_t* name, DWORD def) const {
  DWORD type = reg::kNone, size = 0;
  if (!ReadRaw(name, &type, nullptr, &size)) return def;
  if (type == reg::kDword || type == reg::kBinary) {
    std::uint8_t b[4] = {};
    DWORD got = sizeof(b);
    if (!ReadRaw(name, &type, b, &got)) return def;
    return static_cast<DWORD>(b[0]) | static_cast<DWORD>(b[1]) << 8 | static_cast<DWORD>(b[2]) << 16 |
           static_cast<DWORD>(b[3]) << 24;
  }
  // A number typed in by hand as text: at most 128 bytes of it; longer text reads as nothing.
  std::uint8_t text[128];
  DWORD got = sizeof(text);
  std::wstring digits;
  if (ReadRaw(name, &type, text, &got)) digits = FromUtf16Le(text, got, true);
  return static_cast<DWORD>(ParseDecimal(digits));
}

BOOL RegKey::GetStr(const wchar_t* name, wchar_t* buffer, std::size_t chars, const wchar_t* def) const {
  if (!buffer || chars == 0) return Fail(err::kInvalidParameter);
  auto fallBack = [&](ErrorCode error) {
    CopyCut(def, buffer, chars);
    return Fail(error);
  };
  DWORD type = reg::kNone, size = 0;
  if (!ReadRaw(name, &type, nullptr, &size)) return fallBack(GetLastErrorCode());
  if (!IsText(type)) return fallBack(err::kInvalidData);
  if (size > chars * 2) return fallBack(err::kMoreData);
  std::vector<std::uint8_t> data(size);
  DWORD got = size;
  if (!ReadRaw(name, &type, data.data(), &got)) return fallBack(GetLastErrorCode());
  const std::wstring text = FromUtf16Le(data.data(), got, true);
  if (text.size() + 1 > chars) return fallBack(err::kMoreData);  // stored without its terminator
  std::copy(text.begin(), text.end(), buffer);
  buffer[text.size()] = L'\0';
  return kTrue;
}

BOOL RegKey::GetStr(const wchar_t* name, std::wstring* text) const {
  if (!text) return Fail(err::kInvalidParameter);
  DWORD type = reg::kNone;
  std::vector<std::uint8_t> data;
  if (!GetValue(name, &type, &data)) return kFalse;
  if (!IsText(type)) return Fail(err::kInvalidData);
  *text = FromUtf16Le(data.data(), data.size(), true);
  return kTrue;
}

DWORD RegKey::GetStrSize(const wchar_t* name) const {
  DWORD type = reg::kNone, size = 0;
  if (!ReadRaw(name, &type, nullptr, &size)) return 0;
  return (IsText(type) || type == reg::kMultiSz) ? size : 0;
}

DWORD RegKey::GetBinSize(const wchar_t* name, DWORD* type) const {
  DWORD t = reg::kNone, size = 0;
  if (!ReadRaw(name, &t, nullptr, &size)) return 0;
  if (type) *type = t;
  return size;
}

BOOL RegKey::GetBin(const wchar_t* name, void* buffer, DWORD size, DWORD* type, DWORD* read) const {
  std::uint8_t none = 0;
  if (!buffer) {
    if (size) return Fail(err::kInvalidParameter);
    buffer = &none;  // a null buffer would only ask for the size; this one holds nothing
  }
  DWORD t = reg::kNone, got = size;
  if (!ReadRaw(name, &t, buffer, &got)) return kFalse;
  if (type) *type = t;
  if (read) *read = got;
  return kTrue;
}

BOOL RegKey::GetValue(const wchar_t* name, DWORD* type, std::vector<std::uint8_t>* data) const {
  if (!Readable()) return kFalse;
  return store_->ReadValue(key_, NameOf(name), type, data);
}

// ---- writing

namespace {

// Whether the stored value already has exactly this type and these bytes.
bool SameAsStored(const RegKey& key, const wchar_t* name, DWORD type, const void* data, DWORD size) {
  PreserveLastError keep;
  std::vector<std::uint8_t> stored;
  DWORD storedType = reg::kNone;
  if (!key.GetValue(name, &storedType, &stored)) return false;
  return storedType == type && stored.size() == size && (size == 0 || std::memcmp(stored.data(), data, size) == 0);
}

}  // namespace

BOOL RegKey::PutDword(const wchar_t* name, DWORD value, bool onlyIfChanged) {
  if (IsLogging()) {
    Emit(std::wstring(NameOf(name)) + L"=dword:" + Hex8(value) + L"\r\n");
    return kTrue;
  }
  if (!Writable()) return kFalse;
  const std::uint8_t b[4] = {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                             static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
  if (onlyIfChanged && SameAsStored(*this, name, reg::kDword, b, sizeof(b))) return kTrue;
  return store_->SetValue(key_, NameOf(name), reg::kDword, b, sizeof(b));
}

BOOL RegKey::PutInt(const wchar_t* name, int value, bool onlyIfChanged) {
  return PutDword(name, static_cast<DWORD>(value), onlyIfChanged);
}

BOOL RegKey::PutStr(const wchar_t* name, const wchar_t* text, bool onlyIfChanged) {
  if (IsLogging()) {
    Emit(std::wstring(NameOf(name)) + L"=" + std::wstring(NameOf(text)) + L"\r\n");
    return kTrue;
  }
  if (!Writable()) return kFalse;
  if (onlyIfChanged && GetValueType(name) == reg::kSz) {
    PreserveLastError keep;
    std::wstring stored;
    if (GetStr(name, &stored) && stored == NameOf(text)) return kTrue;
  }
  const std::vector<std::uint8_t> bytes = ToUtf16Le(NameOf(text), true);
  return store_->SetValue(key_, NameOf(name), reg::kSz, bytes.data(), static_cast<DWORD>(bytes.size()));
}

BOOL RegKey::PutBin(const wchar_t* name, const void* data, DWORD size, DWORD type, bool onlyIfChanged) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (!data && size) return Fail(err::kInvalidParameter);
  if (onlyIfChanged && SameAsStored(*this, name, type, data, size)) return kTrue;
  return store_->SetValue(key_, NameOf(name), type, data, size);
}

BOOL RegKey::PutDwordOrDeleteIfZero(const wchar_t* name, DWORD value, bool onlyIfChanged) {
  return value ? PutDword(name, value, onlyIfChanged) : DelValue(name);
}

BOOL RegKey::PutStrOrDelEmpty(const wchar_t* name, const wchar_t* text, bool onlyIfChanged) {
  return (text && *text) ? PutStr(name, text, onlyIfChanged) : DelValue(name);
}

// ---- deleting

BOOL RegKey::DelValue(const wchar_t* name) {
  if (IsLogging()) {
    Emit(std::wstring(NameOf(name)) + L"=@\r\n");
    return kTrue;
  }
  if (!Writable()) return kFalse;
  if (store_->DeleteValue(key_, NameOf(name))) return kTrue;
  return GetLastErrorCode() == err::kFileNotFound ? kTrue : kFalse;
}

BOOL RegKey::DelSubKey(const wchar_t* subkey) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (NameOf(subkey).empty()) return Fail(err::kInvalidParameter);
  return DeleteRecursive(*store_, key_, NameOf(subkey));
}

BOOL RegKey::DelAll() {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  return EmptyKey(*store_, key_);
}

BOOL RegKey::DelSubKeyIfEmpty(const wchar_t* subkey) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (NameOf(subkey).empty()) return Fail(err::kInvalidParameter);
  RegKey child(*store_);
  if (!child.Open(key_, subkey, false)) return GetLastErrorCode() == err::kFileNotFound ? kTrue : kFalse;
  RegKeyInfo info;
  if (!store_->QueryInfo(child.key_, &info)) return kFalse;
  if (info.subkeys || info.values) return Fail(kDirNotEmpty);
  child.Close();
  return store_->DeleteKey(key_, NameOf(subkey));
}

BOOL RegKey::IsKeyEmpty() const {
  if (!Readable()) return kFalse;
  RegKeyInfo info;
  if (!store_->QueryInfo(key_, &info)) return kFalse;
  return info.subkeys == 0 && info.values == 0;
}

BOOL RegKey::DelValuesStartingWith(const wchar_t* prefix) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  std::vector<std::wstring> doomed;
  std::wstring name;
  for (DWORD i = 0; store_->EnumValue(key_, i, &name, nullptr); ++i) {
    if (RegNameStartsWith(name, NameOf(prefix))) doomed.push_back(name);
  }
  if (GetLastErrorCode() != err::kNoMoreItems) return kFalse;
  BOOL ok = kTrue;
  for (const std::wstring& n : doomed) {
    if (!store_->DeleteValue(key_, n) && GetLastErrorCode() != err::kFileNotFound) ok = kFalse;
  }
  return ok;
}

// ---- enumeration

BOOL RegKey::GetSubKeyByIndex(DWORD index, std::wstring* name) const {
  if (!name) return Fail(err::kInvalidParameter);
  if (!Readable()) return kFalse;
  return store_->EnumKey(key_, index, name);
}

BOOL RegKey::GetSubKeyByIndex(DWORD index, wchar_t* name, std::size_t chars) const {
  if (!name || chars == 0) return Fail(err::kInvalidParameter);
  std::wstring found;
  if (!GetSubKeyByIndex(index, &found)) return kFalse;
  if (found.size() >= chars) return Fail(err::kMoreData);
  std::copy(found.begin(), found.end(), name);
  name[found.size()] = L'\0';
  return kTrue;
}

BOOL RegKey::GetFirstSubKey(wchar_t* name, std::size_t chars) {
  subKeyIndex_ = 0;
  return GetNextSubKey(name, chars);
}

BOOL RegKey::GetNextSubKey(wchar_t* name, std::size_t chars) { return GetSubKeyByIndex(subKeyIndex_++, name, chars); }

BOOL RegKey::GetValueByIndex(DWORD index, std::wstring* name, DWORD* type) const {
  if (!name) return Fail(err::kInvalidParameter);
  if (!Readable()) return kFalse;
  return store_->EnumValue(key_, index, name, type);
}

BOOL RegKey::GetValueByIndex(DWORD index, wchar_t* name, std::size_t chars, DWORD* type) const {
  if (!name || chars == 0) return Fail(err::kInvalidParameter);
  std::wstring found;
  DWORD t = reg::kNone;
  if (!GetValueByIndex(index, &found, &t)) return kFalse;
  if (found.size() >= chars) return Fail(err::kMoreData);
  std::copy(found.begin(), found.end(), name);
  name[found.size()] = L'\0';
  if (type) *type = t;
  return kTrue;
}

BOOL RegKey::GetFirstValue(wchar_t* name, std::size_t chars, DWORD* type) {
  valueIndex_ = 0;
  return GetNextValue(name, chars, type);
}

BOOL RegKey::GetNextValue(wchar_t* name, std::size_t chars, DWORD* type) {
  return GetValueByIndex(valueIndex_++, name, chars, type);
}

std::wstring RegKey::GetParentSubkeyName(const wchar_t* path) {
  const std::wstring_view p = NameOf(path);
  const std::size_t sep = p.rfind(L'\\');
  return sep == std::wstring_view::npos ? std::wstring() : std::wstring(p.substr(0, sep));
}

const wchar_t* RegKey::FindLastSubkeyName(const wchar_t* path) {
  if (!path) return L"";
  const wchar_t* last = path;
  for (const wchar_t* p = path; *p; ++p) {
    if (*p == L'\\') last = p + 1;
  }
  return last;
}

// ---- prefixed names

DWORD RegKey::GetIntPrefix(const wchar_t* prefix, const wchar_t* name, DWORD def) const {
  return GetInt(Join(prefix, name).c_str(), def);
}

BOOL RegKey::GetStrPrefix(const wchar_t* prefix, const wchar_t* name, wchar_t* buffer, std::size_t chars,
                          const wchar_t* def) const {
  return GetStr(Join(prefix, name).c_str(), buffer, chars, def);
}

BOOL RegKey::GetBinPrefix(const wchar_t* prefix, const wchar_t* name, void* buffer, DWORD size, DWORD* type) const {
  return GetBin(Join(prefix, name).c_str(), buffer, size, type);
}

DWORD RegKey::GetBinSizePrefix(const wchar_t* prefix, const wchar_t* name) const {
  return GetBinSize(Join(prefix, name).c_str());
}

BOOL RegKey::PutIntPrefix(const wchar_t* prefix, const wchar_t* name, int value, bool onlyIfChanged) {
  return PutInt(Join(prefix, name).c_str(), value, onlyIfChanged);
}

BOOL RegKey::PutStrPrefix(const wchar_t* prefix, const wchar_t* name, const wchar_t* text, bool onlyIfChanged) {
  return PutStr(Join(prefix, name).c_str(), text, onlyIfChanged);
}

BOOL RegKey::PutBinPrefix(const wchar_t* prefix, const wchar_t* name, const void* data, DWORD size, DWORD type) {
  return PutBin(Join(prefix, name).c_str(), data, size, type);
}

BOOL RegKey::DelValuePrefix(const wchar_t* prefix, const wchar_t* name) { return DelValue(Join(prefix, name).c_str()); }

// ---- whole keys

BOOL RegKey::CopyTo(RegKey& target) const {
  if (IsLogging()) return kTrue;
  if (!Readable() || !target.Writable()) return kFalse;
  return CopyTree(*store_, key_, *target.store_, target.key_, 0);
}

BOOL RegKey::CopyValueTo(RegKey& target, const wchar_t* name) const {
  if (IsLogging()) return kTrue;
  if (!target.Writable()) return kFalse;
  DWORD type = reg::kNone;
  std::vector<std::uint8_t> data;
  if (!GetValue(name, &type, &data)) return kFalse;
  return target.store_->SetValue(target.key_, NameOf(name), type, data.data(), static_cast<DWORD>(data.size()));
}

BOOL RegKey::RenameSubkey(const wchar_t* oldName, const wchar_t* newName) {
  if (IsLogging()) return kTrue;
  if (!Writable()) return kFalse;
  if (NameOf(oldName).empty() || NameOf(newName).empty()) return Fail(err::kInvalidParameter);
  RegKey source(*store_);
  if (!source.Open(key_, oldName, false)) return kFalse;
  {
    RegKey existing(*store_);
    if (existing.Open(key_, newName, false)) return Fail(err::kAlreadyExists);
    if (GetLastErrorCode() != err::kFileNotFound) return kFalse;
  }
  RegKey target(*store_);
  if (!target.Open(key_, newName, true)) return kFalse;
  if (!source.CopyTo(target)) {
    PreserveLastError keep;
    target.Close();
    DeleteRecursive(*store_, key_, NameOf(newName));
    return kFalse;
  }
  source.Close();
  target.Close();
  return DelSubKey(oldName);
}

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
