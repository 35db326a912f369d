// The library TV64.DLL: exports the entries the launcher calls by name. The logic is linked in
// from the product's static libraries.
#include "platform/win32/windows_include.h"

#include "entry/config_entry.h"
#include "entry/dispatch.h"

extern "C" __declspec(dllexport) int DoWinMain(HINSTANCE instance, const wchar_t* commandLine, int showCommand) {
  return tv::DoWinMain(instance, commandLine, showCommand);
}

extern "C" __declspec(dllexport) int DoWinMainCFG(HINSTANCE instance, const wchar_t* commandLine, int showCommand) {
  return tv::DoWinMainCFG(instance, commandLine, showCommand);
}
