// In-memory registry for all platforms, plus the key owner and name ordering both stores share.
#include "platform/registry.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace tv {

// ---- shared by both stores

wchar_t RegUpcase(wchar_t c) {
  const auto u = static_cast<std::uint32_t>(c);
  auto to = [](std::uint32_t v) { return static_cast<wchar_t>(v); };
  if (u < 0x80) return (u >= 'a' && u <= 'z') ? to(u - 0x20) : c;
  if (u >= 0xE0 && u <= 0xFE && u != 0xF7) return to(u - 0x20);
  if (u == 0xFF) return to(0x178);
  if (u >= 0x100 && u <= 0x17F) {
    // Latin Extended-A pairs upper/lower case letters; two runs start on an odd code point.
    const bool oddRun = (u >= 0x139 && u <= 0x148) || (u >= 0x179 && u <= 0x17E);
    const bool evenRun = (u >= 0x100 && u <= 0x137 && u != 0x130 && u != 0x131) || (u >= 0x14A && u <= 0x177);
    if (oddRun && u % 2 == 0) return to(u - 1);
    if (evenRun && u % 2 == 1) return to(u - 1);
    return c;
  }
  if (u >= 0x3B1 && u <= 0x3CB) return to(u == 0x3C2 ? 0x3A3 : u - 0x20);
  if (u == 0x3AC) return to(0x386);
  if (u >= 0x3AD && u <= 0x3AF) return to(u - 0x25);
  if (u == 0x3CC) return to(0x38C);
  if (u == 0x3CD || u == 0x3CE) return to(u - 0x3F);
  if (u >= 0x430 && u <= 0x44F) return to(u - 0x20);
  if (u >= 0x450 && u <= 0x45F) return to(u - 0x50);
  if (u >= 0xFF41 && u <= 0xFF5A) return to(u - 0x20);
  return c;
}

