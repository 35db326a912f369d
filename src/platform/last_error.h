// The error idiom: an operation answers 1 or 0 and leaves its error code here for the caller.
// On Windows this is GetLastError/SetLastError itself; elsewhere a thread-local with the same
// Windows codes, so callers and tests read errors one way on both toolchains.
#pragma once

#include "platform/types.h"

namespace tv {

// Windows error codes the product speaks of. The values are Windows' own.
namespace err {
inline constexpr ErrorCode kSuccess = 0;
inline constexpr ErrorCode kInvalidFunction = 1;
inline constexpr ErrorCode kFileNotFound = 2;
inline constexpr ErrorCode kPathNotFound = 3;
inline constexpr ErrorCode kAccessDenied = 5;
inline constexpr ErrorCode kInvalidHandle = 6;
inline constexpr ErrorCode kNotEnoughMemory = 8;
inline constexpr ErrorCode kBadFormat = 11;
inline constexpr ErrorCode kInvalidData = 13;
inline constexpr ErrorCode kOutOfMemory = 14;
inline constexpr ErrorCode kWriteFault = 29;
inline constexpr ErrorCode kReadFault = 30;
inline constexpr ErrorCode kGenFailure = 31;
inline constexpr ErrorCode kHandleEof = 38;
inline constexpr ErrorCode kNotSupported = 50;
inline constexpr ErrorCode kFileExists = 80;
inline constexpr ErrorCode kInvalidParameter = 87;
inline constexpr ErrorCode kCallNotImplemented = 120;
inline constexpr ErrorCode kInsufficientBuffer = 122;
inline constexpr ErrorCode kInvalidName = 123;
inline constexpr ErrorCode kProcNotFound = 127;
inline constexpr ErrorCode kAlreadyExists = 183;
inline constexpr ErrorCode kMoreData = 234;
inline constexpr ErrorCode kWaitTimeout = 258;
inline constexpr ErrorCode kNoMoreItems = 259;
inline constexpr ErrorCode kBadKey = 1010;
inline constexpr ErrorCode kCantOpenKey = 1011;
inline constexpr ErrorCode kCantRead = 1012;
inline constexpr ErrorCode kCantWrite = 1013;
inline constexpr ErrorCode kKeyDeleted = 1018;
inline constexpr ErrorCode kServiceAlreadyRunning = 1056;
inline constexpr ErrorCode kServiceDoesNotExist = 1060;
inline constexpr ErrorCode kServiceNotActive = 1062;
inline constexpr ErrorCode kServiceMarkedForDelete = 1072;
inline constexpr ErrorCode kServiceExists = 1073;
inline constexpr ErrorCode kNotFound = 1168;
inline constexpr ErrorCode kCancelled = 1223;
inline constexpr ErrorCode kNoneMapped = 1332;
inline constexpr ErrorCode kNoSuchDomain = 1355;
inline constexpr ErrorCode kTimeout = 1460;
inline constexpr ErrorCode kClassNotRegistered = 0x80040154u;  // REGDB_E_CLASSNOTREG
}  // namespace err

// The calling thread's last error code.
ErrorCode GetLastErrorCode();

// Sets the calling thread's last error code.
void SetLastErrorCode(ErrorCode code);

// Fails an operation: stores `code` and answers 0, so `return Fail(err::kX);` reads as intended.
inline BOOL Fail(ErrorCode code) {
  SetLastErrorCode(code);
  return kFalse;
}

// Keeps the error code of a failure across cleanup that may overwrite it: the first error is
// the one the caller must see, not the one a CloseHandle on the way out happened to leave.
class PreserveLastError {
 public:
  PreserveLastError() : saved_(GetLastErrorCode()) {}
  ~PreserveLastError() { SetLastErrorCode(saved_); }
  PreserveLastError(const PreserveLastError&) = delete;
  PreserveLastError& operator=(const PreserveLastError&) = delete;

 private:
  ErrorCode saved_;
};

}  // namespace tv
