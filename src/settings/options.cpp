#include "settings/options.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <string>
#include <vector>

#include "foundation/utf16.h"
#include "platform/last_error.h"

namespace tv {

bool IsRegReadFailure(ErrorCode error) {
  return error != err::kFileNotFound && error != err::kInvalidData && error != err::kMoreData;
}

BOOL ReadRegNumber(const RegKey& key, const wchar_t* name, DWORD& value) {
  DWORD type = reg::kNone;
  std::vector<std::uint8_t> data;
  if (!key.GetValue(name, &type, &data)) return IsRegReadFailure(GetLastErrorCode()) ? kFalse : kTrue;
  if (type == reg::kDword || type == reg::kBinary) {
    if (data.size() > 4) return kTrue;
    DWORD number = 0;
    for (std::size_t i = data.size(); i-- > 0;) number = number << 8 | data[i];
    value = number;
    return kTrue;
  }
  // A number typed in by hand as text: at most 128 bytes of it; longer text reads as nothing.
  const std::wstring text = data.size() <= 128 ? FromUtf16Le(data.data(), data.size(), true) : std::wstring();
  const long long parsed = std::wcstoll(text.c_str(), nullptr, 10);
  value = static_cast<DWORD>(static_cast<int>(std::clamp<long long>(parsed, INT_MIN, INT_MAX)));
  return kTrue;
}

// ---- CSOptsLoader

void CSOptsLoader::Reset() {
  if (opts_) opts_->Reset();
}

void CSOptsLoader::CopyFrom(const CSOptsLoader& other) {
  if (opts_ && other.opts_) {
    opts_->CopyFrom(*other.opts_);
  } else if (opts_) {
    opts_->SetAll(0);
  }
}

int CSOptsLoader::IsDifferent(const CSOptsLoader& other) const {
  if (opts_ && other.opts_) return opts_->IsDifferent(*other.opts_);
  return GetAll() != other.GetAll() ? 1 : 0;
}

// ---- BoolOpts

BoolOpts::BoolOpts(const wchar_t* valueName, KeyStore& store)
    : CSOptsLoader(nullptr), valueName_(valueName ? valueName : L""), store_(&store) {
  Point(&opts_);
  opts_.Reset();
}

void BoolOpts::Reset() { CSOptsLoader::Reset(); }

void BoolOpts::CopyFrom(const CSOptsLoader& other) { CSOptsLoader::CopyFrom(other); }

int BoolOpts::IsDifferent(const CSOptsLoader& other) const { return CSOptsLoader::IsDifferent(other); }

BOOL BoolOpts::Load() {
  Reset();
  RegKey key(GetRegKeyName(), false, *store_);
  if (!key.IsOpen()) return kFalse;
  return DoLoad(key);
}

BOOL BoolOpts::Store() {
  RegKey key(GetRegKeyName(), true, *store_);
  if (!key.IsOpen()) return kFalse;
  const BOOL stored = DoStore(key);
  PreserveLastError keep;  // a failed flush must not hide why the store failed
  (void)key.Flush();       // does nothing while recording
  return stored;
}

BOOL BoolOpts::DoLoad(RegKey& key) {
  DWORD word = opts_.GetAll();
  const BOOL read = ReadRegNumber(key, valueName_.c_str(), word);
  opts_.SetAll(word);
  if (!read) {
    PreserveLastError keep;  // the derived values are still read; the failure is the answer
    (void)OnLoad(key);
    return kFalse;
  }
  return OnLoad(key);
}

BOOL BoolOpts::DoStore(RegKey& key) {
  if (!OnStore(key)) {
    PreserveLastError keep;  // the word is still written, but the caller hears why OnStore failed
    (void)key.PutDword(valueName_.c_str(), opts_.GetAll());
    return kFalse;
  }
  return key.PutDword(valueName_.c_str(), opts_.GetAll());
}

BOOL BoolOpts::OnLoad(RegKey&) { return kTrue; }

BOOL BoolOpts::OnStore(RegKey&) { return kTrue; }

const wchar_t* BoolOpts::GetRegKeyName() const { return kAppRootKey; }

std::wstring BoolOpts::TempPath() const {
  std::wstring path = GetRegKeyName();
  path += L'\\';
  path += GetTempSubKey();
  return path;
}

BOOL BoolOpts::StoreTemp() {
  RegKey key(TempPath().c_str(), true, *store_);
  if (!key.IsOpen()) return kFalse;
  inTemp_ = true;
  const BOOL stored = DoStore(key);
  inTemp_ = false;
  PreserveLastError keep;
  (void)key.Flush();
  return stored;
}

BOOL BoolOpts::LoadTemp() {
  Reset();
  RegKey key(TempPath().c_str(), false, *store_);
  if (!key.IsOpen()) return kFalse;
  inTemp_ = true;
  const BOOL loaded = DoLoad(key);
  inTemp_ = false;
  return loaded;
}

BOOL BoolOpts::DelTemp() {
  RegKey key(GetRegKeyName(), true, *store_);
  if (!key.IsOpen()) return kFalse;
  return key.DelSubKey(GetTempSubKey());
}

}  // namespace tv
