// Policy: reads and writes the product's values in its policy key of the local registry, the key
// group policy fills ("HKLM\SOFTWARE\Policies\Brellick\Tarnvale" for the computer,
// "HKCU\SOFTWARE\Policies\Brellick\Tarnvale" for the user). Also the numbered-list form every
// account list takes in the registry: a subkey whose values "1", "2", ... hold one entry each.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/types.h"
#include "settings/reg_key.h"

namespace tv {

// A list of account or group names, in order.
using StrList = std::vector<std::wstring>;

// Which policy key: the computer's, or (any other value) the user's.
inline constexpr int kScopeUser = 0;
inline constexpr int kScopeComputer = 1;

// The product's policy key below HKLM or HKCU.
inline constexpr const wchar_t* kPolicySubKey = L"SOFTWARE\\Policies\\Brellick\\Tarnvale";
inline constexpr const wchar_t* kComputerPolicyKey = L"HKLM\\SOFTWARE\\Policies\\Brellick\\Tarnvale";
inline constexpr const wchar_t* kUserPolicyKey = L"HKCU\\SOFTWARE\\Policies\\Brellick\\Tarnvale";

// What GetInt answers for a value (or key) that is not there.
inline constexpr DWORD kNotSet = 0xFFFFFFFFu;

// The longest list entry, in bytes with its terminator; a longer one ends the list.
inline constexpr DWORD kMaxListEntryBytes = 512;

// Replaces `list` with the values "1", "2", ... of `listKey`, stopping at the first that is
// missing, not text, longer than kMaxListEntryBytes or empty. 0 when a read failed (the list then
// holds the entries before it).
BOOL ReadNumberedList(const RegKey& listKey, StrList& list);

// Deletes every value of `listKey`, then writes the entries as REG_SZ "1", "2", ... in order.
// Stops and answers 0 at the first write that fails.
BOOL WriteNumberedList(RegKey& listKey, const StrList& list);

class Policy {
 public:
  explicit Policy(KeyStore& store = DefaultKeyStore());
  virtual ~Policy();
  Policy(const Policy&) = delete;
  Policy& operator=(const Policy&) = delete;

  // Closes any open key and opens the scope's policy key (created with all access when
  // `forWrite`). True when it is open.
  bool OpenRegKey(int scope, bool forWrite);
  void CloseRegKey();
  // Opens the key at the full path `path` ("HKLM\..."), or `path` below an open key `root` of
  // this store, in place of the policy key.
  bool OpenAltRegKey(const wchar_t* path, bool forWrite);
  bool OpenAltRegKey(RegHandle root, const wchar_t* path, bool forWrite);
  bool IsOpen() const { return key_.IsOpen(); }

  // The value as a number (REG_DWORD and REG_BINARY as 4 bytes, anything else as decimal text
  // of at most 128 bytes). Opens the scope's policy key first when none is open; kNotSet when
  // the key or the value is missing.
  DWORD GetInt(const wchar_t* name, int scope);
  DWORD GetIntUser(const wchar_t* name) { return GetInt(name, kScopeUser); }
  DWORD GetIntComp(const wchar_t* name) { return GetInt(name, kScopeComputer); }
  // Set and not zero.
  bool IsOn(const wchar_t* name, int scope);
  bool IsOnUser(const wchar_t* name) { return IsOn(name, kScopeUser); }
  bool IsOnComp(const wchar_t* name) { return IsOn(name, kScopeComputer); }
  // The value exists (in any form).
  bool Find(const wchar_t* name, int scope);

  // Reads a REG_SZ value into `buffer` (`chars` with the terminator); empty when it is absent,
  // not text or too long. 1 when it was read.
  BOOL GetStr(wchar_t* buffer, std::size_t chars, const wchar_t* name, int scope);
  BOOL GetStrUser(wchar_t* buffer, std::size_t chars, const wchar_t* name) {
    return GetStr(buffer, chars, name, kScopeUser);
  }
  BOOL GetStrComp(wchar_t* buffer, std::size_t chars, const wchar_t* name) {
    return GetStr(buffer, chars, name, kScopeComputer);
  }
  // Characters of a text value with its terminator; 0 when absent.
  DWORD GetStrSizeChars(const wchar_t* name, int scope);

  // Write into the open key (opened for writing first when none is open).
  BOOL SetInt(DWORD value, const wchar_t* name, int scope);
  BOOL SetBool(bool on, const wchar_t* name, int scope) { return SetInt(on ? 1 : 0, name, scope); }
  BOOL SetStr(const wchar_t* text, const wchar_t* name, int scope);

  // The list subkey exists.
  bool FindStrList(const wchar_t* subkey, int scope);
  // Empties `list`, then reads the subkey's numbered values (ReadNumberedList). 1 when the policy
  // key was open, also when the subkey is missing; 0 when no key could be opened.
  BOOL GetStrList(StrList& list, const wchar_t* subkey, int scope);
  // Creates the subkey and writes `list` into it (WriteNumberedList).
  BOOL SetStrList(const StrList& list, const wchar_t* subkey, int scope);

  RegKey& Key() { return key_; }

 private:
  bool EnsureOpen(int scope, bool forWrite);

  RegKey key_;
};

}  // namespace tv
