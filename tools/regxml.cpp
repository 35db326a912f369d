// tv-regxml: exports a registry key to a settings file and imports one into it, on the store the
// product uses (the real registry on Windows). Elsewhere that store lives in memory, so --store
// FILE loads the key's root from a settings file first and saves it back after an import.
//
//   tv-regxml [--store FILE] export KEYPATH FILE
//   tv-regxml [--store FILE] import KEYPATH FILE
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "platform/last_error.h"
#include "platform/registry.h"
#include "settings/reg_key.h"
#include "settings/settings_file.h"

#include "command_args.h"

namespace {

using namespace tv;

int Usage() {
  std::fwprintf(stderr, L"usage: tv-regxml [--store FILE] export|import KEYPATH FILE\n");
  return 2;
}

int Failed(const wchar_t* what, const std::wstring& path) {
  const ErrorCode error = GetLastErrorCode();
  const SettingsFileFailure& failure = GetLastSettingsFileFailure();
  std::fwprintf(stderr, L"tv-regxml: %ls %ls failed (error %lu)\n", what, path.c_str(),
                static_cast<unsigned long>(error));
  if (!failure.text.empty()) std::fwprintf(stderr, L"%ls\n", failure.text.c_str());
  return 1;
}

int Run(std::vector<std::wstring> args) {
  std::wstring storeFile;
  if (args.size() >= 2 && args[0] == L"--store") {
    storeFile = args[1];
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.size() != 3 || (args[0] != L"export" && args[0] != L"import")) return Usage();
  const bool exporting = args[0] == L"export";
  const std::wstring& keyPath = args[1];
  const std::wstring& file = args[2];
  const std::wstring root = keyPath.substr(0, keyPath.find(L'\\'));

#ifdef _WIN32
  KeyStore& store = DefaultKeyStore();
  if (!storeFile.empty()) {
    std::fwprintf(stderr, L"tv-regxml: --store is for builds without a registry\n");
    return 2;
  }
#else
  MemKeyStore store;
  if (!storeFile.empty() && !LoadKeyStoreFromFile(store, root.c_str(), storeFile.c_str()) &&
      GetLastErrorCode() != err::kFileNotFound) {
    return Failed(L"loading the store from", storeFile);
  }
#endif

  RegKey key(keyPath.c_str(), !exporting, store);
  if (!key.IsOpen()) return Failed(L"opening", keyPath);
  if (exporting) return ExportRegKey(nullptr, key, file.c_str(), kTrue) ? 0 : Failed(L"exporting to", file);
  if (!ImportRegKey(nullptr, key, file.c_str(), kTrue)) return Failed(L"importing", file);
#ifndef _WIN32
  if (!storeFile.empty() && !SaveKeyStoreToFile(store, root.c_str(), storeFile.c_str())) {
    return Failed(L"saving the store to", storeFile);
  }
#endif
  return 0;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) { return Run(std::vector<std::wstring>(argv + 1, argv + argc)); }
#else
int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  std::vector<std::wstring> args;
  if (!DecodeCommandArgs(argc, argv, args)) return Usage();  // not text in this locale
  return Run(std::move(args));
}
#endif
