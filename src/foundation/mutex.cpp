#include "foundation/mutex.h"

#include "foundation/event.h"
#include "foundation/kernel_object.h"
#include "platform/last_error.h"

namespace tv {

MyMutex::MyMutex(BOOL global, const wchar_t* name) {
  wchar_t full[kObjectNameChars];
  Synch::PrepareName(full, kObjectNameChars, name, global);
  handle_ = kernel::CreateMutexObject(full[0] ? full : nullptr);
}

MyMutex::~MyMutex() {
  if (!handle_) return;
  PreserveLastError keep;
  kernel::CloseObject(handle_);
  handle_ = nullptr;
}

BOOL MyMutex::Wait(DWORD timeout) {
  if (!handle_) return Fail(err::kInvalidHandle);
  return kernel::WaitObject(handle_, timeout) == kernel::kWaitObject0 ? kTrue : kFalse;
}

BOOL MyMutex::Release() {
  if (!handle_) return Fail(err::kInvalidHandle);
  return kernel::ReleaseMutexObject(handle_);
}

}  // namespace tv
