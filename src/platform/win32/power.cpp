// Win32 implementation of the power seam: power capabilities and suspend bound by name from
// POWRPROF, shutdown through the system shutdown calls.
#include "platform/win32/windows_include.h"

#include <powrprof.h>

#include "platform/power.h"
#include "platform/win32/bound_library.h"
#include "platform/win32/handles.h"

namespace tv {
namespace {

using GetPwrCapabilitiesFn = BOOLEAN(WINAPI*)(PSYSTEM_POWER_CAPABILITIES);
using SetSuspendStateFn = BOOLEAN(WINAPI*)(BOOLEAN, BOOLEAN, BOOLEAN);

class Win32Power final : public Power {
 public:
  Win32Power() : powrprof_(L"powrprof.dll") {
    capabilities_ = powrprof_.Get<GetPwrCapabilitiesFn>("GetPwrCapabilities");
    suspend_ = powrprof_.Get<SetSuspendStateFn>("SetSuspendState");
  }

  BOOL GetCapabilities(PowerCapabilities& out) override {
    if (!capabilities_) return Fail(err::kProcNotFound);
    SYSTEM_POWER_CAPABILITIES caps{};
    if (!capabilities_(&caps)) return Fail(LastErrorOr(err::kGenFailure));
    out.canSleep = caps.SystemS1 || caps.SystemS2 || caps.SystemS3;
    out.canHibernate = caps.SystemS4 && caps.HiberFilePresent;
    out.canShutdown = caps.SystemS5 != 0;
    return kTrue;
  }

  BOOL SetShutdownPrivilege(bool enable) override {
    HANDLE raw = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &raw))
      return Fail(LastErrorOr(err::kGenFailure));
    UniqueKernelHandle token(raw);
    TOKEN_PRIVILEGES tp{};
    tp.PrivilegeCount = 1;
    if (!::LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &tp.Privileges[0].Luid))
      return Fail(LastErrorOr(err::kGenFailure));
    tp.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : 0;
    ::SetLastError(ERROR_SUCCESS);
    if (!::AdjustTokenPrivileges(token.get(), FALSE, &tp, 0, nullptr, nullptr))
      return Fail(LastErrorOr(err::kGenFailure));
    // Success with ERROR_NOT_ALL_ASSIGNED means the token does not hold the privilege at all.
    if (::GetLastError() == ERROR_NOT_ALL_ASSIGNED) return Fail(err::kNotAllAssigned);
    return kTrue;
  }

  BOOL Suspend(bool hibernate) override {
    if (!suspend_) return Fail(err::kProcNotFound);
    if (!suspend_(hibernate ? TRUE : FALSE, FALSE, FALSE)) return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL StartShutdown(const ShutdownRequest& request) override {
    std::wstring message = request.message;
    if (!::InitiateSystemShutdownExW(nullptr, message.empty() ? nullptr : message.data(), request.timeoutSeconds,
                                     request.forceAppsClosed, request.reboot, request.reason))
      return Fail(LastErrorOr(err::kGenFailure));
    return kTrue;
  }

  BOOL AbortShutdown() override {
    if (!::AbortSystemShutdownW(nullptr)) return Fail(LastErrorOr(err::kNoShutdownInProgress));
    return kTrue;
  }

 private:
  BoundLibrary powrprof_;
  GetPwrCapabilitiesFn capabilities_ = nullptr;
  SetSuspendStateFn suspend_ = nullptr;
};

}  // namespace

std::unique_ptr<Power> CreateSystemPower() { return std::make_unique<Win32Power>(); }

}  // namespace tv
