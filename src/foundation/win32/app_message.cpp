// GetAppMessage for Windows: the registered "BrellickMessage".
#include "foundation/app_message.h"

#include "platform/win32/windows_include.h"

namespace tv {

unsigned GetAppMessage() {
  // Registration is idempotent system-wide, so a race between threads only registers twice.
  static const unsigned message = ::RegisterWindowMessageW(kAppMessageName);
  return message;
}

}  // namespace tv
