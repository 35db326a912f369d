// The settings the simulator runs on: a settings file as the configuration utility exports it
// (the product's key as XML), imported into an in-memory registry under
// HKLM\SOFTWARE\Brellick\Tarnvale exactly as the product imports it, then checked for what the
// product would silently misread, and described in plain words.
#pragma once

#include <string>
#include <vector>

#include "platform/registry.h"
#include "settings/setting_checks.h"

namespace tv {

class MyOpts;

// Imports the settings file at `path` into `keys`. `shownName` is how messages name the file.
// On failure answers false with `error` as "<shownName>:<line>: <what>" (or without a line when
// the file as a whole is wrong). Values that would be misread (a number given as words, a schedule
// that cannot be read, a text setting stored as a number) are failures too. `notes` (may be
// null) receives remarks that do not stop the simulation ("<shownName>:<line>: ..."): names the
// service does not read, and values it corrects, in the words of its event log.
bool LoadSettingsFile(const std::wstring& path, const std::wstring& shownName, MemKeyStore& keys,
                      std::vector<std::wstring>* notes, std::wstring* error);

// Loads `opts` from its store (`keys`) and corrects it as the service does when it loads its
// settings: what the simulator shows and runs must be what the service would act on, not what is
// stored. Answers what was corrected, in the service's words.
std::vector<SettingProblem> LoadSettingsInForce(MyOpts& opts, KeyStore& keys);

// The settings (as LoadSettingsInForce leaves them) in a few lines a newcomer understands: when Tarnvale warns and logs off, whom it
// leaves alone, when its rules are in force, what it does with an empty computer.
std::vector<std::wstring> DescribeSettings(const MyOpts& opts);

}  // namespace tv
