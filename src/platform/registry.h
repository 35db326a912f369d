// The registry seam: a key store that the settings code reads and writes through, with the real
// registry behind it on Windows and an in-memory registry for tests, the simulator and the
// native build. Both speak the Win32 registry's rules: handles relative to four predefined
// roots, case-insensitive names that keep their spelling, raw typed value bytes, index-based
// enumeration that ends with kNoMoreItems, and the Windows error codes in the last-error slot.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/last_error.h"
#include "platform/types.h"

namespace tv {

// An open key of one store. Null is RegHandle{}; a handle means nothing to another store.
enum class RegHandle : std::uintptr_t {};

// The predefined roots a key path starts from.
enum class RegRoot { kClassesRoot, kCurrentUser, kLocalMachine, kUsers };

namespace reg {
// Value types; the numbers are the registry's own.
inline constexpr DWORD kNone = 0;
inline constexpr DWORD kSz = 1;  // UTF-16LE text with its terminating zero
inline constexpr DWORD kExpandSz = 2;
inline constexpr DWORD kBinary = 3;
inline constexpr DWORD kDword = 4;  // 4 bytes, little-endian
inline constexpr DWORD kMultiSz = 7;
inline constexpr DWORD kQword = 11;  // 8 bytes, little-endian

// Access rights a key is opened with; the numbers are the registry's own.
inline constexpr DWORD kQueryValue = 0x0001;
inline constexpr DWORD kSetValue = 0x0002;
inline constexpr DWORD kCreateSubKey = 0x0004;
inline constexpr DWORD kEnumerateSubKeys = 0x0008;
inline constexpr DWORD kKeyRead = 0x20019;
inline constexpr DWORD kKeyWrite = 0x20006;
inline constexpr DWORD kKeyAllAccess = 0xF003F;

// Longest key name component the registry accepts, in characters.
inline constexpr std::size_t kMaxKeyNameChars = 255;
}  // namespace reg

// Counts and maxima of one key, as RegQueryInfoKey reports them (lengths in characters without
// the terminator, data sizes in bytes).
struct RegKeyInfo {
  DWORD subkeys = 0;
  DWORD maxSubkeyLen = 0;
  DWORD values = 0;
  DWORD maxValueNameLen = 0;
  DWORD maxValueLen = 0;
};

// A registry. Every operation answers 1 or 0 and leaves the Windows error code in the
// last-error slot: err::kFileNotFound for a missing key or value, err::kNoMoreItems past the
// last index, err::kMoreData when a buffer is too small, err::kAccessDenied when the handle
// lacks the right or a key to delete still has subkeys, err::kKeyDeleted on a handle whose key
// was deleted, err::kInvalidHandle for a handle the store never issued. Paths may hold several
// components separated by "\"; the empty value name is the key's default value.
// Out-parameters are untouched on failure, except where an operation says otherwise.
class KeyStore {
 public:
  virtual ~KeyStore() = default;

  // The predefined handle of a root. It is always open; closing it does nothing.
  virtual RegHandle Root(RegRoot root) const = 0;

  // Opens an existing key (`path` relative to `parent`; empty = `parent` itself) with `access`.
  virtual BOOL OpenKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key) = 0;

  // Opens a key, creating it and any missing keys on its path; `created` (may be null) tells
  // whether the last component was new.
  virtual BOOL CreateKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key,
                         bool* created) = 0;

  virtual BOOL CloseKey(RegHandle key) = 0;

  // Makes the key's contents durable; harmless where everything is in memory.
  virtual BOOL FlushKey(RegHandle key) = 0;

  // Reads a value. `type` and `size` may be null. With `data` null only the type and the size
  // in bytes are answered; with `data`, *size is its capacity on entry and the bytes stored on
  // return. A value larger than the capacity fails with err::kMoreData and then, unlike other
  // failures, still sets *type and *size (to the size needed).
  virtual BOOL QueryValue(RegHandle key, std::wstring_view name, DWORD* type, void* data,
                          DWORD* size) = 0;

  // Creates or replaces a value; an existing value keeps its spelling and enumeration place.
  virtual BOOL SetValue(RegHandle key, std::wstring_view name, DWORD type, const void* data,
                        DWORD size) = 0;

  virtual BOOL DeleteValue(RegHandle key, std::wstring_view name) = 0;

  // Deletes the key at `path` (not empty) below `parent`. A key that still has subkeys is not
  // deleted: err::kAccessDenied, as the registry answers.
  virtual BOOL DeleteKey(RegHandle parent, std::wstring_view path) = 0;

  // Deletes the key at `path` with everything below it; with an empty path deletes every
  // subkey and value of `key` but keeps the key.
  virtual BOOL DeleteTree(RegHandle key, std::wstring_view path) = 0;

  // The name of subkey `index`. Subkeys come in the registry's order: sorted without regard
  // to case. err::kNoMoreItems past the last one.
  virtual BOOL EnumKey(RegHandle key, DWORD index, std::wstring* name) = 0;

  // The name (and, when `type` is not null, the type) of value `index`. Windows gives values
  // in the order they were created (Wine sorts them by name). err::kNoMoreItems past the last.
  virtual BOOL EnumValue(RegHandle key, DWORD index, std::wstring* name, DWORD* type) = 0;

  virtual BOOL QueryInfo(RegHandle key, RegKeyInfo* info) = 0;

  // Reads a whole value of any size into `data` (resized to fit), retrying when the value grows
  // between the size query and the read.
  BOOL ReadValue(RegHandle key, std::wstring_view name, DWORD* type, std::vector<std::uint8_t>* data);
};

