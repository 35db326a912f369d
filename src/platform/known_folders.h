// Where the shell keeps well-known folders. Only the one the product needs is asked for.
#pragma once

#include <cstddef>

#include "platform/types.h"

namespace tv {

// Copies the all-users application-data folder (the shell's special folder 35,
// CSIDL_COMMON_APPDATA) into `buffer`, cut at size - 1. Answers FALSE with an empty buffer when the
// system has no such folder. The portable build answers the environment variable
// TARNVALE_COMMON_APPDATA when it is set (an empty value meaning "no folder") and "/var/lib"
// otherwise.
BOOL GetCommonAppDataFolder(wchar_t* buffer, std::size_t size);

}  // namespace tv
