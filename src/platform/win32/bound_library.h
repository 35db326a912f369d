// Win32 run-time binding of a system library's entry points by name: a missing library or
// entry point leaves a null pointer, which callers answer as "not available".
#pragma once

#include "platform/win32/handles.h"

namespace tv {

class BoundLibrary {
 public:
  // Loads `name` from the system folder (only there, so a planted copy beside the executable is
  // never picked up); a library that cannot be loaded leaves every entry point null.
  explicit BoundLibrary(const wchar_t* name) {
    module_.reset(::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    if (!module_.valid() && ::GetLastError() == ERROR_INVALID_PARAMETER)  // systems without the flag
      module_.reset(::LoadLibraryW(name));
  }

  bool loaded() const { return module_.valid(); }

  // The entry point `name` as a function pointer of type Fn, or null.
  template <class Fn>
  Fn Get(const char* name) const {
    if (!module_.valid()) return nullptr;
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(::GetProcAddress(module_.get(), name)));
  }

 private:
  UniqueModule module_;
};

}  // namespace tv