// Owns one open key of one store and closes it once (keeping the caller's last error).
class UniqueKey {
 public:
  UniqueKey() = default;
  UniqueKey(KeyStore& store, RegHandle key) : store_(&store), key_(key) {}
  ~UniqueKey() { reset(); }
  UniqueKey(const UniqueKey&) = delete;
  UniqueKey& operator=(const UniqueKey&) = delete;
  UniqueKey(UniqueKey&& other) noexcept : store_(other.store_), key_(other.release()) {}
  UniqueKey& operator=(UniqueKey&& other) noexcept;

  RegHandle get() const { return key_; }
  bool valid() const { return key_ != RegHandle{}; }
  KeyStore* store() const { return store_; }

  // Gives up ownership without closing.
  RegHandle release();
  // Closes what is owned and takes `key` of `store` (or of the same store when null).
  void reset(RegHandle key = RegHandle{}, KeyStore* store = nullptr);

 private:
  KeyStore* store_ = nullptr;
  RegHandle key_{};
};

// Operation kinds of the in-memory registry that can be made to fail.
enum class RegOp {
  kOpen,    // OpenKey
  kCreate,  // CreateKey
  kRead,    // QueryValue
  kWrite,   // SetValue
  kDelete,  // DeleteValue, DeleteKey, DeleteTree
};

// The in-memory registry: the four roots, empty at start. It behaves like the real one wherever
// the product can tell: names, ordering, access rights, deleted keys and the error codes. It is
// safe to use from several threads. Operations can be made to fail on command.
class MemKeyStore final : public KeyStore {
 public:
  MemKeyStore();
  ~MemKeyStore() override;
  MemKeyStore(const MemKeyStore&) = delete;
  MemKeyStore& operator=(const MemKeyStore&) = delete;

  RegHandle Root(RegRoot root) const override;
  BOOL OpenKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key) override;
  BOOL CreateKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key,
                 bool* created) override;
  BOOL CloseKey(RegHandle key) override;
  BOOL FlushKey(RegHandle key) override;
  BOOL QueryValue(RegHandle key, std::wstring_view name, DWORD* type, void* data, DWORD* size) override;
  BOOL SetValue(RegHandle key, std::wstring_view name, DWORD type, const void* data, DWORD size) override;
  BOOL DeleteValue(RegHandle key, std::wstring_view name) override;
  BOOL DeleteKey(RegHandle parent, std::wstring_view path) override;
  BOOL DeleteTree(RegHandle key, std::wstring_view path) override;
  BOOL EnumKey(RegHandle key, DWORD index, std::wstring* name) override;
  BOOL EnumValue(RegHandle key, DWORD index, std::wstring* name, DWORD* type) override;
  BOOL QueryInfo(RegHandle key, RegKeyInfo* info) override;

  // Makes the `nth` (from 1) operation of kind `op` from now on fail with `error`; with
  // `persist`, that one and every later one. A new fault for a kind replaces the old.
  void FailOperation(RegOp op, unsigned nth, ErrorCode error, bool persist = false);
  void ClearFaults();
  // How many operations of kind `op` were attempted since construction (failed ones included).
  unsigned OperationCount(RegOp op) const;

  // Handles issued and not yet closed (roots excluded): a leak shows here.
  std::size_t OpenHandleCount() const;
  // Empties the four roots (handles open on deleted keys report err::kKeyDeleted).
  void Clear();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

#ifdef _WIN32
// The real registry of this computer. Keys are opened in the 64-bit view.
class Win32KeyStore final : public KeyStore {
 public:
  RegHandle Root(RegRoot root) const override;
  BOOL OpenKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key) override;
  BOOL CreateKey(RegHandle parent, std::wstring_view path, DWORD access, RegHandle* key,
                 bool* created) override;
  BOOL CloseKey(RegHandle key) override;
  BOOL FlushKey(RegHandle key) override;
  BOOL QueryValue(RegHandle key, std::wstring_view name, DWORD* type, void* data, DWORD* size) override;
  BOOL SetValue(RegHandle key, std::wstring_view name, DWORD type, const void* data, DWORD size) override;
  BOOL DeleteValue(RegHandle key, std::wstring_view name) override;
  BOOL DeleteKey(RegHandle parent, std::wstring_view path) override;
  BOOL DeleteTree(RegHandle key, std::wstring_view path) override;
  BOOL EnumKey(RegHandle key, DWORD index, std::wstring* name) override;
  BOOL EnumValue(RegHandle key, DWORD index, std::wstring* name, DWORD* type) override;
  BOOL QueryInfo(RegHandle key, RegKeyInfo* info) override;
};
#endif

// The store the product uses when it is given none: the real registry on Windows, one
// process-wide MemKeyStore elsewhere.
KeyStore& DefaultKeyStore();

// The registry's case folding for names: upper case for the Latin, Greek and Cyrillic letters.
wchar_t RegUpcase(wchar_t c);

// Compares two names as the registry orders them: code unit by code unit after RegUpcase,
// a shorter name before a longer one that starts with it. <0, 0 or >0.
int CompareRegNames(std::wstring_view a, std::wstring_view b);

// True when `name` starts with `prefix`, compared as the registry compares names.
bool RegNameStartsWith(std::wstring_view name, std::wstring_view prefix);

}  // namespace tv
