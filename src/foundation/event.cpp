#include "foundation/event.h"

#include <cwchar>
#include <initializer_list>

#include "foundation/kernel_object.h"
#include "foundation/message_pump.h"
#include "platform/last_error.h"

namespace tv {
namespace {

void CloseHandleOf(void*& handle) {
  if (!handle) return;
  PreserveLastError keep;
  kernel::CloseObject(handle);
  handle = nullptr;
}

}  // namespace

// ---- Synch

Synch::~Synch() { Close(); }

BOOL Synch::Open(const wchar_t* name, BOOL global, DWORD access, BOOL inherit) {
  wchar_t full[kObjectNameChars];
  PrepareName(full, kObjectNameChars, name, global);
  Close();
  handle_ = Win32_Open(access, inherit, full[0] ? full : nullptr);
  return IsReady();
}

void Synch::PrepareName(wchar_t* buffer, size_t size, const wchar_t* name, BOOL global) {
  if (!buffer || size == 0) return;
  buffer[0] = L'\0';
  if (!name) return;
  // Cut by hand: what the printf family leaves in a buffer it truncates differs between runtimes.
  size_t used = 0;
  for (const wchar_t* part : {global ? L"Global\\" : L"Local\\", name}) {
    for (; *part && used + 1 < size; ++part) buffer[used++] = *part;
  }
  buffer[used] = L'\0';
}

void Synch::Close() { CloseHandleOf(handle_); }

BOOL Synch::Wait(DWORD timeout) {
  const DWORD result = kernel::WaitObject(handle_, timeout);
  last_wait_result_.store(result, std::memory_order_relaxed);
  return result == kernel::kWaitObject0 ? kTrue : kFalse;
}

BOOL Synch::MsgWait(DWORD timeout, DWORD wakeMask) {
  const DWORD result = kernel::MsgWaitObject(handle_, timeout, wakeMask);
  last_wait_result_.store(result, std::memory_order_relaxed);
  return result == kernel::kWaitObject0 ? kTrue : kFalse;
}

void* Synch::Win32_Open(DWORD, BOOL, const wchar_t*) { return nullptr; }

// ---- Event

BOOL Event::CreateOrOpen(const wchar_t* name, BOOL global, BOOL manualReset, BOOL initialState,
                         void* securityAttributes) {
  wchar_t full[kObjectNameChars];
  PrepareName(full, kObjectNameChars, name, global);
  Close();
  handle_ = kernel::CreateEventObject(securityAttributes, manualReset, initialState, full[0] ? full : nullptr);
  return IsReady();
}

BOOL Event::CreateNew(const wchar_t* name, BOOL global, BOOL manualReset, BOOL initialState,
                      void* securityAttributes) {
  if (!CreateOrOpen(name, global, manualReset, initialState, securityAttributes)) return kFalse;
  if (GetLastErrorCode() != err::kAlreadyExists) return kTrue;
  Close();  // keeps error 183 for the caller
  return kFalse;
}

BOOL Event::CreateNewForUser(const wchar_t* name, BOOL global, const wchar_t* userSid, DWORD accessMask,
                             BOOL manualReset, BOOL initialState) {
  if (!userSid || !*userSid) return Fail(err::kInvalidParameter);
  wchar_t sddl[kObjectNameChars];
  const int written = std::swprintf(sddl, kObjectNameChars, L"D:(A;;0x%lX;;;%ls)(A;;GA;;;SY)",
                                    static_cast<unsigned long>(accessMask), userSid);
  if (written < 0 || static_cast<size_t>(written) >= kObjectNameChars) return Fail(err::kInvalidParameter);
  void* attributes = kernel::NewSecurityAttributes(sddl, kTrue);
  if (!attributes) return kFalse;
  const BOOL created = CreateNew(name, global, manualReset, initialState, attributes);
  PreserveLastError keep;
  kernel::FreeSecurityAttributes(attributes);
  return created;
}

BOOL Event::QuerySecurity(std::wstring& sddl) const {
  if (!handle_) return Fail(err::kInvalidHandle);
  return kernel::QueryObjectSecurity(handle_, sddl);
}

void Event::Set() {
  if (handle_) kernel::SetEventObject(handle_);
}

void Event::Clear() {
  if (handle_) kernel::ResetEventObject(handle_);
}

void Event::Pulse() {
  if (handle_) kernel::PulseEventObject(handle_);
}

BOOL Event::IsSet() { return Wait(0); }

DWORD WaitForAnyEvent(Event* const* events, DWORD count, DWORD timeout) {
  void* handles[64];
  if (count == 0 || count > 64) return Fail(err::kInvalidParameter), kernel::kWaitFailed;
  for (DWORD i = 0; i < count; ++i) {
    handles[i] = static_cast<void*>(*events[i]);
    if (!handles[i]) return Fail(err::kInvalidHandle), kernel::kWaitFailed;
  }
  const DWORD result = kernel::WaitAnyObject(handles, count, timeout);
  if (result < count) return result;
  if (result >= kernel::kWaitAbandoned && result < kernel::kWaitAbandoned + count) return result - kernel::kWaitAbandoned;
  return result == kernel::kWaitTimeout ? kernel::kWaitTimeout : kernel::kWaitFailed;
}

void* Event::Win32_Open(DWORD access, BOOL inherit, const wchar_t* fullName) {
  return kernel::OpenEventObject(access, inherit, fullName);
}

// ---- EventSimple

EventSimple::EventSimple(const wchar_t* name, BOOL manualReset, BOOL initialState) {
  Open(name, manualReset, initialState);
}

EventSimple::~EventSimple() { Close(); }

BOOL EventSimple::Open(const wchar_t* name, BOOL manualReset, BOOL initialState) {
  Close();
  handle_ = kernel::CreateEventObject(nullptr, manualReset, initialState, name);
  already_exists_ = GetLastErrorCode() == err::kAlreadyExists ? kTrue : kFalse;
  return IsReady();
}

BOOL EventSimple::OpenEventW(DWORD access, BOOL inherit, const wchar_t* name) {
  Close();
  handle_ = kernel::OpenEventObject(access, inherit, name);
  already_exists_ = IsReady();
  return already_exists_;
}

BOOL EventSimple::Set(BOOL on) {
  if (!handle_) return Fail(err::kInvalidHandle);
  return on ? kernel::SetEventObject(handle_) : kernel::ResetEventObject(handle_);
}

BOOL EventSimple::WaitSignalled(DWORD timeout) {
  return kernel::WaitObject(handle_, timeout) == kernel::kWaitObject0 ? kTrue : kFalse;
}

BOOL EventSimple::WaitProcessAllMessages(void* hwnd, DWORD timeout, BOOL pumpAllInput) {
  return PumpingWait(handle_, timeout, pumpAllInput, hwnd, /*stopOnQuitAll=*/false);
}

void EventSimple::Close() { CloseHandleOf(handle_); }

}  // namespace tv
