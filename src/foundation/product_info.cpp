#include "foundation/product_info.h"

#include "foundation/product_version.h"

#ifdef _WIN32
#include "platform/win32/windows_include.h"
#endif

namespace tv {
namespace {

constexpr std::uint32_t kMajor = TV_VERSION_MAJOR;
constexpr std::uint32_t kMinor = TV_VERSION_MINOR;
constexpr std::uint32_t kPatch = TV_VERSION_PATCH;
constexpr std::uint32_t kRevision = TV_VERSION_REVISION;

// The process-wide buffer behind GetVersionStrRev.
wchar_t g_version_str_rev[kVersionStrRevChars];

// Appends `text` at `*length`, never past the buffer's last character.
void Append(wchar_t* buffer, std::size_t size, std::size_t* length, const wchar_t* text) {
  while (*text && *length + 1 < size) buffer[(*length)++] = *text++;
  buffer[*length] = L'\0';
}

}  // namespace

int ProductInfo::EnterApp() { return ++app_count_; }

BOOL ProductInfo::LeaveApp() {
  int count = app_count_.load();
  do {
    if (count <= 0) return kFalse;
  } while (!app_count_.compare_exchange_weak(count, count - 1));
  return kTrue;
}

const wchar_t* ProductInfo::ComposeVersionStrRev(BOOL bold) const {
  std::size_t length = 0;
  Append(g_version_str_rev, kVersionStrRevChars, &length, GetVersionStrLong(bold));
  Append(g_version_str_rev, kVersionStrRevChars, &length, L" (rev. ");
  Append(g_version_str_rev, kVersionStrRevChars, &length, GetRevisionStr());
  Append(g_version_str_rev, kVersionStrRevChars, &length, L")");
  return g_version_str_rev;
}

const wchar_t* MyProductInfo::GetNickName() const { return L"Tarnvale"; }
const wchar_t* MyProductInfo::GetName() const { return L"Tarnvale Lite"; }
const wchar_t* MyProductInfo::GetVersionStr() const { return TV_VERSION_TEXT; }

DWORD MyProductInfo::GetVersionNum() const {
  return (kMajor << 24) | ((kMinor * 10 + kPatch) << 16) | kRevision;
}

std::uint64_t MyProductInfo::GetVersionQWORD() const {
  return (std::uint64_t{kMajor} << 48) | (std::uint64_t{kMinor} << 32) | (std::uint64_t{kPatch} << 16) | kRevision;
}

DWORD MyProductInfo::GetRevisionNum() const { return kRevision; }
const wchar_t* MyProductInfo::GetRevisionStr() const { return TV_REVISION_TEXT; }

const wchar_t* MyProductInfo::GetVersionStrLong(BOOL bold) const {
  return bold ? L"Version <b>" TV_VERSION_TEXT L"</b>" : L"Version " TV_VERSION_TEXT;
}

const wchar_t* MyProductInfo::GetVersionStrRev(BOOL bold) const { return ComposeVersionStrRev(bold); }

const wchar_t* MyProductInfo::GetLanguage() const { return L"en"; }
const wchar_t* MyProductInfo::GetArch() const { return L" x64"; }
const wchar_t* MyProductInfo::GetEditionShort() const { return L"x64"; }
const wchar_t* MyProductInfo::GetEdition() const { return L"x64 Edition"; }
const wchar_t* MyProductInfo::GetForOS() const { return L"for Windows\u00AE 11, 10, 8, 7, Servers (x64)"; }
const wchar_t* MyProductInfo::GetCopyrightYear() const { return L"2024"; }
const wchar_t* MyProductInfo::GetHelpFile() const { return L"Tarnvale.chm"; }
int MyProductInfo::GetIconID() const { return kProductIconId; }

void* MyProductInfo::GetIconInstance() const {
#ifdef _WIN32
  // The library is linked into the launcher, so the process module is the launcher's instance,
  // the one whose resources hold the icon.
  return ::GetModuleHandleW(nullptr);
#else
  return nullptr;
#endif
}

ProductInfo* GetMyProductInfo() {
  static MyProductInfo info;
  return &info;
}

}  // namespace tv
