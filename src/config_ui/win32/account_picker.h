// The account pickers of the main dialog's "Apply to" and "Do not apply to" lists: the system's
// directory object picker, and where that is missing or not usable, the product's own chooser of
// this computer's accounts. Both yield PickedObjects with WinNT paths.
#pragma once

// First, so that the declarations below see the system's own integer types.
#include "platform/win32/windows_include.h"

#include <ole2.h>

#include <vector>

#include "config_ui/account_list.h"

namespace tv {

// Kinds of account PickUsersGroups offers (bits that may be combined).
inline constexpr ::DWORD kPickUsers = 1;
inline constexpr ::DWORD kPickGroups = 2;
// With either of the above: also the well-known security principals and built-in groups.
inline constexpr ::DWORD kPickWellKnown = 4;

// Shows the system's object picker for users and/or groups (`kinds`), several at once, over
// `owner`. `joinedOverride` 1 or 0 says whether the computer is in a domain; -1 asks the system,
// and an unknown join status answers 0 without showing anything. TRUE with the selection in
// `*selection` (the caller releases it) when something was picked; FALSE otherwise, with
// ERROR_CANCELLED when the administrator closed the picker without a choice, ERROR_NOT_SUPPORTED
// when the system's picker answered without ever showing itself, or the error (an HRESULT for
// COM failures) that kept the picker from showing. `*selection` is set only on success.
BOOL PickUsersGroups(HWND owner, ::DWORD kinds, IDataObject** selection, int joinedOverride = -1);

// The same for computer accounts.
BOOL PickComputers(HWND owner, IDataObject** selection, int joinedOverride = -1);

// Reads the picker's selection list and walks it as ProcessPickedObjects does: `callback` with
// (context, null, count), then, while it answers non-zero, with each object and its index.
// FALSE (the HRESULT as error code) when the data object holds no selection list.
BOOL ProcessSelectedObjects(IDataObject* selection, PickedObjectCallback callback, void* context);

// What the main dialog's "+" buttons call: the system's picker for users, groups and well-known
// accounts; where it cannot be shown (no picker on this system, or none usable), the product's
// own chooser (template 106 of `resources`). TRUE with the picked objects replacing `picked`;
// FALSE with ERROR_CANCELLED when the administrator cancelled either, `picked` then untouched.
// A cancelled system picker is final: the chooser is not offered in its stead.
BOOL PickAccounts(HWND owner, HINSTANCE resources, std::vector<PickedObject>& picked);

}  // namespace tv
