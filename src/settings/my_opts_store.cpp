// The settings record's ways in and out besides the local key: a bound domain GPO (with its
// cache file in the data folder) and the settings file, both through the "Temp" subkey.
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/last_error.h"
#include "foundation/text_file.h"
#include "settings/gp_obj.h"
#include "settings/my_opts.h"
#include "settings/settings_file.h"

namespace tv {
namespace {

// The cache file keeps what a GPO cannot: the settings of a policy that is switched off.
constexpr const wchar_t* kGpoCacheFolder = L"GPOcache";

void CopyCut(const std::wstring& text, wchar_t* buffer, std::size_t chars) {
  const std::size_t n = std::min(text.size(), chars - 1);
  std::copy_n(text.begin(), n, buffer);
  buffer[n] = L'\0';
}

BOOL CreateFolders(const std::wstring& folder) {
  try {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(folder), error);
    if (error) return Fail(err::kPathNotFound);
    return kTrue;
  } catch (...) {  // a name the file system cannot spell
    return Fail(err::kInvalidName);
  }
}

}  // namespace

const wchar_t* MyOpts::GetGPOStoragePath(GPObj& gpo, BOOL create, CommonFolderSource source) {
  static wchar_t path[kGpoPathChars];
  path[0] = L'\0';
  wchar_t folder[kDataFolderChars];
  wchar_t name[kGpoPathChars];
  if (!GetDataFolder(folder, source ? source : GetCommonAppDataFolder)) return path;
  if (!gpo.GetName(name, static_cast<int>(kGpoPathChars)) || !name[0]) return path;
  std::wstring cacheFolder = std::wstring(folder) + L"\\" + kGpoCacheFolder;
  std::wstring full = cacheFolder + L"\\" + name;
#ifndef _WIN32
  // Off Windows the separator the data folder and this path are built with must be the real one.
  for (std::wstring* p : {&cacheFolder, &full}) {
    for (wchar_t& c : *p) {
      if (c == L'\\') c = L'/';
    }
  }
#endif
  if (create && !CreateFolders(cacheFolder)) return path;
  CopyCut(full, path, kGpoPathChars);
  return path;
}

BOOL MyOpts::LoadFromGpo() {
  GPObj gpo(*services_.gpoFactory);
  if (!gpo.Open(gpoPath, kScopeComputer, false)) {
    gpoResult = gpo.GetResult();
    gpoDisplayName[0] = L'\0';
    return Fail(static_cast<ErrorCode>(gpoResult));
  }
  gpoResult = 0;
  // A GPO that holds no live "Enable" (only the switched-off forms, or nothing) is not configured.
  if (!gpo.IsRegKeyReady() || !gpo.Key().FindValue(L"Enable")) {
    policyState = kPolicyNotConfigured;
    Enable = 0;
    (void)Import(nullptr, GetGPOStoragePath(gpo, kFalse, services_.dataFolderSource), 1);
    policyState = kPolicyNotConfigured;
  } else {
    Enable = static_cast<BOOL>(gpo.Key().GetInt(L"Enable", static_cast<DWORD>(Enable)));
    if (Enable) {
      policyState = kPolicyEnabled;
      ReadValues(gpo.Key(), Source::kGpo);
    } else {
      // Group policy keeps nothing of a disabled policy but "Enable"; the rest is in the cache.
      (void)Import(nullptr, GetGPOStoragePath(gpo, kFalse, services_.dataFolderSource), 1);
      policyState = kPolicyDisabled;
    }
  }
  gpoDisplayName[0] = L'\0';
  (void)gpo.GetDisplayName(gpoDisplayName, static_cast<int>(kGpoPathChars));
  policyInForce = 0;
  return kTrue;
}

BOOL MyOpts::StoreToGpo() {
  GPObj gpo(*services_.gpoFactory);
  if (!gpo.Open(gpoPath, kScopeComputer, true)) {
    gpoResult = gpo.GetResult();
    return Fail(static_cast<ErrorCode>(gpoResult));
  }
  gpoResult = 0;
  // The whole record goes to the cache first, so that what the GPO does not keep while the
  // policy is off can be shown again.
  const wchar_t* cache = GetGPOStoragePath(gpo, kTrue, services_.dataFolderSource);
  const BOOL cached = cache[0] ? Export(nullptr, cache, 1) : Fail(err::kPathNotFound);
  const ErrorCode cacheError = cached ? err::kSuccess : GetLastErrorCode();

  const bool enabled = policyState != kPolicyNotConfigured;
  if (!enabled) (void)gpo.SetAllNotConfigured(kScopeComputer);
  bool written = true;
  for (const auto& [name, value] : NumberValues()) written = written && gpo.SetInt(value, name, enabled);
  written = written && gpo.SetStr(GetSchedule(), L"Schedule", enabled);
  written = written && gpo.SetStr(MessageText, L"MessageText", enabled);
  written = written && gpo.SetStr(MessageTextIfLocked, L"MessageTextIfLocked", enabled);
  written = written && gpo.SetStr(UpdateSource.c_str(), kUpdateSourceValue, enabled);
  written = written && gpo.SetStrList(ApplyTo, L"ApplyTo", enabled);
  written = written && gpo.SetStrList(Exclude, L"Exclude", enabled);
  written = written && gpo.SetStrList(KeepAliveProcesses, L"KeepAliveProcesses", enabled);
  // Half-written changes are not saved: the GPO keeps what it had.
  if (!written) return kFalse;
  if (!gpo.Save(kScopeComputer)) return Fail(static_cast<ErrorCode>(gpo.GetResult()));
  if (!cached) return Fail(cacheError);
  return kTrue;
}

BOOL MyOpts::Export(void* ownerWindow, const wchar_t* filePath, int quiet) {
  useTempKey = 1;
  (void)DelTemp();
  BOOL result = StoreTemp();
  if (result) {
    RegKey temp(TempPath().c_str(), false, KeyStoreRef());
    result = temp.IsOpen() ? ExportRegKey(ownerWindow, temp, filePath, quiet) : kFalse;
  }
  {
    PreserveLastError keep;
    (void)DelTemp();
  }
  useTempKey = 0;
  return result;
}

BOOL MyOpts::Import(void* ownerWindow, const wchar_t* filePath, int quiet, std::vector<ImportFinding>* findings) {
  useTempKey = 1;
  (void)DelTemp();
  BOOL result;
  {
    RegKey temp(TempPath().c_str(), true, KeyStoreRef());
    result = temp.IsOpen() ? ImportRegKey(ownerWindow, temp, filePath, quiet) : kFalse;
    std::wstring text;
    if (result && findings) {
      // The file was just read whole; reading it again only fails if it went meanwhile, and then
      // there are no lines to name.
      PreserveLastError keep;
      if (!ReadTextFile(filePath, &text)) text.clear();
      *findings = CheckImportedSettings(temp, text);
    }
  }
  if (result) {
    // LoadTemp starts with a Reset; keep what it must not touch and what a failure must restore.
    MyOpts before(services_);
    before.CopyFrom(*this);
    const HResult keptResult = gpoResult;
    const BOOL keptPolicy = policyInForce;
    result = LoadTemp();
    if (!result) {
      PreserveLastError keep;
      CopyFrom(before);
    }
    gpoResult = keptResult;
    policyInForce = keptPolicy;
  }
  {
    PreserveLastError keep;
    (void)DelTemp();
  }
  useTempKey = 0;
  return result;
}

}  // namespace tv
