// The per-computer folder in which the product keeps its files (group-policy cache and the like).
#pragma once

#include <cstddef>

#include "platform/known_folders.h"
#include "platform/types.h"

namespace tv {

// The characters a data-folder buffer holds, terminator included; the name is cut to fit.
inline constexpr std::size_t kDataFolderChars = 260;

// Where the all-users folder comes from: the shell normally, a stand-in in tests.
using CommonFolderSource = BOOL (*)(wchar_t* buffer, std::size_t size);

// Writes the all-users application-data folder followed by "\Tarnvale" into `buffer`, which holds
// kDataFolderChars characters. No separator is added after a folder that already ends in "\" or
// "/"; a folder too long for the whole name keeps as much of the name as fits. Answers FALSE with
// an empty buffer when the system has no such folder. The folder is not created.
BOOL GetDataFolder(wchar_t* buffer, CommonFolderSource source = GetCommonAppDataFolder);

}  // namespace tv
