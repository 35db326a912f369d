// Win32 implementation of the group-policy object seam: the system's IGroupPolicyObject. Its
// section keys are real registry keys, so the default key store serves them.
#include "platform/win32/windows_include.h"
#include "platform/win32/com_scope.h"

#include <objbase.h>
#include <prsht.h>
// gpedit.h comes after the COM and property-sheet headers it builds on.
#include <gpedit.h>

#include <memory>
#include <string>

#include "settings/gpo.h"

namespace tv {
namespace {

// Defined here rather than taken from an import library that mingw does not always ship.
constexpr GUID kClsidGroupPolicyObject = {0xea502722, 0xa23d, 0x11d1, {0xa7, 0xd3, 0x00, 0x00, 0xf8, 0x75, 0x71, 0xe3}};
constexpr GUID kIidGroupPolicyObject = {0xea502723, 0xa23d, 0x11d1, {0xa7, 0xd3, 0x00, 0x00, 0xf8, 0x75, 0x71, 0xe3}};

GUID ToGuid(const gpo::Guid& g) {
  GUID out;
  out.Data1 = g.data1;
  out.Data2 = g.data2;
  out.Data3 = g.data3;
  for (int i = 0; i < 8; ++i) out.Data4[i] = g.data4[i];
  return out;
}

class Win32Gpo final : public GroupPolicyObject {
 public:
  Win32Gpo() = default;
  ~Win32Gpo() override {
    if (object_) object_->Release();
  }

  HRESULT Create() {
    void* raw = nullptr;
    const HRESULT hr = ::CoCreateInstance(kClsidGroupPolicyObject, nullptr, CLSCTX_INPROC_SERVER,
                                          kIidGroupPolicyObject, &raw);
    if (SUCCEEDED(hr)) object_ = static_cast<IGroupPolicyObject*>(raw);
    return hr;
  }

  HResult OpenDSGPO(const wchar_t* path, DWORD flags) override {
    if (!path) return E_INVALIDARG;
    // The interface takes a non-const path it does not change.
    std::wstring copy(path);
    return object_->OpenDSGPO(copy.data(), flags);
  }

  HResult GetType(gpo::Type* type) override {
    if (!type) return E_INVALIDARG;
    GROUP_POLICY_OBJECT_TYPE t = GPOTypeLocal;
    const HRESULT hr = object_->GetType(&t);
    if (SUCCEEDED(hr)) *type = static_cast<gpo::Type>(t);
    return hr;
  }

  HResult GetRegistryKey(DWORD section, RegHandle* key) override {
    if (!key) return E_INVALIDARG;
    HKEY hkey = nullptr;
    const HRESULT hr = object_->GetRegistryKey(section, &hkey);
    if (SUCCEEDED(hr)) *key = static_cast<RegHandle>(reinterpret_cast<std::uintptr_t>(hkey));
    return hr;
  }

  // Win32KeyStore's handles are HKEYs, so the GPO's own keys work through it unchanged.
  KeyStore& Store() override { return DefaultKeyStore(); }

  HResult GetName(wchar_t* buffer, int chars) override {
    if (!buffer || chars <= 0) return E_INVALIDARG;
    return object_->GetName(buffer, chars);
  }

  HResult GetDisplayName(wchar_t* buffer, int chars) override {
    if (!buffer || chars <= 0) return E_INVALIDARG;
    return object_->GetDisplayName(buffer, chars);
  }

  HResult Save(bool machine, bool add, const gpo::Guid& extension, const gpo::Guid& tool) override {
    GUID ext = ToGuid(extension);
    GUID snapin = ToGuid(tool);
    return object_->Save(machine ? TRUE : FALSE, add ? TRUE : FALSE, &ext, &snapin);
  }

 private:
  ComScope com_;  // first in, last out: COM outlives the interface
  IGroupPolicyObject* object_ = nullptr;
};

class Win32GpoFactory final : public GpoFactory {
 public:
  HResult Create(std::unique_ptr<GroupPolicyObject>* out) override {
    if (!out) return E_INVALIDARG;
    out->reset();
    auto object = std::make_unique<Win32Gpo>();
    const HRESULT hr = object->Create();
    if (FAILED(hr)) return hr;
    *out = std::move(object);
    return hr;
  }
};

}  // namespace

GpoFactory& DefaultGpoFactory() {
  static Win32GpoFactory factory;
  return factory;
}

}  // namespace tv