int CompareRegNames(std::wstring_view a, std::wstring_view b) {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i) {
    const auto x = static_cast<std::uint32_t>(RegUpcase(a[i]));
    const auto y = static_cast<std::uint32_t>(RegUpcase(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool RegNameStartsWith(std::wstring_view name, std::wstring_view prefix) {
  return name.size() >= prefix.size() && CompareRegNames(name.substr(0, prefix.size()), prefix) == 0;
}

BOOL KeyStore::ReadValue(RegHandle key, std::wstring_view name, DWORD* type, std::vector<std::uint8_t>* data) {
  if (!data) return Fail(err::kInvalidParameter);
  // Another writer may grow the value between the size query and the read; a few rounds settle it.
  for (int attempt = 0; attempt < 8; ++attempt) {
    DWORD t = 0, size = 0;
    if (!QueryValue(key, name, &t, nullptr, &size)) return kFalse;
    std::vector<std::uint8_t> bytes(size);
    DWORD got = size;
    if (QueryValue(key, name, &t, bytes.data(), &got)) {
      bytes.resize(got);
      data->swap(bytes);
      if (type) *type = t;
      return kTrue;
    }
    if (GetLastErrorCode() != err::kMoreData) return kFalse;
  }
  return Fail(err::kMoreData);
}

UniqueKey& UniqueKey::operator=(UniqueKey&& other) noexcept {
  if (this != &other) {
    KeyStore* store = other.store_;
    reset(other.release(), store);
  }
  return *this;
}

RegHandle UniqueKey::release() {
  RegHandle key = key_;
  key_ = RegHandle{};
  return key;
}

void UniqueKey::reset(RegHandle key, KeyStore* store) {
  if (valid() && store_ && !(key == key_ && (store == nullptr || store == store_))) {
    PreserveLastError keep;
    store_->CloseKey(key_);
  }
  key_ = key;
  if (store) store_ = store;
}

// ---- the in-memory store

namespace {

constexpr ErrorCode kBadPathname = 161;  // ERROR_BAD_PATHNAME: a path that starts with "\"
constexpr std::uintptr_t kRootBase = 0x80000000u;
constexpr std::uintptr_t kFirstHandle = 0x1000;
constexpr std::size_t kOpKinds = 5;

struct Value {
  std::wstring name;
  DWORD type = reg::kNone;
  std::vector<std::uint8_t> data;
  bool erased = false;  // a hole in Values
};

// A key's values in creation order, as Windows keeps them, found by name through a hash of the
// names as the registry compares them: a key with a value per session (the watch records) on a
// terminal server with tens of thousands of sessions would otherwise cost each write a walk over
// all of them. A deleted value leaves a hole until holes are half the slots, or an index is
// asked for.
class Values {
 public:
  Value* Find(std::wstring_view name) {
    auto it = slotOf_.find(name);
    return it == slotOf_.end() ? nullptr : &slots_[it->second];
  }
  void Add(Value v) {
    slotOf_.emplace(v.name, slots_.size());
    slots_.push_back(std::move(v));
  }
  bool Erase(std::wstring_view name) {
    auto it = slotOf_.find(name);
    if (it == slotOf_.end()) return false;
    Value& v = slots_[it->second];
    v.erased = true;
    v.name = {};
    v.data = {};
    slotOf_.erase(it);
    if (++holes_ * 2 > slots_.size()) Compact();
    return true;
  }
  void Clear() {
    slots_.clear();
    slotOf_.clear();
    holes_ = 0;
  }
  std::size_t Size() const { return slotOf_.size(); }
  bool Empty() const { return slotOf_.empty(); }
  // The values in creation order, without holes.
  const std::vector<Value>& Ordered() {
    if (holes_ != 0) Compact();
    return slots_;
  }

 private:
  // Hash and equality of names as the registry compares them, looked up without a copy.
  struct FoldedHash {
    using is_transparent = void;
    std::size_t operator()(std::wstring_view name) const {
      std::size_t h = 1469598103934665603u;
      for (wchar_t c : name) h = (h ^ static_cast<std::size_t>(RegUpcase(c))) * 1099511628211u;
      return h;
    }
  };
  struct FoldedEqual {
    using is_transparent = void;
    bool operator()(std::wstring_view a, std::wstring_view b) const { return CompareRegNames(a, b) == 0; }
  };

  void Compact() {
    std::vector<Value> kept;
    kept.reserve(slotOf_.size());
    for (Value& v : slots_) {
      if (v.erased) continue;
      slotOf_.find(v.name)->second = kept.size();
      kept.push_back(std::move(v));
    }
    slots_.swap(kept);
    holes_ = 0;
  }

  std::vector<Value> slots_;
  std::unordered_map<std::wstring, std::size_t, FoldedHash, FoldedEqual> slotOf_;
  std::size_t holes_ = 0;
};

struct Node {
  std::wstring name;
  Node* parent = nullptr;
  bool deleted = false;
  std::vector<std::shared_ptr<Node>> subkeys;  // kept in the registry's order
  Values values;
};

struct Opened {
  std::shared_ptr<Node> node;
  DWORD access = 0;
};

struct Fault {
  bool armed = false;
  unsigned remaining = 0;
  ErrorCode error = err::kSuccess;
  bool persist = false;
};

void MarkDeleted(Node& node) {
  node.deleted = true;
  for (auto& child : node.subkeys) MarkDeleted(*child);
}

// Splits a key path into its names. Empty names (doubled or trailing separators) are skipped,
// as the registry skips them; a leading separator is refused, as the registry refuses it.
BOOL SplitPath(std::wstring_view path, std::vector<std::wstring_view>* parts) {
  if (!path.empty() && path.front() == L'\\') return Fail(kBadPathname);
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find(L'\\', start);
    if (end == std::wstring_view::npos) end = path.size();
    if (end > start) {
      if (end - start > reg::kMaxKeyNameChars) return Fail(err::kInvalidParameter);
      parts->push_back(path.substr(start, end - start));
    }
    start = end + 1;
  }
  return kTrue;
}

std::vector<std::shared_ptr<Node>>::iterator LowerBound(Node& node, std::wstring_view name) {
  return std::lower_bound(node.subkeys.begin(), node.subkeys.end(), name,
                          [](const std::shared_ptr<Node>& n, std::wstring_view v) { return CompareRegNames(n->name, v) < 0; });
}

std::shared_ptr<Node> FindChild(Node& node, std::wstring_view name) {
  auto it = LowerBound(node, name);
  if (it != node.subkeys.end() && CompareRegNames((*it)->name, name) == 0) return *it;
  return nullptr;
}

}  // namespace

struct MemKeyStore::State {
  mutable std::mutex mutex;
  std::array<std::shared_ptr<Node>, 4> roots;
  std::unordered_map<std::uintptr_t, Opened> handles;
  std::uintptr_t nextHandle = kFirstHandle;
  std::array<Fault, kOpKinds> faults{};
  std::array<unsigned, kOpKinds> counts{};

  // Counts an operation and answers whether an injected fault fails it (error already set).
  bool Tripped(RegOp op) {
    const auto i = static_cast<std::size_t>(op);
    ++counts[i];
    Fault& f = faults[i];
    if (!f.armed) return false;
    if (f.remaining > 1) {
      --f.remaining;
      return false;
    }
    if (!f.persist) f.armed = false;
    SetLastErrorCode(f.error);
    return true;
  }

  // The key behind a handle, checked for the rights the operation needs; null (error set) when
  // there is none. Valid while the lock is held.
  Node* Peek(RegHandle handle, DWORD needed) {
    const auto raw = static_cast<std::uintptr_t>(handle);
    Node* node = nullptr;
    DWORD access = reg::kKeyAllAccess;
    if (raw >= kRootBase && raw < kRootBase + roots.size()) {
      node = roots[raw - kRootBase].get();
    } else {
      auto it = handles.find(raw);
      if (it == handles.end()) {
        (void)Fail(err::kInvalidHandle);
        return nullptr;
      }
      node = it->second.node.get();
      access = it->second.access;
    }
    if (node->deleted) {
      (void)Fail(err::kKeyDeleted);
      return nullptr;
    }
    if ((access & needed) != needed) {
      (void)Fail(err::kAccessDenied);
      return nullptr;
    }
    return node;
  }

  BOOL Resolve(RegHandle handle, DWORD needed, std::shared_ptr<Node>* node) {
    const auto raw = static_cast<std::uintptr_t>(handle);
    if (!Peek(handle, needed)) return kFalse;
    if (raw >= kRootBase && raw < kRootBase + roots.size()) {
      *node = roots[raw - kRootBase];
    } else {
      *node = handles.find(raw)->second.node;
    }
    return kTrue;
  }

  // The key at `path` below `from`; kFileNotFound when a name on the way is missing.
  BOOL Walk(std::shared_ptr<Node> from, std::wstring_view path, std::shared_ptr<Node>* node) {
    std::vector<std::wstring_view> parts;
    if (!SplitPath(path, &parts)) return kFalse;
    for (std::wstring_view part : parts) {
      from = FindChild(*from, part);
      if (!from) return Fail(err::kFileNotFound);
    }
    *node = std::move(from);
    return kTrue;
  }

  RegHandle Issue(std::shared_ptr<Node> node, DWORD access) {
    const std::uintptr_t raw = nextHandle;
    nextHandle += 4;
    handles[raw] = Opened{std::move(node), access};
    return static_cast<RegHandle>(raw);
  }

  void Detach(const std::shared_ptr<Node>& node) {
    Node* parent = node->parent;
    auto it = std::find(parent->subkeys.begin(), parent->subkeys.end(), node);
    if (it != parent->subkeys.end()) parent->subkeys.erase(it);
    MarkDeleted(*node);
  }
};

MemKeyStore::MemKeyStore() : state_(std::make_unique<State>()) {
  for (auto& root : state_->roots) root = std::make_shared<Node>();
}

MemKeyStore::~MemKeyStore() = default;

RegHandle MemKeyStore::Root(RegRoot root) const {
  return static_cast<RegHandle>(kRootBase + static_cast<std::uintptr_t>(root));
}

BOOL MemKeyStore::OpenKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->Tripped(RegOp::kOpen)) return kFalse;
  if (!key) return Fail(err::kInvalidParameter);
  std::shared_ptr<Node> node;
  if (!state_->Resolve(parent, 0, &node) || !state_->Walk(node, path, &node)) return kFalse;
  *key = state_->Issue(std::move(node), access);
  return kTrue;
}

