// RegKey: one open registry key with path-based opening, typed reads, writes that can skip an
// unchanged value, recursive deletion and enumeration; and the process-wide recording mode in
// which writes become text lines instead of reaching the registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/types.h"

namespace tv {

class RegKey {
 public:
  // Closed, on `store`.
  explicit RegKey(KeyStore& store = DefaultKeyStore());
  // Opened from a full path such as "HKLM\SOFTWARE\Brellick\Tarnvale" (see OpenKey).
  RegKey(const wchar_t* path, bool forWrite, KeyStore& store = DefaultKeyStore());
  // Opened as `subkey` of an open key of the same store.
  RegKey(RegHandle parent, const wchar_t* subkey, bool forWrite, KeyStore& store = DefaultKeyStore());
  RegKey(const RegKey& parent, const wchar_t* subkey, bool forWrite);
  // Opened as `path` (without a root name) below a root.
  RegKey(RegRoot root, const wchar_t* path, bool forWrite, KeyStore& store = DefaultKeyStore());
  virtual ~RegKey();

  RegKey(const RegKey&) = delete;
  RegKey& operator=(const RegKey&) = delete;
  RegKey(RegKey&& other) noexcept;
  RegKey& operator=(RegKey&& other) noexcept;

  // ---- opening

  // Walks `path` from its root one name at a time, opening each key for reading or, with
  // `forWrite`, creating it with all access, and closing every intermediate handle. Root names
  // (matched exactly): "HKCLS"/"HKEY_CLASSES_ROOT", "HKCU"/"HKEY_CURRENT_USER",
  // "HKLM"/"HKEY_LOCAL_MACHINE", "HKU"/"HKEY_USERS"; a root alone gives the root's predefined
  // handle. With keepLast = n > 0 the walk stops n names before the end. Null for an empty
  // path, a path without a root name, or a key that cannot be opened. While recording, writes
  // "[path]" and answers a dummy handle without touching the store.
  static RegHandle OpenKey(const wchar_t* path, bool forWrite, int keepLast = 0, KeyStore& store = DefaultKeyStore());

  // Each Open closes the key held before. They answer 1 when a key is open afterwards.
  BOOL Open(const wchar_t* path, bool forWrite);
  BOOL Open(RegHandle parent, const wchar_t* subkey, bool forWrite);
  BOOL Open(const RegKey& parent, const wchar_t* subkey, bool forWrite);
  BOOL Open(RegRoot root, const wchar_t* path, bool forWrite);
  // Opens the key that holds the last `levels` names of `path`.
  BOOL OpenParent(const wchar_t* path, bool forWrite, int levels = 1);

  // Takes ownership of a handle of this key's store (closing the one held before).
  void Attach(RegHandle key);
  // Gives the handle up without closing it.
  RegHandle Detach();
  void Close();
  // Makes the key durable; does nothing while recording.
  BOOL Flush();

  bool IsOpen() const { return key_ != RegHandle{}; }
  RegHandle GetHandle() const { return key_; }
  KeyStore& Store() const { return *store_; }

  // ---- reading (a null name is the default value)

  // The value's type; reg::kNone also when it is missing (FindValue tells the two apart).
  DWORD GetValueType(const wchar_t* name) const;
  BOOL FindValue(const wchar_t* name) const;
  // REG_DWORD and REG_BINARY of up to 4 bytes read as a little-endian number; data longer than
  // 4 bytes or a missing value give `def`. Any other type is text of at most 128 bytes read as a
  // signed decimal number ("15" gives 15, "abc" and longer text give 0).
  DWORD GetInt(const wchar_t* name, DWORD def) const;
  // Copies a REG_SZ or REG_EXPAND_SZ text into `buffer` (`chars` with the terminator) when its
  // stored size fits, and answers 1; otherwise copies `def` (cut to fit) and answers 0.
  BOOL GetStr(const wchar_t* name, wchar_t* buffer, std::size_t chars, const wchar_t* def) const;
  // The whole REG_SZ or REG_EXPAND_SZ text, whatever its length.
  BOOL GetStr(const wchar_t* name, std::wstring* text) const;
  // Stored bytes of a text value (terminator included), 0 when missing or not text.
  DWORD GetStrSize(const wchar_t* name) const;
  // Stored bytes of a value of any type, 0 when missing; its type into `type` when not null.
  DWORD GetBinSize(const wchar_t* name, DWORD* type = nullptr) const;
  // Copies the value's bytes when they fit in `size`; `type` and `read` (bytes) when not null.
  BOOL GetBin(const wchar_t* name, void* buffer, DWORD size, DWORD* type = nullptr, DWORD* read = nullptr) const;
  // The value's type and bytes, whatever its size.
  BOOL GetValue(const wchar_t* name, DWORD* type, std::vector<std::uint8_t>* data) const;

  // ---- writing; with onlyIfChanged nothing is written when the stored value is already equal
  // (same type and bytes)

