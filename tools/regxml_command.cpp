#include "regxml_command.h"

#include <memory>

#include "entry/error_text.h"
#include "foundation/text_file.h"
#include "platform/last_error.h"
#include "settings/import_checks.h"
#include "settings/options.h"
#include "settings/reg_key.h"
#include "settings/reg_key_detail.h"
#include "settings/settings_file.h"

namespace tv {
namespace {

constexpr const wchar_t* kUsage =
    L"usage: tv-regxml [--store FILE] export|import KEYPATH FILE\n"
    L"  export   writes the registry key KEYPATH to the settings file FILE\n"
    L"  import   replaces everything under KEYPATH with what FILE holds; into the product's key\n"
    L"           (HKLM\\SOFTWARE\\Brellick\\Tarnvale) it also names every value the service cannot\n"
    L"           use and every name it does not know, and then exits with 3\n"
    L"  KEYPATH  a full path beginning with its hive: HKLM, HKCU, HKCR or HKU (or their long names)\n"
    L"  --store FILE  (builds without a registry) keep the hive of KEYPATH in FILE between runs\n"
    L"exit codes: 0 done, 1 failed, 2 wrong command line, 3 imported with findings\n";

struct Io {
  std::wstring& out;
  std::wstring& err;
};

int Usage(Io& io, const std::wstring& problem) {
  if (!problem.empty()) io.err += L"tv-regxml: " + problem + L"\n";
  io.err += kUsage;
  return kRegXmlUsage;
}

// One line that says what failed and why in the system's words, then the settings file layer's
// own explanation (the line of bad XML, the value that does not fit) when it has one.
int Failed(Io& io, const std::wstring& what) {
  const ErrorCode error = GetLastErrorCode();
  io.err += L"tv-regxml: " + what + L": " + SystemErrorText(error) + L"\n";
  const SettingsFileFailure& failure = GetLastSettingsFileFailure();
  if (!failure.text.empty()) io.err += failure.text + (failure.text.back() == L'\n' ? L"" : L"\n");
  return kRegXmlFailed;
}

bool HasHive(const std::wstring& keyPath) {
  RegRoot root;
  return reg_key_detail::ParseRoot(std::wstring_view(keyPath).substr(0, keyPath.find(L'\\')), &root);
}

}  // namespace

int RunRegXml(const std::vector<std::wstring>& argList, std::wstring& out, std::wstring& err, MemKeyStore* given) {
  Io io{out, err};
  std::vector<std::wstring> args = argList;
  for (const std::wstring& a : args) {
    if (a == L"--help" || a == L"-h" || a == L"/?") {
      io.out += kUsage;
      return kRegXmlOk;
    }
  }
  std::wstring storeFile;
  if (args.size() >= 2 && args[0] == L"--store") {
    storeFile = args[1];
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.size() != 3 || (args[0] != L"export" && args[0] != L"import"))
    return Usage(io, args.empty() ? L"" : L"expected export or import, a key path and a file");
  const bool exporting = args[0] == L"export";
  const std::wstring& keyPath = args[1];
  const std::wstring& file = args[2];
  if (!HasHive(keyPath)) {
    return Usage(io, L"the key path '" + keyPath +
                         L"' does not begin with a hive; write it in full, for example "
                         L"HKLM\\SOFTWARE\\Brellick\\Tarnvale");
  }
  const std::wstring root = keyPath.substr(0, keyPath.find(L'\\'));

  std::unique_ptr<MemKeyStore> own;
  MemKeyStore* mem = given;
  KeyStore* store = given;
#ifdef _WIN32
  if (!store) {
    if (!storeFile.empty()) return Usage(io, L"--store is for builds without a registry");
    store = &DefaultKeyStore();
  }
#else
  if (!store) {
    own = std::make_unique<MemKeyStore>();
    mem = own.get();
    store = mem;
  }
#endif
  if (mem && !storeFile.empty() && !LoadKeyStoreFromFile(*mem, root.c_str(), storeFile.c_str()) &&
      GetLastErrorCode() != err::kFileNotFound) {
    return Failed(io, L"loading the store from " + storeFile);
  }

  RegKey key(keyPath.c_str(), !exporting, *store);
  if (!key.IsOpen()) return Failed(io, (exporting ? L"opening " : L"creating ") + keyPath);
  if (exporting) {
    return ExportRegKey(nullptr, key, file.c_str(), kTrue) ? kRegXmlOk : Failed(io, L"exporting to " + file);
  }
  if (!ImportRegKey(nullptr, key, file.c_str(), kTrue)) return Failed(io, L"importing " + file);
  std::vector<ImportFinding> findings;
  if (CompareRegNames(keyPath, kAppRootKey) == 0) {
    std::wstring text;
    if (ReadTextFile(file.c_str(), &text)) findings = CheckImportedSettings(key, text);
  }
  key.Close();
  if (mem && !storeFile.empty() && !SaveKeyStoreToFile(*mem, root.c_str(), storeFile.c_str())) {
    return Failed(io, L"saving the store to " + storeFile);
  }
  if (findings.empty()) return kRegXmlOk;
  io.err += L"tv-regxml: imported, but the service cannot use everything in " + file + L":\n";
  for (const ImportFinding& f : findings) io.err += L"  " + FormatImportFinding(f, file) + L"\n";
  return kRegXmlImportedWithFindings;
}

}  // namespace tv
