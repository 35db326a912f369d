// Who the product is: names, version, edition, help file and icon, asked through one
// process-wide object so that the About box, help and update code of the class library need not
// know which product they serve.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/types.h"

namespace tv {

// The resource number of the product icon in the launcher's resources.
inline constexpr int kProductIconId = 101;

// The characters (terminator included) GetVersionStrRev builds its text in.
inline constexpr std::size_t kVersionStrRevChars = 128;

// The family's identity questions, plus the bookkeeping that brackets a run mode's lifetime.
// Every string answered is a constant that lives as long as the process, except
// GetVersionStrRev's (see there).
class ProductInfo {
 public:
  ProductInfo() = default;
  ProductInfo(const ProductInfo&) = delete;
  ProductInfo& operator=(const ProductInfo&) = delete;
  virtual ~ProductInfo() = default;

  // Short name: also the service name, event-log source and data-folder name.
  virtual const wchar_t* GetNickName() const = 0;
  // Full name as shown to a person.
  virtual const wchar_t* GetName() const = 0;
  // "major.minor.patch".
  virtual const wchar_t* GetVersionStr() const = 0;
  // Major in the top byte, minor*10+patch in the next, the revision in the low 16 bits.
  virtual DWORD GetVersionNum() const = 0;
  // Major, minor, patch and revision as four 16-bit fields, major highest.
  virtual std::uint64_t GetVersionQWORD() const = 0;
  virtual DWORD GetRevisionNum() const = 0;
  virtual const wchar_t* GetRevisionStr() const = 0;
  // "Version x.y.z", the number in bold mark-up when `bold` is non-zero.
  virtual const wchar_t* GetVersionStrLong(BOOL bold) const = 0;
  // GetVersionStrLong(bold) followed by " (rev. N)". The text is built in one buffer shared by the
  // whole process (kVersionStrRevChars, cut to fit): the next call overwrites it, so copy it
  // before asking again, and do not ask from two threads at once.
  virtual const wchar_t* GetVersionStrRev(BOOL bold) const = 0;
  virtual const wchar_t* GetLanguage() const = 0;
  // The architecture as appended to a name, with its leading blank.
  virtual const wchar_t* GetArch() const = 0;
  virtual const wchar_t* GetEditionShort() const = 0;
  virtual const wchar_t* GetEdition() const = 0;
  // The systems the build is for, as shown in the About box.
  virtual const wchar_t* GetForOS() const = 0;
  virtual const wchar_t* GetCopyrightYear() const = 0;
  // The help file's name, without a folder.
  virtual const wchar_t* GetHelpFile() const = 0;
  // The icon's resource number, and the module (an HINSTANCE on Windows, else null) holding it.
  virtual int GetIconID() const = 0;
  virtual void* GetIconInstance() const = 0;

  // Marks a run mode as started; answers how many are now active in this process.
  int EnterApp();
  // Marks a run mode as ended; answers FALSE (and changes nothing) when none was active, which
  // means an entry path left twice.
  BOOL LeaveApp();
  // How many run modes are between EnterApp and LeaveApp.
  int GetAppCount() const { return app_count_.load(); }

 protected:
  // Builds GetVersionStrLong(bold) + " (rev. " + GetRevisionStr() + ")" in the shared buffer.
  const wchar_t* ComposeVersionStrRev(BOOL bold) const;

 private:
  std::atomic<int> app_count_{0};
};

// Holds a run mode inside the application bookkeeping: enters on construction and leaves on
// every way out of the scope.
class AppScope {
 public:
  explicit AppScope(ProductInfo& info) : info_(info) { info_.EnterApp(); }
  ~AppScope() { (void)info_.LeaveApp(); }
  AppScope(const AppScope&) = delete;
  AppScope& operator=(const AppScope&) = delete;

 private:
  ProductInfo& info_;
};

// Tarnvale's answers.
class MyProductInfo : public ProductInfo {
 public:
  const wchar_t* GetNickName() const override;
  const wchar_t* GetName() const override;
  const wchar_t* GetVersionStr() const override;
  DWORD GetVersionNum() const override;
  std::uint64_t GetVersionQWORD() const override;
  DWORD GetRevisionNum() const override;
  const wchar_t* GetRevisionStr() const override;
  const wchar_t* GetVersionStrLong(BOOL bold) const override;
  const wchar_t* GetVersionStrRev(BOOL bold) const override;
  const wchar_t* GetLanguage() const override;
  const wchar_t* GetArch() const override;
  const wchar_t* GetEditionShort() const override;
  const wchar_t* GetEdition() const override;
  const wchar_t* GetForOS() const override;
  const wchar_t* GetCopyrightYear() const override;
  const wchar_t* GetHelpFile() const override;
  int GetIconID() const override;
  void* GetIconInstance() const override;
};

// The one product-identity object of the process.
ProductInfo* GetMyProductInfo();

}  // namespace tv
