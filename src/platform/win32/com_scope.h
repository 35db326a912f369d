// COM for the calling thread for as long as one object lives. A thread that already entered an
// apartment (the configuration utility's UI thread) keeps its own set-up, and COM is usable there
// too, so only a successful entry is left again.
#pragma once

#include "platform/win32/windows_include.h"

#include <objbase.h>

namespace tv {

class ComScope {
 public:
  ComScope() : hr_(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
  ~ComScope() {
    if (SUCCEEDED(hr_)) ::CoUninitialize();
  }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;

 private:
  HRESULT hr_;
};

}  // namespace tv