  BOOL PutDword(const wchar_t* name, DWORD value, bool onlyIfChanged = false);
  BOOL PutInt(const wchar_t* name, int value, bool onlyIfChanged = false);
  // Writes REG_SZ (a null text as "").
  BOOL PutStr(const wchar_t* name, const wchar_t* text, bool onlyIfChanged = false);
  BOOL PutBin(const wchar_t* name, const void* data, DWORD size, DWORD type = reg::kBinary, bool onlyIfChanged = false);
  BOOL PutDwordOrDeleteIfZero(const wchar_t* name, DWORD value, bool onlyIfChanged = false);
  BOOL PutStrOrDelEmpty(const wchar_t* name, const wchar_t* text, bool onlyIfChanged = false);

  // ---- deleting

  // 1 also when the value did not exist.
  BOOL DelValue(const wchar_t* name);
  // Deletes `subkey` with every subkey and value below it; 1 also when it did not exist. An
  // entry that cannot be deleted is skipped, and then the subkey stays (answer 0).
  BOOL DelSubKey(const wchar_t* subkey);
  // Deletes every subkey and value of this key, keeping the key.
  BOOL DelAll();
  // Deletes `subkey` only when it has neither subkeys nor values; 1 also when it did not exist.
  BOOL DelSubKeyIfEmpty(const wchar_t* subkey);
  // 1 when the key has neither subkeys nor values.
  BOOL IsKeyEmpty() const;
  // Deletes every value whose name starts with `prefix` (compared as the registry compares).
  BOOL DelValuesStartingWith(const wchar_t* prefix);

  // ---- enumeration; names take up to `chars` characters with the terminator (err::kMoreData
  // when longer), err::kNoMoreItems past the end

  BOOL GetFirstSubKey(wchar_t* name, std::size_t chars);
  BOOL GetNextSubKey(wchar_t* name, std::size_t chars);
  BOOL GetSubKeyByIndex(DWORD index, wchar_t* name, std::size_t chars) const;
  BOOL GetSubKeyByIndex(DWORD index, std::wstring* name) const;
  BOOL GetFirstValue(wchar_t* name, std::size_t chars, DWORD* type = nullptr);
  BOOL GetNextValue(wchar_t* name, std::size_t chars, DWORD* type = nullptr);
  BOOL GetValueByIndex(DWORD index, wchar_t* name, std::size_t chars, DWORD* type = nullptr) const;
  BOOL GetValueByIndex(DWORD index, std::wstring* name, DWORD* type = nullptr) const;

  // "A\B\C" gives "A\B"; a path without "\" gives "".
  static std::wstring GetParentSubkeyName(const wchar_t* path);
  // "A\B\C" gives "C"; a path without "\" gives the whole path.
  static const wchar_t* FindLastSubkeyName(const wchar_t* path);

  // ---- the same with the value name built as prefix + name

  DWORD GetIntPrefix(const wchar_t* prefix, const wchar_t* name, DWORD def) const;
  BOOL GetStrPrefix(const wchar_t* prefix, const wchar_t* name, wchar_t* buffer, std::size_t chars,
                    const wchar_t* def) const;
  BOOL GetBinPrefix(const wchar_t* prefix, const wchar_t* name, void* buffer, DWORD size, DWORD* type = nullptr) const;
  DWORD GetBinSizePrefix(const wchar_t* prefix, const wchar_t* name) const;
  BOOL PutIntPrefix(const wchar_t* prefix, const wchar_t* name, int value, bool onlyIfChanged = false);
  BOOL PutStrPrefix(const wchar_t* prefix, const wchar_t* name, const wchar_t* text, bool onlyIfChanged = false);
  BOOL PutBinPrefix(const wchar_t* prefix, const wchar_t* name, const void* data, DWORD size,
                    DWORD type = reg::kBinary);
  BOOL DelValuePrefix(const wchar_t* prefix, const wchar_t* name);

  // ---- whole keys

  // Copies every value and subkey of this key into `target` (which may be of another store).
  BOOL CopyTo(RegKey& target) const;
  BOOL CopyValueTo(RegKey& target, const wchar_t* name) const;
  // Moves `oldName` with its contents to `newName` (which must not exist).
  BOOL RenameSubkey(const wchar_t* oldName, const wchar_t* newName);

  // ---- recording mode (process-wide)

  // Starts recording: from now on OpenKey, PutDword, PutStr and DelValue produce text lines
  // instead of touching the registry, and every other write does nothing. The characters are
  // counted and, when `buffer` is not null, copied there (measure with null first).
  static void StartLog(wchar_t* buffer);
  // Stops recording. When anything was produced, appends a terminating zero and answers the
  // count including it; else 0.
  static std::size_t EndLog();
  static bool IsLogging();

 private:
  BOOL ReadRaw(const wchar_t* name, DWORD* type, void* data, DWORD* size) const;
  BOOL Writable() const;
  BOOL Readable() const;

  KeyStore* store_;
  RegHandle key_{};
  DWORD subKeyIndex_ = 0;
  DWORD valueIndex_ = 0;
};

}  // namespace tv
