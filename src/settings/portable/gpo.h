// A directory of group-policy objects kept in a key store, standing in for the domain's GPOs in
// tests and the simulator. It behaves as the system's object does where the settings can tell:
// opening with kOpenLoadRegistry gives a private working copy of the GPO's registry sections,
// edits reach the directory only through Save (one section at a time), an unknown path fails to
// open, and every operation can be made to fail on command with a chosen HRESULT.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/portable/fault_plan.h"
#include "platform/registry.h"
#include "settings/gpo.h"

namespace tv {

class SimulatedGpoDirectory final : public GpoFactory {
 public:
  enum class Op { kCreate, kOpen, kGetType, kGetRegistryKey, kGetName, kGetDisplayName, kSave };

  // What one Save asked for.
  struct SaveCall {
    std::wstring name;  // the GPO's name
    bool machine;
    bool add;
    gpo::Guid extension;
    gpo::Guid tool;
  };

  // The directory's saved sections live in `store` below "HKLM\GPO\<name>\Machine" and
  // "...\User".
  explicit SimulatedGpoDirectory(KeyStore& store);
  SimulatedGpoDirectory(const SimulatedGpoDirectory&) = delete;
  SimulatedGpoDirectory& operator=(const SimulatedGpoDirectory&) = delete;
  ~SimulatedGpoDirectory() override;

  // Makes a GPO reachable at directory path `path`.
  void AddGpo(const std::wstring& path, const std::wstring& name, const std::wstring& displayName,
              gpo::Type type = gpo::Type::kDS);

  // Full registry path ("HKLM\GPO\<name>\Machine") of a GPO's saved section in the store, to
  // fill or inspect it directly.
  static std::wstring SectionPath(const std::wstring& name, DWORD section);
  KeyStore& Store() const { return *store_; }

  // The HRESULT `hr` for calls of `op`: the first `skip` pass, then `times` fail (kFailAlways:
  // all of them).
  void FailOp(Op op, HResult hr, int times = 1, int skip = 0);
  void ClearFaults();

  std::vector<SaveCall> Saves() const;
  // Objects made and not yet destroyed: a leaked object shows here.
  int LiveObjects() const;

  HResult Create(std::unique_ptr<GroupPolicyObject>* out) override;

 private:
  class Object;
  struct Entry {
    std::wstring name;
    std::wstring displayName;
    gpo::Type type;
  };

  // The error an operation must fail with (0 to proceed).
  HResult Fault(Op op);
  bool Find(const std::wstring& path, Entry* entry) const;
  void RecordSave(const SaveCall& call);
  void ObjectGone();

  mutable std::mutex mutex_;
  KeyStore* store_;
  std::map<std::wstring, Entry> gpos_;
  std::vector<SaveCall> saves_;
  FaultPlan faults_;
  int live_ = 0;
};

}  // namespace tv
