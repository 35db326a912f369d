// The main dialog's two account lists ("Apply to", "Do not apply to"): how an object picked in
// the account picker becomes a list entry, how the picker's selection is walked, and what an
// addition or a removal does to the list and its selected item.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/types.h"
#include "settings/policy.h"

namespace tv {

// The longest domain part an entry keeps, in characters.
inline constexpr std::size_t kMaxEntryDomainChars = 273;

// One object of the picker's selection, as the directory-object picker reports it. Paths are
// those of the WinNT provider: "WinNT://" followed by the domain or computer and the account
// name, separated by "/".
struct PickedObject {
  std::wstring name;
  std::wstring path;
  std::wstring objectClass;  // "User", "Group", "Computer", ...
  std::wstring userPrincipalName;
};

// The list entry for a picked object: a group by its name (the path's last component); a user as
// "domain\name", or by name alone when the domain is this computer (`computerName`, compared
// without regard to case); the domain cut at kMaxEntryDomainChars. 0 with kNotSupported for any
// other class, kInvalidData for a path without an account name; `entry` is then untouched.
BOOL AccountEntryFromPicked(const PickedObject& object, const wchar_t* computerName, std::wstring& entry);

// Appends `entry` unless the list already holds it (same text, case aside); 0 with
// kAlreadyExists when it does, or kInvalidParameter for an empty entry.
BOOL AddAccountEntry(StrList& list, const std::wstring& entry);

// Adds every picked user and group in selection order; answers how many entries were added.
int AddPickedObjects(StrList& list, const std::vector<PickedObject>& objects, const wchar_t* computerName);

// Removes item `index`. Answers the item to select afterwards: the one now at the same index,
// else the new last item, else -1 for an empty list. An index outside the list changes nothing
// and answers -1 with kInvalidParameter.
int RemoveAccountEntry(StrList& list, int index);

// The picker's walk over its selection: `callback` is called once with (context, null, count);
// when that answers non-zero, once per object with (context, object, i) until it answers 0 or
// the objects end. 0 with kInvalidParameter for a null callback.
using PickedObjectCallback = int (*)(void* context, const PickedObject* object, std::size_t index);
BOOL ProcessPickedObjects(const std::vector<PickedObject>& objects, PickedObjectCallback callback, void* context);

// Whether two account names are the same name. Letters of the Latin and Cyrillic alphabets match
// whatever their case, as the system's account names do; other characters must be equal.
bool SameAccountName(const std::wstring& a, const std::wstring& b);

}  // namespace tv
