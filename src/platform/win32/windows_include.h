// The one place that includes <windows.h>: lean, without the min/max macros, and with the
// Windows version stated (mingw's default is too low for the terminal-services and power APIs).
#pragma once

#ifndef _WIN32
#error "windows_include.h is for the Windows build only"
#endif

#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0A00  // Windows 10
#endif
#ifndef WINVER
#define WINVER _WIN32_WINNT
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif

#include <windows.h>
