#include "config_ui/win32/config_main.h"

namespace tv {

int DoWinMainCFG(HINSTANCE instance, const wchar_t* commandLine, int showCommand) { return 0; }

}  // namespace tv
