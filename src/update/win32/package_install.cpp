// The package installer on Windows: a private folder under the product's data folder, the
// package written and checked there, and the Windows Installer started through the command
// interpreter so that the package is deleted once the installer is done.
#include "update/package_install.h"

#include "platform/win32/windows_include.h"

#include <aclapi.h>
#include <sddl.h>

#include "foundation/data_folder.h"
#include "update/update_check.h"

namespace tv {
namespace {

// Local system and administrators only, not inherited from ProgramData (where every user may
// create files): nobody else can swap the package between its check and the installer's read.
constexpr const wchar_t* kPrivateFolderSddl = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

std::wstring SystemTool(const wchar_t* name) {
  wchar_t folder[MAX_PATH] = {};
  const UINT n = ::GetSystemDirectoryW(folder, MAX_PATH);
  if (n == 0 || n >= MAX_PATH) return name;
  return std::wstring(folder) + L"\\" + name;
}

bool MakePrivateFolder(const std::wstring& folder, std::wstring& why) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kPrivateFolderSddl, SDDL_REVISION_1, &descriptor,
                                                              nullptr)) {
    why = L"the private folder's access list could not be made (code " + std::to_wstring(::GetLastError()) + L")";
    return false;
  }
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor, FALSE};
  bool ok = ::CreateDirectoryW(folder.c_str(), &attributes) != 0;
  if (!ok && ::GetLastError() == ERROR_ALREADY_EXISTS) {
    // A folder left by an earlier check, or made in advance by somebody else: it gets the
    // private access list again before anything is put in it.
    BOOL present = FALSE, defaulted = FALSE;
    PACL dacl = nullptr;
    PSID owner = nullptr;
    (void)::GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted);
    (void)::GetSecurityDescriptorOwner(descriptor, &owner, &defaulted);
    std::wstring path = folder;
    ok = ::SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT,
                                 DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION |
                                     OWNER_SECURITY_INFORMATION,
                                 owner, nullptr, dacl, nullptr) == ERROR_SUCCESS;
  }
  const ::DWORD error = ::GetLastError();
  ::LocalFree(descriptor);
  if (!ok) why = L"the folder \"" + folder + L"\" could not be made private (code " + std::to_wstring(error) + L")";
  return ok;
}

// Writes the package and reads it back: what the installer gets is what was verified.
bool WriteChecked(const std::wstring& file, const std::vector<std::uint8_t>& bytes, const UpdateManifest& manifest,
                  std::wstring& why) {
  HANDLE h = ::CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    why = L"the package could not be written to \"" + file + L"\" (code " + std::to_wstring(::GetLastError()) + L")";
    return false;
  }
  bool ok = true;
  for (std::size_t at = 0; ok && at < bytes.size();) {
    const ::DWORD chunk = static_cast<::DWORD>(std::min<std::size_t>(bytes.size() - at, 1 << 20));
    ::DWORD written = 0;
    ok = ::WriteFile(h, bytes.data() + at, chunk, &written, nullptr) && written == chunk;
    at += chunk;
  }
  ok = ok && ::FlushFileBuffers(h) && ::SetFilePointer(h, 0, nullptr, FILE_BEGIN) == 0;
  std::vector<std::uint8_t> back;
  if (ok) {
    back.resize(bytes.size());
    for (std::size_t at = 0; ok && at < back.size();) {
      const ::DWORD chunk = static_cast<::DWORD>(std::min<std::size_t>(back.size() - at, 1 << 20));
      ::DWORD read = 0;
      ok = ::ReadFile(h, back.data() + at, chunk, &read, nullptr) && read == chunk;
      at += chunk;
    }
  }
  ::CloseHandle(h);
  std::wstring mismatch;
  if (!ok) {
    why = L"the package could not be written to \"" + file + L"\" whole";
  } else if (!VerifyPackage(back, manifest, &mismatch)) {
    ok = false;
    why = L"the package written to disk is not the one verified: " + mismatch;
  }
  if (!ok) (void)::DeleteFileW(file.c_str());
  return ok;
}

class WindowsInstaller final : public PackageInstaller {
 public:
  bool Start(const std::vector<std::uint8_t>& verified, const UpdateManifest& manifest, std::wstring& logFile,
             std::wstring& why) override {
    wchar_t data[kDataFolderChars] = {};
    if (!GetDataFolder(data)) {
      why = L"the product's data folder is unknown";
      return false;
    }
    std::wstring folder = data;
    if (!folder.empty() && folder.back() != L'\\') folder += L'\\';
    (void)::CreateDirectoryW(folder.c_str(), nullptr);
    folder += L"Updates";
    if (!MakePrivateFolder(folder, why)) return false;
    const std::wstring stem = folder + L"\\Tarnvale-" + manifest.version.ToString();
    const std::wstring package = stem + L"-" + std::to_wstring(::GetCurrentProcessId()) + L".msi";
    const std::wstring log = stem + L"-install.log";
    (void)::DeleteFileW(package.c_str());
    if (!WriteChecked(package, verified, manifest, why)) return false;

    // msiexec replaces this library, so it must outlive this process; the interpreter waits for
    // it and then deletes the package.
    const std::wstring command = L"\"" + SystemTool(L"cmd.exe") + L"\" /d /s /c \"start \"\" /wait \"" +
                                 SystemTool(L"msiexec.exe") + L"\" /i \"" + package + L"\" /qn /l*v \"" + log +
                                 L"\" & del /f /q \"" + package + L"\"\"";
    std::vector<wchar_t> line(command.begin(), command.end());
    line.push_back(L'\0');
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                          nullptr, &startup, &process)) {
      const ::DWORD error = ::GetLastError();
      (void)::DeleteFileW(package.c_str());
      why = L"the Windows Installer could not be started (code " + std::to_wstring(error) + L")";
      return false;
    }
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    logFile = log;
    return true;
  }
};

}  // namespace

std::unique_ptr<PackageInstaller> CreateSystemInstaller() { return std::make_unique<WindowsInstaller>(); }

}  // namespace tv
