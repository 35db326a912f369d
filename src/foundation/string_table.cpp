// The string table's texts, grouped by the part of the program that shows them. Texts are the
// product's own and are kept exactly, including their punctuation.
#include "foundation/string_table.h"

#include <algorithm>
#include <iterator>

namespace tv {
namespace {

struct Entry {
  int id;
  const wchar_t* text;
};

constexpr Entry kStrings[] = {
    // ---- XML reader and writer
    {21901, L"Error parsing XML document in line %d:\n\n%s: %s"},
    {21902, L"Unclosed comment"},
    {21903, L"Syntax error"},
    {21904, L"Unexpected"},
    {21905, L"Missing name of an element"},
    {21906, L"Missing '='"},
    {21907, L"Unquoted attribute value"},
    {21908, L"Missing closing quote"},
    {21909, L"Missing closing tag"},
    {21910, L"No XML data found."},
    // ---- Weekly schedule
    {21410, L"The schedule cannot be read from character %d on: \"%ls\""},
    {21411, L"The schedule cannot be checked: the current time is not a valid time."},
    // ---- Settings record: power action, GPO, value checks, built-in warning texts
    {2, L"This computer is not configured to '%s'. Are you sure you want to use this option anyway?"},
    {20, L"Could not load this GPO."},
    {23, L"The value %d is invalid; must be between %d and %d (inclusive)."},
    {100, L"Press OK to keep your session active. Otherwise, you will be logged off in less than %d minute(s) and any "
          L"unsaved work will be discarded!\r\n\r\nPress OK to stop the automatic log off."},
    {101, L"Unlock the screen to keep your session active. Otherwise, you will be logged off in less than %d minute(s) "
          L"and any unsaved work will be discarded!\r\n\r\nNote: Pressing OK is NOT ENOUGH, you must UNLOCK the screen "
          L"to keep your session active.\r\nLog on now to stop the automatic log off."},
    // ---- Service installation and control
    {7, L"Cannot register Tarnvale service."},
    {8, L"Cannot unregister Tarnvale service."},
    {9, L"The Tarnvale service has already started."},
    {10, L"The Tarnvale service has already stopped."},
    {11, L"The Tarnvale service will be stopped after the computer is restarted."},
    {12, L"The Tarnvale service has started."},
    {13, L"The Tarnvale service has stopped."},
    {14, L"Cannot start Tarnvale service. Log in as an admininstrator and try again. If the problem persists, "
         L"reinstall this application."},
    {15, L"Cannot stop Tarnvale service. Log in as an admininstrator and try again. If the problem persists, "
         L"reinstall this application."},
    {16, L"The Tarnvale service is not properly installed on this computer. Reinstalling this software may solve "
         L"this problem."},
    {17, L"Cannot communicate with the Tarnvale service. Check that the service is running and try again. If the "
         L"problem persists, reinstall this application."},
    // ---- Settings file
    {21920, L"The settings file cannot be imported: a KEY element has no Name."},
    {21921, L"The settings file cannot be imported: \"%ls\" is not a valid name for a registry key or value."},
    {21922, L"The settings file cannot be imported: the value of \"%ls\" is too long."},
    {21923, L"The settings file cannot be imported: the value of \"%ls\" is not a sequence of hexadecimal digits."},
    {21924, L"The settings file cannot be imported: it holds no KEY element."},
    // ---- Configuration utility
    {3, L"This option requires Windows Vista or later."},
    {5, L"This computer"},
    {6, L"GPO..."},
    {18, L"The settings have been saved."},
    {19, L"An error occurred while saving the settings."},
    {21, L"Tarnvale cannot be enabled without monitoring anything: tick at least one of the keyboard, the mouse "
         L"or the CPU activity."},
    {22, L"The settings of this computer are managed by a group policy and cannot be changed here."},
    {24, L"Just FYI: You can close the configuration utility (by pressing OK). The user activity will still be "
         L"monitored in the background."},
    {103, L"Do you want to restore the default settings?"},
    {104, L"Do you want to apply the changes?"},
    {105, L"Group Policy Objects cannot be edited here: this computer has no Group Policy Object Editor.\n\n"
          L"Tarnvale keeps editing the settings of this computer."},
    // ---- (further groups are added above this line, each under its own heading)
};

}  // namespace

const wchar_t* LoadStr(int id) {
  auto it = std::find_if(std::begin(kStrings), std::end(kStrings), [id](const Entry& e) { return e.id == id; });
  return it == std::end(kStrings) ? L"" : it->text;
}

std::wstring TextOrString(const wchar_t* text, int id) {
  if (text) return text;
  return LoadStr(id < 0 ? -id : id);
}

}  // namespace tv
