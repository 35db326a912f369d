// What a settings file brought into the product's key (or the "Temp" key of an import) that the
// service cannot use as written: a number given as words, which the file format reads as 0, a
// value or subkey the product does not know (a misspelt "Timeuot" is taken without a word by the
// format), and every value the service's own check at load corrects. The file format stays the
// generic registry dump it is; this check is what the importing tools add on top, so that the
// configuration utility, tv-regxml and tv-sim say the same thing about the same file.
#pragma once

#include <string>
#include <vector>

#include "platform/types.h"
#include "settings/reg_key.h"

namespace tv {

enum class ImportFindingKind {
  kUnknownName,     // a value or subkey the product does not read; it is ignored
  kNotANumber,      // a number setting whose file Value is not a whole number; it arrives as 0
  kServiceCorrects, // the service's check at load names it and uses another value
};

struct ImportFinding {
  ImportFindingKind kind = ImportFindingKind::kUnknownName;
  std::wstring name;  // the value's or subkey's name as the file spells it
  int line = 0;       // its line in the file, 0 when it cannot be found
  std::wstring what;  // one sentence that names it, without the file and line
};

// The sentences, shared with the simulator's own reading of a settings file.
std::wstring NotANumberText(const std::wstring& name, const std::wstring& value);
std::wstring UnknownValueText(const std::wstring& name);
std::wstring UnknownKeyText(const std::wstring& name);

// Whether the product's key holds a value of this name (a setting, the flag word, the
// utility's preferences, the service's statistics, the export's "NotConfigured"); compared as the
// registry compares names.
bool IsKnownProductValue(const std::wstring& name);
// Whether the service reads `name` as a number (a record setting or the flag word), as text, or
// (a subkey) as one of its lists or its per-session record.
bool IsNumberSetting(const std::wstring& name);
bool IsTextSetting(const std::wstring& name);
bool IsKnownProductKey(const std::wstring& name);

// Checks `key`, into which the settings file whose text is `fileText` was just imported: its
// values and subkeys as the product knows them, every number Value of the file, then the
// settings as the service would load them from such a key (CheckSettingsForService). `key` is
// only read. Findings come in that order, each with its line of the file.
std::vector<ImportFinding> CheckImportedSettings(RegKey& key, const std::wstring& fileText);

// "<file>:<line>: <what>" (without ":<line>" when the line is unknown).
std::wstring FormatImportFinding(const ImportFinding& finding, const std::wstring& file);

}  // namespace tv