BOOL MemKeyStore::CreateKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key, bool* created) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->Tripped(RegOp::kCreate)) return kFalse;
  if (!key) return Fail(err::kInvalidParameter);
  std::shared_ptr<Node> node;
  std::vector<std::wstring_view> parts;
  if (!state_->Resolve(parent, 0, &node) || !SplitPath(path, &parts)) return kFalse;
  bool isNew = false;
  for (std::wstring_view part : parts) {
    auto it = LowerBound(*node, part);
    if (it != node->subkeys.end() && CompareRegNames((*it)->name, part) == 0) {
      node = *it;
      isNew = false;
      continue;
    }
    auto child = std::make_shared<Node>();
    child->name.assign(part);
    child->parent = node.get();
    node->subkeys.insert(it, child);
    node = std::move(child);
    isNew = true;
  }
  *key = state_->Issue(std::move(node), access);
  if (created) *created = isNew;
  return kTrue;
}

BOOL MemKeyStore::CloseKey(RegHandle key) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  const auto raw = static_cast<std::uintptr_t>(key);
  if (raw >= kRootBase && raw < kRootBase + state_->roots.size()) return kTrue;
  if (state_->handles.erase(raw) == 0) return Fail(err::kInvalidHandle);
  return kTrue;
}

BOOL MemKeyStore::FlushKey(RegHandle key) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  std::shared_ptr<Node> node;
  return state_->Resolve(key, 0, &node);
}

