#include "settings/my_config.h"

namespace tv {
namespace {

constexpr DWORD kMaxPathBytes = kConfigPathChars * 2;

void ReadPath(const RegKey& key, const wchar_t* name, wchar_t* buffer) {
  buffer[0] = L'\0';
  if (key.GetStrSize(name) > kMaxPathBytes) return;
  (void)key.GetStr(name, buffer, kConfigPathChars, L"");
}

}  // namespace

MyConfig::MyConfig(KeyStore& store) : BoolOpts(L"Config", store) {}

void MyConfig::Reset() {
  BoolOpts::Reset();
  ImpExpPath[0] = L'\0';
  GPOPath[0] = L'\0';
}

BOOL MyConfig::OnLoad(RegKey& key) {
  ReadPath(key, L"ImpExpPath", ImpExpPath);
  ReadPath(key, L"GPOPath", GPOPath);
  const DWORD size = key.GetBinSize(L"DlgMain");
  if (size > 0 && size <= kDlgPlacementBytes) (void)key.GetBin(L"DlgMain", DlgMain, kDlgPlacementBytes);
  return kTrue;
}

BOOL MyConfig::OnStore(RegKey& key) {
  BOOL ok = key.PutStrOrDelEmpty(L"ImpExpPath", ImpExpPath);
  ok = key.PutStrOrDelEmpty(L"GPOPath", GPOPath) && ok;
  ok = key.PutBin(L"DlgMain", DlgMain, kDlgPlacementBytes) && ok;
  return ok;
}

}  // namespace tv
