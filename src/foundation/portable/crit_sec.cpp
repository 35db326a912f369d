// Portable implementation of CritSec for builds without Win32: a recursive mutex.
#ifndef _WIN32

#include <mutex>
#include <new>

#include "foundation/crit_sec.h"

namespace tv {

CritSec::CritSec() : impl_(new (std::nothrow) std::recursive_mutex) {}

CritSec::~CritSec() { delete static_cast<std::recursive_mutex*>(impl_); }

void CritSec::Enter() {
  if (impl_) static_cast<std::recursive_mutex*>(impl_)->lock();
}

void CritSec::Leave() {
  if (impl_) static_cast<std::recursive_mutex*>(impl_)->unlock();
}

}  // namespace tv

#endif  // !_WIN32
