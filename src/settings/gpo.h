// The group-policy object seam: the few operations of the system's group-policy object that the
// settings need to edit a domain GPO (open it, check its type, reach a section's registry key,
// its names, save). The real one is IGroupPolicyObject on Windows; a GPO directory kept in a
// key store (settings/portable/gpo.h) stands in for it in tests and the simulator. Results are
// HRESULTs, as the system's object answers them.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/registry.h"
#include "platform/types.h"

namespace tv {

using HResult = std::int32_t;

namespace gpo {
inline constexpr HResult kOk = 0;
inline constexpr HResult kFalse = 1;                                           // S_FALSE
inline constexpr HResult kFail = static_cast<HResult>(0x80004005u);            // E_FAIL
inline constexpr HResult kInvalidArg = static_cast<HResult>(0x80070057u);      // E_INVALIDARG
inline constexpr HResult kPathNotFound = static_cast<HResult>(0x80070003u);    // HRESULT of ERROR_PATH_NOT_FOUND
inline constexpr HResult kClassNotRegistered = static_cast<HResult>(0x80040154u);  // REGDB_E_CLASSNOTREG

// OpenDSGPO flags.
inline constexpr DWORD kOpenLoadRegistry = 0x1;
inline constexpr DWORD kOpenReadOnly = 0x2;

// Sections whose registry key GetRegistryKey answers.
inline constexpr DWORD kSectionUser = 1;
inline constexpr DWORD kSectionMachine = 2;

// What GetType reports.
enum class Type { kLocal = 0, kRemote = 1, kDS = 2 };

// A GUID as Save takes it.
struct Guid {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
};

// The registry client-side extension and the administrative-templates tool that Save names.
inline constexpr Guid kRegistryExtension = {0x35378EAC, 0x683F, 0x11D2, {0xA8, 0x9A, 0x00, 0xC0, 0x4F, 0xBB, 0xCF, 0xA2}};
inline constexpr Guid kAdminTemplatesTool = {0x0F6B957E, 0x509E, 0x11D1, {0xA7, 0xCC, 0x00, 0x00, 0xF8, 0x75, 0x71, 0xE3}};

inline bool Succeeded(HResult hr) { return hr >= 0; }
}  // namespace gpo

// One group-policy object, opened or not yet.
class GroupPolicyObject {
 public:
  virtual ~GroupPolicyObject() = default;

  // Opens the domain GPO at directory path `path` (an "LDAP://..." path).
  virtual HResult OpenDSGPO(const wchar_t* path, DWORD flags) = 0;
  virtual HResult GetType(gpo::Type* type) = 0;
  // The registry key of a section: a key of Store(), owned by the caller, who closes it.
  virtual HResult GetRegistryKey(DWORD section, RegHandle* key) = 0;
  // The store the section keys belong to.
  virtual KeyStore& Store() = 0;
  // The GPO's name (its GUID text) and its friendly name, cut to `chars` with the terminator.
  virtual HResult GetName(wchar_t* buffer, int chars) = 0;
  virtual HResult GetDisplayName(wchar_t* buffer, int chars) = 0;
  // Writes the changes of one section back into the GPO and tells group policy which extension
  // and tool made them.
  virtual HResult Save(bool machine, bool add, const gpo::Guid& extension, const gpo::Guid& tool) = 0;
};

// Makes group-policy objects.
class GpoFactory {
 public:
  virtual ~GpoFactory() = default;
  // A new, unopened object in `out`; the creation's HRESULT (out stays empty on failure).
  virtual HResult Create(std::unique_ptr<GroupPolicyObject>* out) = 0;
};

// A factory that never has an object: every Create answers REGDB_E_CLASSNOTREG.
GpoFactory& UnavailableGpoFactory();

// The system's group-policy object on Windows; UnavailableGpoFactory elsewhere.
GpoFactory& DefaultGpoFactory();

}  // namespace tv
