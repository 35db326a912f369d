// The contract between the agent and its hook library TVH64.DLL: the library's file name, its one
// export and the callback through which it reports input.
#pragma once

#include "platform/types.h"

namespace tv {

// The hook library's file name; it lies beside TV64.DLL.
inline constexpr const wchar_t* kHookLibraryName = L"TVH64.DLL";
// The export's name, as GetProcAddress wants it.
inline constexpr const char* kHookExportName = "DoDllHook";

// Called by the library, on a thread of its own, with an activity kind (1 mouse, 2 keyboard) and
// the context given when reporting started. Must not wait for a thread that stops the hook.
using ActivityCallback = void (*)(int kind, void* context);

// DoDllHook(callback, context): a callback starts reporting (or redirects it while it runs); two
// nulls stop it. Once a stop returns, the old callback is never called again. 1 on success, 0
// with the system's error code when the hooks could not be installed.
using DoDllHookFn = BOOL (*)(ActivityCallback callback, void* context);

}  // namespace tv
