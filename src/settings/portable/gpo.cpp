// Portable group-policy objects (both toolchains): a GPO directory in a key store; and, off
// Windows, the default factory, which has no group-policy object to offer.
#include "settings/portable/gpo.h"

#include <algorithm>
#include <cwchar>

#include "platform/last_error.h"
#include "settings/reg_key.h"

namespace tv {
namespace {

// HRESULT_FROM_WIN32(ERROR_DS_NO_SUCH_OBJECT): what opening a path that names no GPO answers.
constexpr HResult kNoSuchObject = static_cast<HResult>(0x80072030u);
// E_UNEXPECTED: a call that needs an open GPO on one that is not open.
constexpr HResult kNotOpen = static_cast<HResult>(0x8000FFFFu);

std::wstring Fold(const std::wstring& path) {
  std::wstring folded = path;
  for (wchar_t& c : folded) c = RegUpcase(c);
  return folded;
}

const wchar_t* SectionName(DWORD section) { return section == gpo::kSectionMachine ? L"Machine" : L"User"; }

HResult CopyCut(const std::wstring& text, wchar_t* buffer, int chars) {
  if (!buffer || chars <= 0) return gpo::kInvalidArg;
  const std::size_t n = std::min(text.size(), static_cast<std::size_t>(chars) - 1);
  std::copy_n(text.begin(), n, buffer);
  buffer[n] = L'\0';
  return gpo::kOk;
}

}  // namespace

// One object of the directory: its own in-memory registry holds the working copy of the
// sections, as the system's object keeps them in a private hive until Save.
class SimulatedGpoDirectory::Object final : public GroupPolicyObject {
 public:
  explicit Object(SimulatedGpoDirectory& directory) : directory_(directory) {}
  ~Object() override { directory_.ObjectGone(); }

  HResult OpenDSGPO(const wchar_t* path, DWORD flags) override {
    if (!path) return gpo::kInvalidArg;
    if (HResult hr = directory_.Fault(Op::kOpen)) return hr;
    Entry entry;
    if (!directory_.Find(path, &entry)) return kNoSuchObject;
    working_.Clear();
    if (flags & gpo::kOpenLoadRegistry) {
      for (DWORD section : {gpo::kSectionUser, gpo::kSectionMachine}) {
        RegKey saved(SectionPath(entry.name, section).c_str(), false, directory_.Store());
        if (!saved.IsOpen()) continue;
        RegKey copy(RegRoot::kLocalMachine, SectionName(section), true, working_);
        if (!copy.IsOpen() || !saved.CopyTo(copy)) return gpo::kFail;
      }
    }
    entry_ = entry;
    open_ = true;
    return gpo::kOk;
  }

  HResult GetType(gpo::Type* type) override {
    if (!type) return gpo::kInvalidArg;
    if (HResult hr = directory_.Fault(Op::kGetType)) return hr;
    if (!open_) return kNotOpen;
    *type = entry_.type;
    return gpo::kOk;
  }

  HResult GetRegistryKey(DWORD section, RegHandle* key) override {
    if (!key || (section != gpo::kSectionUser && section != gpo::kSectionMachine)) return gpo::kInvalidArg;
    if (HResult hr = directory_.Fault(Op::kGetRegistryKey)) return hr;
    if (!open_) return kNotOpen;
    RegHandle opened{};
    if (!working_.CreateKey(working_.Root(RegRoot::kLocalMachine), SectionName(section), reg::kKeyAllAccess, &opened,
                            nullptr)) {
      return gpo::kFail;
    }
    *key = opened;
    return gpo::kOk;
  }

  KeyStore& Store() override { return working_; }

  HResult GetName(wchar_t* buffer, int chars) override {
    if (HResult hr = directory_.Fault(Op::kGetName)) return hr;
    if (!open_) return kNotOpen;
    return CopyCut(entry_.name, buffer, chars);
  }

  HResult GetDisplayName(wchar_t* buffer, int chars) override {
    if (HResult hr = directory_.Fault(Op::kGetDisplayName)) return hr;
    if (!open_) return kNotOpen;
    return CopyCut(entry_.displayName, buffer, chars);
  }

  HResult Save(bool machine, bool add, const gpo::Guid& extension, const gpo::Guid& tool) override {
    if (HResult hr = directory_.Fault(Op::kSave)) return hr;
    if (!open_) return kNotOpen;
    const DWORD section = machine ? gpo::kSectionMachine : gpo::kSectionUser;
    RegKey saved(SectionPath(entry_.name, section).c_str(), true, directory_.Store());
    if (!saved.IsOpen() || !saved.DelAll()) return gpo::kFail;
    RegKey working(RegRoot::kLocalMachine, SectionName(section), false, working_);
    if (working.IsOpen() && !working.CopyTo(saved)) return gpo::kFail;
    directory_.RecordSave({entry_.name, machine, add, extension, tool});
    return gpo::kOk;
  }

 private:
  SimulatedGpoDirectory& directory_;
  MemKeyStore working_;
  Entry entry_{};
  bool open_ = false;
};

SimulatedGpoDirectory::SimulatedGpoDirectory(KeyStore& store) : store_(&store) {}

SimulatedGpoDirectory::~SimulatedGpoDirectory() = default;

void SimulatedGpoDirectory::AddGpo(const std::wstring& path, const std::wstring& name, const std::wstring& displayName,
                                   gpo::Type type) {
  std::lock_guard<std::mutex> lock(mutex_);
  gpos_[Fold(path)] = Entry{name, displayName, type};
}

std::wstring SimulatedGpoDirectory::SectionPath(const std::wstring& name, DWORD section) {
  return L"HKLM\\GPO\\" + name + L"\\" + SectionName(section);
}

void SimulatedGpoDirectory::FailOp(Op op, HResult hr, int times, int skip) {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Add(static_cast<int>(op), static_cast<ErrorCode>(hr), times, skip);
}

void SimulatedGpoDirectory::ClearFaults() {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.Clear();
}

std::vector<SimulatedGpoDirectory::SaveCall> SimulatedGpoDirectory::Saves() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return saves_;
}

int SimulatedGpoDirectory::LiveObjects() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return live_;
}

HResult SimulatedGpoDirectory::Create(std::unique_ptr<GroupPolicyObject>* out) {
  if (!out) return gpo::kInvalidArg;
  if (HResult hr = Fault(Op::kCreate)) return hr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ++live_;
  }
  *out = std::make_unique<Object>(*this);
  return gpo::kOk;
}

HResult SimulatedGpoDirectory::Fault(Op op) {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<HResult>(faults_.Next(static_cast<int>(op)));
}

bool SimulatedGpoDirectory::Find(const std::wstring& path, Entry* entry) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = gpos_.find(Fold(path));
  if (it == gpos_.end()) return false;
  *entry = it->second;
  return true;
}

void SimulatedGpoDirectory::RecordSave(const SaveCall& call) {
  std::lock_guard<std::mutex> lock(mutex_);
  saves_.push_back(call);
}

void SimulatedGpoDirectory::ObjectGone() {
  std::lock_guard<std::mutex> lock(mutex_);
  --live_;
}

// ---- a factory without objects

namespace {

class UnavailableFactory final : public GpoFactory {
 public:
  HResult Create(std::unique_ptr<GroupPolicyObject>* out) override {
    if (out) out->reset();
    return gpo::kClassNotRegistered;
  }
};

}  // namespace

GpoFactory& UnavailableGpoFactory() {
  static UnavailableFactory factory;
  return factory;
}

#ifndef _WIN32
GpoFactory& DefaultGpoFactory() { return UnavailableGpoFactory(); }
#endif

}  // namespace tv