BOOL MemKeyStore::QueryValue(RegHandle key, std::wstring_view name, DWORD* type, void* data, DWORD* size) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->Tripped(RegOp::kRead)) return kFalse;
  Node* node = state_->Peek(key, reg::kQueryValue);
  if (!node) return kFalse;
  if (data && !size) return Fail(err::kInvalidParameter);
  const Value* it = node->values.Find(name);
  if (!it) return Fail(err::kFileNotFound);
  const auto needed = static_cast<DWORD>(it->data.size());
  if (data && *size < needed) {
    if (type) *type = it->type;
    *size = needed;
    return Fail(err::kMoreData);
  }
  if (data && needed) std::memcpy(data, it->data.data(), needed);
  if (type) *type = it->type;
  if (size) *size = needed;
  return kTrue;
}

BOOL MemKeyStore::SetValue(RegHandle key, std::wstring_view name, DWORD type, const void* data, DWORD size) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->Tripped(RegOp::kWrite)) return kFalse;
  Node* node = state_->Peek(key, reg::kSetValue);
  if (!node) return kFalse;
  if (!data && size) return Fail(err::kInvalidParameter);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  std::vector<std::uint8_t> copy(bytes, bytes + size);
  Value* it = node->values.Find(name);
  if (!it) {
    node->values.Add(Value{std::wstring(name), type, std::move(copy)});
  } else {
    it->type = type;
    it->data = std::move(copy);
  }
  return kTrue;
}

BOOL MemKeyStore::DeleteValue(RegHandle key, std::wstring_view name) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->Tripped(RegOp::kDelete)) return kFalse;
  std::shared_ptr<Node> node;
  if (!state_->Resolve(key, reg::kSetValue, &node)) return kFalse;
  if (!node->values.Erase(name)) return Fail(err::kFileNotFound);
  return kTrue;
}

BOOL MemKeyStore::DeleteKey(RegHandle parent, std::wstring_view path) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->Tripped(RegOp::kDelete)) return kFalse;
  std::shared_ptr<Node> node;
  if (!state_->Resolve(parent, 0, &node)) return kFalse;
  std::vector<std::wstring_view> parts;
  if (!SplitPath(path, &parts)) return kFalse;
  if (parts.empty()) return Fail(err::kInvalidParameter);
  if (!state_->Walk(node, path, &node)) return kFalse;
  if (!node->subkeys.empty()) return Fail(err::kAccessDenied);
  state_->Detach(node);
  return kTrue;
}

