// Win32 implementation of CritSec: a CRITICAL_SECTION.
#include "platform/win32/windows_include.h"

#include <new>

#include "foundation/crit_sec.h"

namespace tv {

CritSec::CritSec() : impl_(new (std::nothrow) CRITICAL_SECTION) {
  if (impl_) ::InitializeCriticalSection(static_cast<CRITICAL_SECTION*>(impl_));
}

CritSec::~CritSec() {
  if (!impl_) return;
  ::DeleteCriticalSection(static_cast<CRITICAL_SECTION*>(impl_));
  delete static_cast<CRITICAL_SECTION*>(impl_);
}

void CritSec::Enter() {
  if (impl_) ::EnterCriticalSection(static_cast<CRITICAL_SECTION*>(impl_));
}

void CritSec::Leave() {
  if (impl_) ::LeaveCriticalSection(static_cast<CRITICAL_SECTION*>(impl_));
}

}  // namespace tv
