#include "settings/gp_obj.h"

#include <algorithm>
#include <string>

#include "foundation/split_text.h"
#include "platform/last_error.h"

namespace tv {
namespace {

std::wstring DelName(const wchar_t* name) { return std::wstring(kGpoDelPrefix) + (name ? name : L""); }

bool IsNumberType(DWORD type) { return type == reg::kDword || type == reg::kBinary; }

}  // namespace

GPObj::GPObj(GpoFactory& factory) : factory_(&factory) {}

GPObj::~GPObj() { Close(); }

void GPObj::Close() {
  // The keys belong to the object's registry: close them before letting it go.
  key_.Close();
  section_.reset();
  object_.reset();
}

bool GPObj::Step(HResult hr) {
  result_ = hr;
  if (gpo::Succeeded(hr)) return true;
  Close();
  return false;
}

bool GPObj::Open(const wchar_t* gpoPath, int scope, bool forWrite) {
  Close();
  if (!Step(factory_->Create(&object_))) return false;
  if (!object_) return Step(gpo::kFail);
  if (!Step(object_->OpenDSGPO(gpoPath, gpo::kOpenLoadRegistry))) return false;
  gpo::Type type = gpo::Type::kLocal;
  if (!Step(object_->GetType(&type))) return false;
  // A local or remote computer's policy is not what the product edits.
  if (type != gpo::Type::kDS) return Step(gpo::kFail);
  RegHandle section{};
  const DWORD which = scope == kScopeComputer ? gpo::kSectionMachine : gpo::kSectionUser;
  if (!Step(object_->GetRegistryKey(which, &section))) return false;
  section_.reset(section, &object_->Store());
  key_ = RegKey(object_->Store());
  if (key_.Open(section_.get(), kPolicySubKey, forWrite)) return true;
  if (!forWrite && GetLastErrorCode() == err::kFileNotFound) return true;  // not configured
  const ErrorCode error = GetLastErrorCode();
  Step(static_cast<HResult>(0x80070000u | (error & 0xFFFFu)));  // as HRESULT_FROM_WIN32
  SetLastErrorCode(error);
  return false;
}

bool GPObj::GetName(wchar_t* buffer, int chars) {
  return CopyName(&GroupPolicyObject::GetName, buffer, chars);
}

bool GPObj::GetDisplayName(wchar_t* buffer, int chars) {
  return CopyName(&GroupPolicyObject::GetDisplayName, buffer, chars);
}

bool GPObj::CopyName(NameGetter get, wchar_t* buffer, int chars) {
  if (!buffer || chars <= 0) return false;
  buffer[0] = L'\0';
  if (!object_) return false;
  result_ = (object_.get()->*get)(buffer, chars);
  if (gpo::Succeeded(result_)) return true;
  buffer[0] = L'\0';
  return false;
}

bool GPObj::Save(int scope) {
  if (!object_) return false;
  result_ = object_->Save(scope == kScopeComputer, true, gpo::kRegistryExtension, gpo::kAdminTemplatesTool);
  return gpo::Succeeded(result_);
}

bool GPObj::SetAllNotConfigured(int) {
  if (!key_.IsOpen()) return false;
  return key_.DelValuesStartingWith(L"") != kFalse;
}

void GPObj::MakeDelName(const wchar_t* name, wchar_t* buffer, std::size_t chars) {
  if (!buffer || chars == 0) return;
  const std::wstring full = DelName(name);
  const std::size_t n = std::min(full.size(), chars - 1);
  std::copy_n(full.begin(), n, buffer);
  buffer[n] = L'\0';
}

const wchar_t* GPObj::Holder(const wchar_t* name, std::wstring& marker) const {
  if (!key_.IsOpen()) return nullptr;
  if (key_.FindValue(name)) return name;
  marker = DelName(name);
  return key_.FindValue(marker.c_str()) ? marker.c_str() : nullptr;
}

bool GPObj::Replace(const wchar_t* name, bool enabled, const std::function<BOOL(const wchar_t*)>& write) {
  if (!key_.IsOpen()) return Fail(err::kInvalidHandle) != kFalse;
  const std::wstring marker = DelName(name);
  const wchar_t* target = enabled ? name : marker.c_str();
  const wchar_t* other = enabled ? marker.c_str() : name;
  if (!key_.DelValue(other)) return false;
  return write(target) != kFalse;
}

DWORD GPObj::GetInt(const wchar_t* name) {
  std::wstring marker;
  const wchar_t* holder = Holder(name, marker);
  return holder ? key_.GetInt(holder, kNotSet) : kNotSet;
}

bool GPObj::SetInt(DWORD value, const wchar_t* name, bool enabled) {
  return Replace(name, enabled, [&](const wchar_t* target) {
    // A number an administrator typed in as text stays text.
    if (!key_.FindValue(target) || IsNumberType(key_.GetValueType(target))) return key_.PutDword(target, value);
    return key_.PutStr(target, std::to_wstring(static_cast<int>(value)).c_str());
  });
}

bool GPObj::GetStr(wchar_t* buffer, std::size_t chars, const wchar_t* name) {
  if (!buffer || chars == 0) return false;
  buffer[0] = L'\0';
  std::wstring marker;
  const wchar_t* holder = Holder(name, marker);
  return holder && key_.GetStr(holder, buffer, chars, L"");
}

DWORD GPObj::GetStrSizeChars(const wchar_t* name) {
  std::wstring marker;
  const wchar_t* holder = Holder(name, marker);
  return holder ? key_.GetStrSize(holder) / 2 : 0;
}

bool GPObj::SetStr(const wchar_t* text, const wchar_t* name, bool enabled) {
  return Replace(name, enabled, [&](const wchar_t* target) { return key_.PutStr(target, text); });
}

DWORD GPObj::GetBinSize(const wchar_t* name, DWORD* type) {
  std::wstring marker;
  const wchar_t* holder = Holder(name, marker);
  return holder ? key_.GetBinSize(holder, type) : 0;
}

bool GPObj::GetBin(void* buffer, DWORD size, const wchar_t* name) {
  std::wstring marker;
  const wchar_t* holder = Holder(name, marker);
  return holder && key_.GetBin(holder, buffer, size);
}

bool GPObj::SetBin(const void* data, DWORD size, const wchar_t* name, bool enabled) {
  return Replace(name, enabled, [&](const wchar_t* target) { return key_.PutBin(target, data, size); });
}

bool GPObj::GetStrList(StrList& list, const wchar_t* subkey) {
  list.clear();
  if (!key_.IsOpen()) return false;
  RegKey listKey(key_, subkey, false);
  if (!listKey.IsOpen()) return false;
  if (listKey.FindValue(L"1")) {
    return ReadNumberedList(listKey, list) != kFalse;
  }
  std::wstring joined;
  if (!listKey.GetStr(kGpoDelVals, &joined)) return true;
  for (std::wstring_view name : SplitText(joined, L'|', true)) list.emplace_back(name);
  return true;
}

bool GPObj::SetStrList(const StrList& list, const wchar_t* subkey, bool enabled) {
  if (!key_.IsOpen()) return false;
  RegKey listKey(key_, subkey, true);
  if (!listKey.IsOpen()) return false;
  if (enabled) {
    // An empty "**delvals." tells group policy to drop whatever else the key holds on apply.
    if (!listKey.DelValuesStartingWith(L"") || !listKey.PutStr(kGpoDelVals, L"")) return false;
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (!listKey.PutStr(std::to_wstring(i + 1).c_str(), list[i].c_str())) return false;
    }
    return true;
  }
  std::wstring joined;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (i) joined += L'|';
    joined += list[i];
  }
  return listKey.DelValuesStartingWith(L"") && listKey.PutStr(kGpoDelVals, joined.c_str());
}

}  // namespace tv
