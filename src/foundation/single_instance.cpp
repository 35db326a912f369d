#include "foundation/single_instance.h"

#include <string>

#include "foundation/event.h"
#include "foundation/kernel_object.h"
#include "platform/last_error.h"

namespace tv {

SingleInstanceXP::~SingleInstanceXP() {
  if (!event_) return;
  PreserveLastError keep;
  kernel::CloseObject(event_);
  event_ = nullptr;
}

BOOL SingleInstanceXP::IsFirstInstance(BOOL global, const wchar_t* name) {
  if (event_) return kTrue;
  // PrepareName adds the namespace and cuts the whole name to the buffer.
  const std::wstring app = std::wstring(L"Brellick_App_") + (name ? name : L"");
  wchar_t full[kObjectNameChars];
  Synch::PrepareName(full, kObjectNameChars, app.c_str(), global);
  void* event = kernel::CreateEventObject(nullptr, kFalse, kFalse, full);
  if (!event) return kFalse;
  if (GetLastErrorCode() == err::kAlreadyExists) {
    PreserveLastError keep;
    kernel::CloseObject(event);
    return kFalse;
  }
  event_ = event;
  return kTrue;
}

}  // namespace tv
