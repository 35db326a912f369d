// tv-regxml's work without its process: parsing the command line, moving a key to or from a
// settings file, and the words and exit code of every outcome, so that tests can run it on an
// in-memory registry.
#pragma once

#include <string>
#include <vector>

#include "platform/registry.h"

namespace tv {

// Exit codes of tv-regxml.
inline constexpr int kRegXmlOk = 0;
inline constexpr int kRegXmlFailed = 1;
inline constexpr int kRegXmlUsage = 2;
// The import into the product's key succeeded, but the file holds values the service cannot use
// as written or names the product does not know (printed one per line).
inline constexpr int kRegXmlImportedWithFindings = 3;

// Runs tv-regxml with `args` (without the program name). What it prints goes to `out` and
// `err`. `store` null: the system's registry on Windows, elsewhere an in-memory store that
// "--store FILE" loads and saves; a store given here is used as it is, and "--store FILE" then
// loads it from and saves it to that file as well (only for a MemKeyStore).
int RunRegXml(const std::vector<std::wstring>& args, std::wstring& out, std::wstring& err, MemKeyStore* store = nullptr);

}  // namespace tv