BOOL MemKeyStore::DeleteTree(RegHandle key, std::wstring_view path) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (state_->Tripped(RegOp::kDelete)) return kFalse;
  std::shared_ptr<Node> node;
  std::vector<std::wstring_view> parts;
  if (!SplitPath(path, &parts)) return kFalse;
  if (parts.empty()) {
    // Emptying the key itself goes as the system's RegDeleteTree goes: the subkeys first (each
    // opened on its own), then the values through this handle, which needs the right to change.
    if (!state_->Resolve(key, reg::kQueryValue | reg::kEnumerateSubKeys, &node)) return kFalse;
    for (auto& child : node->subkeys) MarkDeleted(*child);
    node->subkeys.clear();
    std::shared_ptr<Node> writable;
    if (!node->values.Empty() && !state_->Resolve(key, reg::kSetValue, &writable)) return kFalse;
    node->values.Clear();
    return kTrue;
  }
  if (!state_->Resolve(key, 0, &node) || !state_->Walk(node, path, &node)) return kFalse;
  state_->Detach(node);
  return kTrue;
}

BOOL MemKeyStore::EnumKey(RegHandle key, DWORD index, std::wstring* name) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  std::shared_ptr<Node> node;
  if (!state_->Resolve(key, reg::kEnumerateSubKeys, &node)) return kFalse;
  if (!name) return Fail(err::kInvalidParameter);
  if (index >= node->subkeys.size()) return Fail(err::kNoMoreItems);
  *name = node->subkeys[index]->name;
  return kTrue;
}

BOOL MemKeyStore::EnumValue(RegHandle key, DWORD index, std::wstring* name, DWORD* type) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  std::shared_ptr<Node> node;
  if (!state_->Resolve(key, reg::kQueryValue, &node)) return kFalse;
  if (!name) return Fail(err::kInvalidParameter);
  const std::vector<Value>& values = node->values.Ordered();
  if (index >= values.size()) return Fail(err::kNoMoreItems);
  *name = values[index].name;
  if (type) *type = values[index].type;
  return kTrue;
}

BOOL MemKeyStore::QueryInfo(RegHandle key, RegKeyInfo* info) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  std::shared_ptr<Node> node;
  if (!state_->Resolve(key, reg::kQueryValue, &node)) return kFalse;
  if (!info) return Fail(err::kInvalidParameter);
  RegKeyInfo out;
  out.subkeys = static_cast<DWORD>(node->subkeys.size());
  out.values = static_cast<DWORD>(node->values.Size());
  for (const auto& child : node->subkeys) out.maxSubkeyLen = std::max<DWORD>(out.maxSubkeyLen, static_cast<DWORD>(child->name.size()));
  for (const auto& v : node->values.Ordered()) {
    out.maxValueNameLen = std::max<DWORD>(out.maxValueNameLen, static_cast<DWORD>(v.name.size()));
    out.maxValueLen = std::max<DWORD>(out.maxValueLen, static_cast<DWORD>(v.data.size()));
  }
  *info = out;
  return kTrue;
}

void MemKeyStore::FailOperation(RegOp op, unsigned nth, ErrorCode error, bool persist) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->faults[static_cast<std::size_t>(op)] = Fault{true, nth == 0 ? 1 : nth, error, persist};
}

void MemKeyStore::ClearFaults() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->faults = {};
}

unsigned MemKeyStore::OperationCount(RegOp op) const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->counts[static_cast<std::size_t>(op)];
}

std::size_t MemKeyStore::OpenHandleCount() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->handles.size();
}

void MemKeyStore::Clear() {
  std::lock_guard<std::mutex> lock(state_->mutex);
  for (auto& root : state_->roots) {
    for (auto& child : root->subkeys) MarkDeleted(*child);
    root->subkeys.clear();
    root->values.Clear();
  }
}

#ifndef _WIN32
KeyStore& DefaultKeyStore() {
  static MemKeyStore store;
  return store;
}
#endif

}  // namespace tv
