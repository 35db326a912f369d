// GPObj: the product's values inside a domain group-policy object, under
// "SOFTWARE\Policies\Brellick\Tarnvale" of one of the GPO's registry sections. A setting that is
// switched off is kept under its marker name "**del.<name>" (group policy deletes <name> on apply
// and keeps nothing), and a switched-off list is kept joined with "|" in its subkey's value
// "**delvals.", so that the administrator's choices survive while the policy is off.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/registry.h"
#include "platform/types.h"
#include "settings/gpo.h"
#include "settings/policy.h"
#include "settings/reg_key.h"

namespace tv {

// The prefix of a switched-off value's name, and the name of a list's switched-off form.
inline constexpr const wchar_t* kGpoDelPrefix = L"**del.";
inline constexpr const wchar_t* kGpoDelVals = L"**delvals.";

class GPObj {
 public:
  explicit GPObj(GpoFactory& factory = DefaultGpoFactory());
  ~GPObj();
  GPObj(const GPObj&) = delete;
  GPObj& operator=(const GPObj&) = delete;

  // Creates the group-policy object, opens the domain GPO at `gpoPath` with its registry, checks
  // that it is a directory-service GPO, takes the registry key of the scope's section
  // (kScopeComputer: machine; else user) and opens the product's key under it: created when
  // `forWrite`, else opened for reading. True when the product's key is open, or, when only
  // reading, also when it does not exist (the policy is not configured). Every step leaves its
  // HRESULT in GetResult; a failed step releases everything.
  bool Open(const wchar_t* gpoPath, int scope, bool forWrite);
  // Closes the keys and releases the object.
  void Close();

  HResult GetResult() const { return result_; }
  bool IsOpen() const { return object_ != nullptr; }
  bool IsRegKeyReady() const { return key_.IsOpen(); }
  bool IsNotConfigured() const { return !key_.IsOpen(); }

  // The GPO's name (its GUID text) and friendly name into `buffer` (`chars` with the
  // terminator); empty and false on failure.
  bool GetName(wchar_t* buffer, int chars);
  bool GetDisplayName(wchar_t* buffer, int chars);

  // Writes the scope's section back into the GPO, naming the registry extension and the
  // administrative-templates tool. True when the HRESULT is not an error.
  bool Save(int scope);

  // Deletes every value of the product's key.
  bool SetAllNotConfigured(int scope);

  // "**del.<name>" into `buffer`, cut to `chars` with the terminator.
  static void MakeDelName(const wchar_t* name, wchar_t* buffer, std::size_t chars);

  // The value as a number (REG_DWORD/REG_BINARY as 4 bytes, other types as decimal text of at
  // most 128 bytes); from its marker name when the value itself is missing; kNotSet when both
  // are missing.
  DWORD GetInt(const wchar_t* name);
  // Writes the value under `name` (and drops its marker) when `enabled`, else under its marker
  // name (and drops `name`). It stays a REG_DWORD unless the value being replaced is text, which
  // gets decimal text.
  bool SetInt(DWORD value, const wchar_t* name, bool enabled);

  // Text values, the same way. GetStr empties `buffer` when neither name holds text that fits.
  bool GetStr(wchar_t* buffer, std::size_t chars, const wchar_t* name);
  // Characters with the terminator; 0 when neither name holds text.
  DWORD GetStrSizeChars(const wchar_t* name);
  bool SetStr(const wchar_t* text, const wchar_t* name, bool enabled);

  // Binary values, the same way. GetBinSize answers the size of any value (0 when missing) and
  // its type when `type` is not null.
  DWORD GetBinSize(const wchar_t* name, DWORD* type = nullptr);
  bool GetBin(void* buffer, DWORD size, const wchar_t* name);
  bool SetBin(const void* data, DWORD size, const wchar_t* name, bool enabled);

  // Empties `list`, then reads the subkey: its numbered values when "1" exists, else the parts of
  // "**delvals." between the "|"s (empty parts skipped). False when the subkey is missing or a
  // read failed.
  bool GetStrList(StrList& list, const wchar_t* subkey);
  // Creates the subkey and deletes every value in it; then, when `enabled`, an empty
  // "**delvals." and the numbered entries, else only "**delvals." holding the entries joined
  // with "|". False at the first failure.
  bool SetStrList(const StrList& list, const wchar_t* subkey, bool enabled);

  // The product's key inside the GPO (closed when not configured).
  RegKey& Key() { return key_; }

 private:
  bool Step(HResult hr);
  // GetName and GetDisplayName: the same checks around a different question to the object.
  using NameGetter = HResult (GroupPolicyObject::*)(wchar_t* buffer, int chars);
  bool CopyName(NameGetter get, wchar_t* buffer, int chars);
  // The name that holds the value: `name` when it exists, else its marker name when that exists.
  const wchar_t* Holder(const wchar_t* name, std::wstring& marker) const;
  bool Replace(const wchar_t* name, bool enabled, const std::function<BOOL(const wchar_t*)>& write);

  GpoFactory* factory_;
  HResult result_ = gpo::kOk;
  std::unique_ptr<GroupPolicyObject> object_;
  UniqueKey section_;
  RegKey key_;
};

}  // namespace tv
