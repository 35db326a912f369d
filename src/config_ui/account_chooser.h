// The account chooser shown where the system's object picker is missing (or not usable on a
// computer outside a domain): a list of this computer's local users and groups, several of which
// may be chosen, and a field for a typed "name" or "domain\name". What it yields is the same
// PickedObject the system's picker yields, so the main dialog's lists take either alike.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "config_ui/account_list.h"
#include "platform/types.h"

namespace tv {

// The characters an account name cannot hold (the system refuses them in user and group names).
inline constexpr const wchar_t* kAccountNameForbidden = L"\"/\\[]:|<>+=;,?*@";
// The longest account name accepted, in characters (the system's limit for group names).
inline constexpr std::size_t kMaxAccountNameChars = 256;

// One row of the chooser's list.
struct ChooserRow {
  std::wstring name;
  bool isGroup = false;
};

// The object for a local account of `computerName`: class "User" or "Group", path
// "WinNT://COMPUTER/name".
PickedObject LocalAccountObject(const std::wstring& computerName, const std::wstring& name, bool isGroup);

// Turns what was typed into the object it names. "name" (or "COMPUTER\name", ".\name",
// "BUILTIN\name") is an account of this computer: a group when `localGroups` holds it (case
// aside), else a user. "DOMAIN\name" is a user of that domain. Blanks around the text and around
// either part are ignored. On a text that names no account, answers 0 with kInvalidName and a
// sentence for the person in `problem`; `out` is then untouched.
BOOL ParseTypedAccount(const std::wstring& typed, const std::wstring& computerName,
                       const std::vector<std::wstring>& localGroups, PickedObject& out, std::wstring& problem);

// The chooser's contents: the rows (users first, then groups, each in alphabetical order without
// regard to case, a name listed once per kind) and how a choice becomes objects.
class AccountChooser {
 public:
  AccountChooser(std::wstring computerName, const std::vector<std::wstring>& users,
                 const std::vector<std::wstring>& groups);

  const std::wstring& ComputerName() const { return computerName_; }
  const std::vector<ChooserRow>& Rows() const { return rows_; }
  // The row as the list shows it: the name, a tab and "User" or "Group".
  std::wstring RowText(std::size_t row) const;

  // The objects for the chosen `rows` (in list order) followed by the one `typed` names, if any.
  // Fails with a sentence in `problem` when nothing is chosen and nothing typed (kInvalidParameter)
  // or the typed text names no account (kInvalidName); a row number outside the list is refused
  // with kInvalidParameter. `out` is replaced only on success.
  BOOL Choose(const std::vector<int>& rows, const std::wstring& typed, std::vector<PickedObject>& out,
              std::wstring& problem) const;

 private:
  std::wstring computerName_;
  std::vector<ChooserRow> rows_;
  std::vector<std::wstring> groups_;
};

}  // namespace tv
