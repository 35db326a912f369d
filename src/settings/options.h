// Option sets: a 32-bit word of on/off flags persisted as one REG_DWORD value, with hooks in
// which a derived set loads and stores its own values from the same registry key. The settings
// record and the configuration utility's preferences are built on them.
#pragma once

#include <cstdint>
#include <string>

#include "platform/registry.h"
#include "platform/types.h"
#include "settings/reg_key.h"

namespace tv {

// The product's own settings key: every option set lives here unless it says otherwise.
inline constexpr const wchar_t* kAppRootKey = L"HKLM\\SOFTWARE\\Brellick\\Tarnvale";

// Reads value `name` as a number, the way every option value is read: REG_DWORD and REG_BINARY
// as a little-endian number of up to 4 bytes (longer data leaves `value` as it is), any other
// type as signed decimal text of at most 128 bytes (longer or non-numeric text reads as 0). A
// missing value leaves `value` as it is. 0 only when the registry failed to answer; a value that
// is missing or malformed is not a failure.
BOOL ReadRegNumber(const RegKey& key, const wchar_t* name, DWORD& value);

// Whether a failed registry read means the registry failed, rather than a value that is missing,
// of another type or too long (the cases a reader steps over).
bool IsRegReadFailure(ErrorCode error);

// A word of flags. Starts at 0.
class CSOpts {
 public:
  CSOpts() = default;
  CSOpts(const CSOpts&) = default;
  CSOpts& operator=(const CSOpts&) = default;
  virtual ~CSOpts() = default;

  // Clears every flag.
  virtual void Reset() { bits_ = 0; }
  // Takes the other set's word.
  virtual void CopyFrom(const CSOpts& other) { bits_ = other.bits_; }
  // 1 when the words differ.
  virtual int IsDifferent(const CSOpts& other) const { return bits_ != other.bits_ ? 1 : 0; }

  // Whether any bit of `mask` is set.
  bool IsOn(std::uint32_t mask) const { return (bits_ & mask) != 0; }
  // Sets or clears every bit of `mask`.
  void Set(std::uint32_t mask, bool on) { bits_ = on ? (bits_ | mask) : (bits_ & ~mask); }
  // IsOn(mask) as 1 or 0 into `out`.
  void Get(std::uint32_t mask, int& out) const { out = IsOn(mask) ? 1 : 0; }
  std::uint32_t GetBits(std::uint32_t mask) const { return bits_ & mask; }
  // Replaces the bits of `mask` with those of `bits`; bits outside the mask stay.
  void SetBits(std::uint32_t mask, std::uint32_t bits) { bits_ = (bits_ & ~mask) | (bits & mask); }
  void SetAll(std::uint32_t word) { bits_ = word; }
  std::uint32_t GetAll() const { return bits_; }
  std::uint32_t* GetPtrAll() { return &bits_; }
  explicit operator std::uint32_t() const { return bits_; }

 private:
  std::uint32_t bits_ = 0;
};

// A handle on a flag word owned elsewhere: every operation acts on the CSOpts it points at (and
// does nothing, or answers 0, while it points at none).
class CSOptsLoader {
 public:
  explicit CSOptsLoader(CSOpts* opts = nullptr) : opts_(opts) {}
  CSOptsLoader(const CSOptsLoader&) = delete;
  CSOptsLoader& operator=(const CSOptsLoader&) = delete;
  virtual ~CSOptsLoader() = default;

  virtual void Reset();
  // Copies the other loader's word.
  virtual void CopyFrom(const CSOptsLoader& other);
  // 1 when the two words differ.
  virtual int IsDifferent(const CSOptsLoader& other) const;

  bool IsOn(std::uint32_t mask) const { return opts_ && opts_->IsOn(mask); }
  void Set(std::uint32_t mask, bool on) {
    if (opts_) opts_->Set(mask, on);
  }
  void Get(std::uint32_t mask, int& out) const { out = IsOn(mask) ? 1 : 0; }
  std::uint32_t GetBits(std::uint32_t mask) const { return opts_ ? opts_->GetBits(mask) : 0; }
  void SetBits(std::uint32_t mask, std::uint32_t bits) {
    if (opts_) opts_->SetBits(mask, bits);
  }
  void SetAll(std::uint32_t word) {
    if (opts_) opts_->SetAll(word);
  }
  std::uint32_t GetAll() const { return opts_ ? opts_->GetAll() : 0; }
  std::uint32_t* GetPtrAll() { return opts_ ? opts_->GetPtrAll() : nullptr; }

 protected:
  void Point(CSOpts* opts) { opts_ = opts; }
  CSOpts* Opts() const { return opts_; }

 private:
  CSOpts* opts_;
};

// A flag word of its own, persisted under a DWORD value of the key GetRegKeyName names, with
// hooks for a derived set's own values. Not copyable: CopyFrom copies the contents.
class BoolOpts : public CSOptsLoader {
 public:
  // The word starts at 0; `store` is the registry every load and store goes to.
  explicit BoolOpts(const wchar_t* valueName, KeyStore& store = DefaultKeyStore());
  ~BoolOpts() override = default;

  // Reset, then DoLoad from the key of GetRegKeyName. 0 when that key cannot be opened (the
  // defaults then stay) or when DoLoad reports a failure.
  virtual BOOL Load();
  // DoStore into the key of GetRegKeyName (created when missing), then flush it (skipped while
  // recording). 0 when the key cannot be opened or DoStore reports a failure.
  virtual BOOL Store();
  void Reset() override;
  void CopyFrom(const CSOptsLoader& other) override;
  int IsDifferent(const CSOptsLoader& other) const override;

  // Reads the flag word (kept as it is when the value is missing or longer than 4 bytes), then
  // OnLoad. Answers OnLoad's result, or 0 when the registry failed to answer.
  virtual BOOL DoLoad(RegKey& key);
  // OnStore, then writes the flag word as a REG_DWORD. Answers OnStore's result.
  virtual BOOL DoStore(RegKey& key);
  // A derived set's own values; the base has none and answers 1.
  virtual BOOL OnLoad(RegKey& key);
  virtual BOOL OnStore(RegKey& key);
  // The full path of the set's key; the product's root key unless overridden.
  virtual const wchar_t* GetRegKeyName() const;

  static const wchar_t* GetTempSubKey() { return L"Temp"; }
  // The full path of the subkey "Temp" of the set's key.
  std::wstring TempPath() const;
  // Store, but into the subkey "Temp" of the set's key.
  BOOL StoreTemp();
  // Reset, then DoLoad from the subkey "Temp"; 0 when it does not exist.
  BOOL LoadTemp();
  // Deletes the subkey "Temp" with everything in it (1 also when it did not exist).
  BOOL DelTemp();

  const std::wstring& GetRegValueName() const { return valueName_; }
  void SetRegValueName(const wchar_t* name) { valueName_ = name ? name : L""; }
  KeyStore& KeyStoreRef() const { return *store_; }

 protected:
  // True while StoreTemp or LoadTemp runs, so that a derived set knows the key it is handed
  // is the "Temp" subkey.
  bool InTempTransfer() const { return inTemp_; }

 private:
  CSOpts opts_;
  std::wstring valueName_;
  KeyStore* store_;
  bool inTemp_ = false;
};

}  // namespace tv
