#include "settings/my_opts.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "foundation/string_table.h"
#include "platform/last_error.h"

namespace tv {
namespace {

constexpr int kBuiltInMessage = 100;
constexpr int kBuiltInMessageLocked = 101;

// Where the record's lists live, below its key.
constexpr const wchar_t* kApplyToKey = L"ApplyTo";
constexpr const wchar_t* kExcludeKey = L"Exclude";
constexpr const wchar_t* kKeepAliveProcessesKey = L"KeepAliveProcesses";

Accounts& SystemAccounts() {
  static const std::unique_ptr<Accounts> accounts = CreateSystemAccounts();
  return *accounts;
}

void CopyText(wchar_t* to, std::size_t chars, const wchar_t* from) {
  std::size_t n = 0;
  if (from) {
    while (n + 1 < chars && from[n]) {
      to[n] = from[n];
      ++n;
    }
  }
  to[n] = L'\0';
}

bool SameSet(const StrList& a, const StrList& b) {
  return std::set<std::wstring>(a.begin(), a.end()) == std::set<std::wstring>(b.begin(), b.end());
}

}  // namespace

MyOpts::MyOpts(KeyStore& store) : MyOpts(MyOptsServices{&store, nullptr, nullptr, nullptr}) {}

MyOpts::MyOpts(const MyOptsServices& services)
    : BoolOpts(L"Options", services.store ? *services.store : DefaultKeyStore()), services_(services) {
  services_.store = &KeyStoreRef();
  if (!services_.accounts) services_.accounts = &SystemAccounts();
  if (!services_.gpoFactory) services_.gpoFactory = &DefaultGpoFactory();
  if (!services_.dataFolderSource) services_.dataFolderSource = GetCommonAppDataFolder;
}

MyOpts::~MyOpts() = default;

// ---- defaults, copies, comparison

void MyOpts::ResetLists() {
  ApplyTo.clear();
  Exclude.clear();
  Accounts& accounts = *services_.accounts;
  std::wstring name;
  for (WellKnownGroup group : {WellKnownGroup::kUsers, WellKnownGroup::kGuests, WellKnownGroup::kRemoteDesktopUsers}) {
    if (accounts.GetWellKnownGroupName(group, name) && !name.empty()) ApplyTo.push_back(name);
  }
  if (accounts.GetWellKnownGroupName(WellKnownGroup::kAdministrators, name) && !name.empty()) Exclude.push_back(name);
}

void MyOpts::Reset() {
  BoolOpts::Reset();
  gpoResult = 0;
  policyInForce = 0;
  policyState = kPolicyNotConfigured;
  Enable = 0;
  Timeout = 10;
  MessageTimeout = 5;
  LogoffStale = 0;
  LogoffStaleCount = 5;
  KeepLastActiveUser = 0;
  FullScreen = 0;
  MonitorKB = 1;
  MonitorMouse = 1;
  MonitorCPU = 0;
  PercentCPU = 25;
  MessageText[0] = L'\0';
  MessageTextIfLocked[0] = L'\0';
  UseSchedule = 0;
  schedule_.Set(nullptr);
  // The flag promises that loads leave the lists alone, and every load starts with a Reset.
  if (!skipAccountLists) ResetLists();
  Shutdown = 0;
  ShutdownTimeout = 10;
  ShutdownAction = kActionSleep;
  UpdateSource.clear();
  KeepAliveAudio = 0;
  KeepAlivePresentation = 0;
  KeepAliveProcesses.clear();
  IdleFromFirstInput = 0;
}

void MyOpts::CopyFrom(const CSOptsLoader& other) {
  BoolOpts::CopyFrom(other);
  const MyOpts* o = dynamic_cast<const MyOpts*>(&other);
  if (!o || o == this) return;
  policyState = o->policyState;
  Enable = o->Enable;
  Timeout = o->Timeout;
  MessageTimeout = o->MessageTimeout;
  LogoffStale = o->LogoffStale;
  LogoffStaleCount = o->LogoffStaleCount;
  KeepLastActiveUser = o->KeepLastActiveUser;
  FullScreen = o->FullScreen;
  MonitorKB = o->MonitorKB;
  MonitorMouse = o->MonitorMouse;
  MonitorCPU = o->MonitorCPU;
  PercentCPU = o->PercentCPU;
  CopyText(MessageText, kMessageTextChars, o->MessageText);
  CopyText(MessageTextIfLocked, kMessageTextChars, o->MessageTextIfLocked);
  UseSchedule = o->UseSchedule;
  schedule_ = o->schedule_;
  ApplyTo = o->ApplyTo;
  Exclude = o->Exclude;
  Shutdown = o->Shutdown;
  ShutdownTimeout = o->ShutdownTimeout;
  ShutdownAction = o->ShutdownAction;
  UpdateSource = o->UpdateSource;
  KeepAliveAudio = o->KeepAliveAudio;
  KeepAlivePresentation = o->KeepAlivePresentation;
  KeepAliveProcesses = o->KeepAliveProcesses;
  IdleFromFirstInput = o->IdleFromFirstInput;
}

void MyOpts::CopyGPOFrom(const MyOpts& other) {
  if (&other == this) return;
  CopyText(gpoPath, kGpoPathChars, other.gpoPath);
  CopyText(gpoDisplayName, kGpoPathChars, other.gpoDisplayName);
  policyInForce = other.policyInForce;
}

int MyOpts::IsDifferent(const CSOptsLoader& other) const {
  if (BoolOpts::IsDifferent(other)) return 1;
  const MyOpts* o = dynamic_cast<const MyOpts*>(&other);
  if (!o) return 0;
  // The order is the utility's: the first difference decides, cheap fields first.
  if (policyState != o->policyState || Enable != o->Enable || Timeout != o->Timeout ||
      MessageTimeout != o->MessageTimeout || KeepLastActiveUser != o->KeepLastActiveUser ||
      LogoffStale != o->LogoffStale || LogoffStaleCount != o->LogoffStaleCount || FullScreen != o->FullScreen ||
      MonitorKB != o->MonitorKB || MonitorMouse != o->MonitorMouse || MonitorCPU != o->MonitorCPU ||
      PercentCPU != o->PercentCPU || Shutdown != o->Shutdown || ShutdownTimeout != o->ShutdownTimeout ||
      ShutdownAction != o->ShutdownAction || UseSchedule != o->UseSchedule || KeepAliveAudio != o->KeepAliveAudio ||
      KeepAlivePresentation != o->KeepAlivePresentation || IdleFromFirstInput != o->IdleFromFirstInput) {
    return 1;
  }
  if (std::wcscmp(GetSchedule(), o->GetSchedule()) != 0) return 1;
  if (std::wcscmp(MessageText, o->MessageText) != 0) return 1;
  if (std::wcscmp(MessageTextIfLocked, o->MessageTextIfLocked) != 0) return 1;
  if (UpdateSource != o->UpdateSource) return 1;
  if (!SameSet(ApplyTo, o->ApplyTo) || !SameSet(Exclude, o->Exclude)) return 1;
  if (!SameSet(KeepAliveProcesses, o->KeepAliveProcesses)) return 1;
  return 0;
}

// ---- the registry form

BOOL MyOpts::Load() {
  Reset();
  RegKey key(GetRegKeyName(), false, KeyStoreRef());
  if (key.IsOpen()) return DoLoad(key);
  // Group policy reaches computers on which the utility never wrote the product's key.
  return OnLoad(key);
}

BOOL MyOpts::OnLoad(RegKey&) {
  if (gpoPath[0] && !useTempKey) return LoadFromGpo();
  return ReadPolicy();
}

BOOL MyOpts::OnStore(RegKey& key) {
  if (gpoPath[0] && !useTempKey) return StoreToGpo();
  // The key handed over is the one WritePolicy would open unless a plain Store runs with
  // useTempKey set (or StoreTemp without it): then open the right one.
  if (static_cast<bool>(useTempKey) != InTempTransfer()) return WritePolicy();
  WriteValues(key, useTempKey != 0);
  return kTrue;
}

BOOL MyOpts::ReadPolicy() {
  KeyStore& store = KeyStoreRef();
  RegKey key(store);
  Source source = Source::kLocal;
  if (useTempKey) {
    key.Open(TempPath().c_str(), false);
    source = Source::kTemp;
  } else {
    RegKey policy(kComputerPolicyKey, false, store);
    // A policy key without "Enable" is not a policy: group policy left it behind or it was
    // made by hand, and the local settings stay in force.
    if (policy.IsOpen() && policy.FindValue(L"Enable")) {
      key = std::move(policy);
      policyInForce = 1;
    } else {
      key.Open(GetRegKeyName(), false);
      policyInForce = 0;
    }
  }
  if (!key.IsOpen()) return kFalse;
  return ReadValues(key, source);
}

BOOL MyOpts::ReadValues(const RegKey& key, Source source) {
  // Every value is tried even after a failure, so that a load gets as much as the registry gives.
  ErrorCode failure = err::kSuccess;
  auto failed = [&failure]() {
    if (failure == err::kSuccess) failure = GetLastErrorCode();
  };
  auto read = [&](const wchar_t* name, auto& field) {
    using Field = std::remove_reference_t<decltype(field)>;
    DWORD value = static_cast<DWORD>(field);
    if (!ReadRegNumber(key, name, value)) failed();
    field = static_cast<Field>(value);
  };
  read(L"Enable", Enable);
  if (source == Source::kTemp) {
    DWORD notConfigured = kNotSet;
    read(L"NotConfigured", notConfigured);
    if (notConfigured == 1) {
      policyState = kPolicyNotConfigured;
    } else {
      policyState = Enable > 0 ? kPolicyEnabled : kPolicyDisabled;
    }
  }
  read(L"LogoffStale", LogoffStale);
  read(L"LogoffStaleCount", LogoffStaleCount);
  read(L"KeepLastActiveUser", KeepLastActiveUser);
  read(L"FullScreen", FullScreen);
  read(L"MonitorKB", MonitorKB);
  read(L"MonitorMouse", MonitorMouse);
  read(L"MonitorCPU", MonitorCPU);
  read(L"PercentCPU", PercentCPU);
  read(L"Timeout", Timeout);
  read(L"MessageTimeout", MessageTimeout);
  read(L"Shutdown", Shutdown);
  read(L"ShutdownTimeout", ShutdownTimeout);
  read(L"ShutdownAction", ShutdownAction);
  read(L"UseSchedule", UseSchedule);
  read(L"KeepAliveAudio", KeepAliveAudio);
  read(L"KeepAlivePresentation", KeepAlivePresentation);
  read(L"IdleFromFirstInput", IdleFromFirstInput);
  if (ShutdownAction < kActionSleep || ShutdownAction > kActionShutdown) ShutdownAction = kActionSleep;
  if (source == Source::kGpo) {
    // A GPO is edited with other tools too; the local key is trusted as the utility wrote it.
    if (LogoffStaleCount < 1 || LogoffStaleCount > 9999) LogoffStaleCount = 5;
    if (Timeout < 1 || Timeout > 9999) Timeout = 10;
    if (MessageTimeout > 9999) MessageTimeout = 5;
    if (ShutdownTimeout < 1 || ShutdownTimeout > 9999) ShutdownTimeout = 10;
  }

  std::wstring schedule;
  if (key.GetStr(L"Schedule", &schedule)) {
    if (!schedule.empty()) SetSchedule(schedule.c_str());
  } else if (IsRegReadFailure(GetLastErrorCode())) {
    failed();
  }
  for (wchar_t* text : {MessageText, MessageTextIfLocked}) {
    const wchar_t* name = text == MessageText ? L"MessageText" : L"MessageTextIfLocked";
    // A text that does not fit reads as empty, as a missing one does.
    if (!key.GetStr(name, text, kMessageTextChars, L"") && IsRegReadFailure(GetLastErrorCode())) failed();
  }
  {
    std::wstring source;
    if (key.GetStr(kUpdateSourceValue, &source)) {
      // As with the texts, one that does not fit reads as none.
      UpdateSource = source.size() < kUpdateSourceChars ? source : std::wstring();
    } else if (IsRegReadFailure(GetLastErrorCode())) {
      failed();
    } else {
      UpdateSource.clear();
    }
  }

  if (!skipAccountLists) {
    for (auto [name, list] : {std::pair{kApplyToKey, &ApplyTo}, std::pair{kExcludeKey, &Exclude}}) {
      RegKey listKey(key, name, false);
      if (listKey.IsOpen()) {
        if (!ReadNumberedList(listKey, *list)) failed();
      } else {
        // A key without the subkey means an empty list: the defaults are for a computer never set up.
        if (GetLastErrorCode() != err::kFileNotFound) failed();
        list->clear();
      }
    }
  }
  // Not an account list: skipAccountLists leaves it to be read. A missing subkey is no program.
  {
    RegKey listKey(key, kKeepAliveProcessesKey, false);
    if (listKey.IsOpen()) {
      if (!ReadNumberedList(listKey, KeepAliveProcesses)) failed();
    } else {
      if (GetLastErrorCode() != err::kFileNotFound) failed();
      KeepAliveProcesses.clear();
    }
  }
  if (failure != err::kSuccess) return Fail(failure);
  return kTrue;
}

BOOL MyOpts::WritePolicy() {
  RegKey key((useTempKey ? TempPath() : std::wstring(GetRegKeyName())).c_str(), true, KeyStoreRef());
  if (!key.IsOpen()) return kFalse;
  WriteValues(key, useTempKey != 0);
  return kTrue;
}

BOOL MyOpts::StoreMissingDefaults() {
  MyOpts defaults(services_);
  defaults.Reset();
  RegKey key(GetRegKeyName(), true, KeyStoreRef());
  if (!key.IsOpen()) return kFalse;
  ErrorCode failure = err::kSuccess;
  auto check = [&failure](BOOL ok) {
    if (!ok && failure == err::kSuccess) failure = GetLastErrorCode();
  };
  if (!key.FindValue(GetRegValueName().c_str())) check(key.PutDword(GetRegValueName().c_str(), defaults.GetAll()));
  for (const auto& [name, value] : defaults.NumberValues()) {
    if (!key.FindValue(name)) check(key.PutDword(name, value));
  }
  for (const auto& [name, text] : {std::pair{L"Schedule", defaults.GetSchedule()},
                                   std::pair{L"MessageText", static_cast<const wchar_t*>(defaults.MessageText)},
                                   std::pair{L"MessageTextIfLocked",
                                             static_cast<const wchar_t*>(defaults.MessageTextIfLocked)},
                                   std::pair{kUpdateSourceValue, defaults.UpdateSource.c_str()}}) {
    if (!key.FindValue(name)) check(key.PutStr(name, text));
  }
  for (auto [name, list] : {std::pair{kApplyToKey, &defaults.ApplyTo}, std::pair{kExcludeKey, &defaults.Exclude}}) {
    // Even an empty list subkey is a choice someone made; one that cannot be read is not
    // overwritten either.
    if (RegKey(key, name, false).IsOpen()) continue;
    if (GetLastErrorCode() != err::kFileNotFound) {
      check(kFalse);
      continue;
    }
    RegKey listKey(key, name, true);
    if (!listKey.IsOpen()) {
      check(kFalse);
      continue;
    }
    check(WriteNumberedList(listKey, *list));
  }
  if (failure != err::kSuccess) return Fail(failure);
  SetLastErrorCode(err::kSuccess);
  return kTrue;
}

std::array<MyOpts::NamedNumber, 18> MyOpts::NumberValues() const {
  return {{
      {L"Enable", static_cast<DWORD>(Enable)},
      {L"Timeout", Timeout},
      {L"MessageTimeout", MessageTimeout},
      {L"LogoffStale", static_cast<DWORD>(LogoffStale)},
      {L"LogoffStaleCount", LogoffStaleCount},
      {L"KeepLastActiveUser", static_cast<DWORD>(KeepLastActiveUser)},
      {L"FullScreen", static_cast<DWORD>(FullScreen)},
      {L"MonitorKB", static_cast<DWORD>(MonitorKB)},
      {L"MonitorMouse", static_cast<DWORD>(MonitorMouse)},
      {L"MonitorCPU", static_cast<DWORD>(MonitorCPU)},
      {L"PercentCPU", PercentCPU},
      {L"Shutdown", static_cast<DWORD>(Shutdown)},
      {L"ShutdownTimeout", ShutdownTimeout},
      {L"ShutdownAction", ShutdownAction},
      {L"UseSchedule", static_cast<DWORD>(UseSchedule)},
      {L"KeepAliveAudio", static_cast<DWORD>(KeepAliveAudio)},
      {L"KeepAlivePresentation", static_cast<DWORD>(KeepAlivePresentation)},
      {L"IdleFromFirstInput", static_cast<DWORD>(IdleFromFirstInput)},
  }};
}

void MyOpts::WriteValues(RegKey& key, bool tempForm) {
  // Single failed values are not reported: the utility reads the record back and compares.
  if (tempForm) (void)key.PutDword(L"NotConfigured", policyState == kPolicyNotConfigured ? 1 : 0);
  for (const auto& [name, value] : NumberValues()) (void)key.PutDword(name, value);
  (void)key.PutStr(L"Schedule", GetSchedule());
  (void)key.PutStr(L"MessageText", MessageText);
  (void)key.PutStr(L"MessageTextIfLocked", MessageTextIfLocked);
  (void)key.PutStr(kUpdateSourceValue, UpdateSource.c_str());
  for (auto [name, list] : {std::pair{kApplyToKey, &ApplyTo}, std::pair{kExcludeKey, &Exclude},
                            std::pair{kKeepAliveProcessesKey, &KeepAliveProcesses}}) {
    RegKey listKey(key, name, true);
    if (listKey.IsOpen()) (void)WriteNumberedList(listKey, *list);
  }
}

// ---- power action

bool MyOpts::CanDoShutdownAction(DWORD action, Power* power) {
  if (action == kActionShutdown) return true;
  if (action != kActionSleep && action != kActionHibernate) return false;
  std::unique_ptr<Power> own;
  if (!power) {
    own = CreateSystemPower();
    power = own.get();
  }
  PowerCapabilities caps;
  if (!power || !power->GetCapabilities(caps)) return false;
  return action == kActionSleep ? caps.canSleep : caps.canHibernate;
}

const wchar_t* MyOpts::GetShutdownActionText(DWORD action) {
  switch (action) {
    case kActionSleep: return L"Sleep";
    case kActionHibernate: return L"Hibernate";
    case kActionShutdown: return L"Shutdown";
    default: return L"";
  }
}

// ---- the warning text

void MyOpts::FormatUserMsg(wchar_t* out, std::size_t outChars, BOOL locked, int minutes, int seconds) const {
  if (!out || outChars == 0) return;
  const wchar_t* text = locked ? MessageTextIfLocked : MessageText;
  if (!text[0]) text = LoadStr(locked ? kBuiltInMessageLocked : kBuiltInMessage);
  // The placeholder reads "minute(s)" in the built-in texts but counts down as minutes:seconds
  // on purpose, in custom texts too.
  wchar_t left[32];
  std::swprintf(left, std::size(left), L"%d:%02d", minutes, seconds);
  StrReplace(out, outChars, text, L"%d", left);
}

std::size_t StrReplace(wchar_t* destination, std::size_t capacity, const wchar_t* source, const wchar_t* find,
                       const wchar_t* replacement) {
  const std::wstring_view src = source ? source : L"";
  const std::wstring_view what = find ? find : L"";
  const std::wstring_view with = replacement ? replacement : L"";
  std::wstring result;
  result.reserve(src.size());
  std::size_t lineStart = 0;  // in `result`
  std::size_t pos = 0;
  auto append = [&](std::wstring_view part) {
    for (wchar_t c : part) {
      result.push_back(c);
      if (c == L'\n') lineStart = result.size();
    }
  };
  while (!what.empty()) {
    const std::size_t match = src.find(what, pos);
    if (match == std::wstring_view::npos) break;
    append(src.substr(pos, match - pos));
    const std::size_t indent = result.size() - lineStart;
    for (std::size_t i = 0; i < with.size(); ++i) {
      append(with.substr(i, 1));
      // Continuation lines line up under the start of the replacement.
      if (with[i] == L'\n' && i + 1 < with.size()) result.append(indent, L' ');
    }
    pos = match + what.size();
  }
  append(src.substr(pos));
  if (destination && capacity > 0) {
    const std::size_t n = std::min(result.size(), capacity - 1);
    std::copy_n(result.begin(), n, destination);
    destination[n] = L'\0';
  }
  return result.size() + 1;
}

}  // namespace tv
