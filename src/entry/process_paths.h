// Where the running code lives: the folder of the library that holds it (TV64.DLL in the product,
// the test program in tests) and the running executable. The service is installed from there and
// the event-log texts are read from there.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv {

// File names of the launcher and of the library beside it that holds the product's code and its
// event-log texts.
inline constexpr const wchar_t* kLauncherFileName = L"TV64.EXE";
inline constexpr const wchar_t* kLibraryFileName = L"TV64.DLL";

// The folder of the module this code is linked into, ending in a separator. FALSE (with
// `folder` untouched) when the system cannot tell.
BOOL GetLibraryFolder(std::wstring& folder);

// The full path of the running executable. FALSE (with `path` untouched) when unknown.
BOOL GetExecutablePath(std::wstring& path);

}  // namespace tv
