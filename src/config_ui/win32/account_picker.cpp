// The system's directory object picker, and the fall-back to the product's account chooser.
#include "config_ui/win32/account_picker.h"

#include <lm.h>
#include <objsel.h>

#include "config_ui/win32/dlg_account_chooser.h"
#include "platform/win32/com_scope.h"

namespace tv {
namespace {

BOOL FailWith(::DWORD code) {
  ::SetLastError(code);
  return FALSE;
}

BOOL FailHr(HRESULT hr) { return FailWith(static_cast<::DWORD>(hr)); }

// 1 when the computer is in a domain, 0 when not, -1 (with the error) when the system cannot say.
int JoinStatus() {
  LPWSTR name = nullptr;
  NETSETUP_JOIN_STATUS status = NetSetupUnknownStatus;
  const NET_API_STATUS rc = ::NetGetJoinInformation(nullptr, &name, &status);
  if (name) ::NetApiBufferFree(name);
  if (rc != NERR_Success) {
    ::SetLastError(rc);
    return -1;
  }
  switch (status) {
    case NetSetupDomainName:
      return 1;
    case NetSetupWorkgroupName:
    case NetSetupUnjoined:
      return 0;
    default:
      ::SetLastError(ERROR_NO_SUCH_DOMAIN);
      return -1;
  }
}

// What one picker shows: the scope's default filter, and the filters for domain scopes
// (uplevel) and for computers and older domains (downlevel).
struct PickerFilter {
  ULONG defaultScopeFilter;
  ULONG uplevel;
  ULONG downlevel;
};

// The class as the rest of the product names it: the picker reports the directory's own class
// names ("user", "group", "computer"), and the lists compare "User" and "Group".
std::wstring ProductClass(PCWSTR pickerClass) {
  std::wstring name = pickerClass ? pickerClass : L"";
  for (const wchar_t* known : {L"User", L"Group", L"Computer"}) {
    if (::CompareStringOrdinal(name.c_str(), -1, known, -1, TRUE) == CSTR_EQUAL) return known;
  }
  return name;
}

// The objects of the selection list, in order.
BOOL ReadSelection(IDataObject* selection, std::vector<PickedObject>& out) {
  if (!selection) return FailWith(ERROR_INVALID_PARAMETER);
  FORMATETC format{static_cast<CLIPFORMAT>(::RegisterClipboardFormatW(CFSTR_DSOP_DS_SELECTION_LIST)), nullptr,
                   DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
  STGMEDIUM medium{};
  const HRESULT hr = selection->GetData(&format, &medium);
  if (FAILED(hr)) return FailHr(hr);
  BOOL ok = FALSE;
  const auto* list = medium.tymed == TYMED_HGLOBAL ? static_cast<const DS_SELECTION_LIST*>(::GlobalLock(medium.hGlobal))
                                                   : nullptr;
  if (list) {
    // The list's size bounds the count it claims, so a damaged list cannot make us read past it.
    const SIZE_T bytes = ::GlobalSize(medium.hGlobal);
    const SIZE_T header = offsetof(DS_SELECTION_LIST, aDsSelection);
    const SIZE_T fits = bytes > header ? (bytes - header) / sizeof(DS_SELECTION) : 0;
    const auto text = [](PCWSTR s) { return std::wstring(s ? s : L""); };
    std::vector<PickedObject> objects;
    for (ULONG i = 0; i < list->cItems && i < fits; ++i) {
      const DS_SELECTION& item = list->aDsSelection[i];
      objects.push_back(
          PickedObject{text(item.pwzName), text(item.pwzADsPath), ProductClass(item.pwzClass), text(item.pwzUPN)});
    }
    ::GlobalUnlock(medium.hGlobal);
    out = std::move(objects);
    ok = TRUE;
  } else {
    ::SetLastError(ERROR_INVALID_DATA);
  }
  {
    const ::DWORD error = ::GetLastError();
    ::ReleaseStgMedium(&medium);
    ::SetLastError(error);
  }
  return ok;
}

// Watches whether a window was activated on this thread while the picker ran. A picker that
// answers "nothing picked" without ever showing itself (Wine's stands in for the real one that
// way) gave the administrator no choice to cancel, so that answer must not count as a cancel.
// The system's picker shows its dialog modally on the calling thread, so a thread hook sees it.
class ShownWatch {
 public:
  ShownWatch() : hook_(::SetWindowsHookExW(WH_CBT, &ShownWatch::Hook, nullptr, ::GetCurrentThreadId())) {
    activations_ = 0;
  }
  ~ShownWatch() {
    if (hook_) ::UnhookWindowsHookEx(hook_);
  }
  ShownWatch(const ShownWatch&) = delete;
  ShownWatch& operator=(const ShownWatch&) = delete;

  // Without the hook nothing can be told, and a picker's answer is taken as given.
  bool Shown() const { return !hook_ || activations_ > 0; }

 private:
  static LRESULT CALLBACK Hook(int code, WPARAM wParam, LPARAM lParam) {
    if (code == HCBT_ACTIVATE) ++activations_;
    return ::CallNextHookEx(nullptr, code, wParam, lParam);
  }

  static thread_local int activations_;
  HHOOK hook_;
};
thread_local int ShownWatch::activations_ = 0;

BOOL ShowPicker(HWND owner, const PickerFilter& filter, IDataObject** selection, int joinedOverride) {
  if (!selection) return FailWith(ERROR_INVALID_PARAMETER);
  const int joined = joinedOverride >= 0 ? (joinedOverride ? 1 : 0) : JoinStatus();
  if (joined < 0) return FALSE;

  const ULONG common = DSOP_SCOPE_FLAG_WANT_PROVIDER_WINNT | DSOP_SCOPE_FLAG_WANT_DOWNLEVEL_BUILTIN_PATH |
                       filter.defaultScopeFilter;
  DSOP_SCOPE_INIT_INFO scopes[3]{};
  for (DSOP_SCOPE_INIT_INFO& scope : scopes) {
    scope.cbSize = sizeof scope;
    scope.flScope = common;
    scope.FilterFlags.Uplevel.flBothModes = filter.uplevel;
    scope.FilterFlags.flDownlevel = filter.downlevel;
  }
  scopes[0].flType = DSOP_SCOPE_TYPE_TARGET_COMPUTER;
  ULONG count = 1;
  if (joined) {
    scopes[1].flType = DSOP_SCOPE_TYPE_UPLEVEL_JOINED_DOMAIN | DSOP_SCOPE_TYPE_DOWNLEVEL_JOINED_DOMAIN;
    scopes[1].flScope |= DSOP_SCOPE_FLAG_STARTING_SCOPE;
    scopes[2].flType = DSOP_SCOPE_TYPE_ENTERPRISE_DOMAIN | DSOP_SCOPE_TYPE_GLOBAL_CATALOG |
                       DSOP_SCOPE_TYPE_EXTERNAL_UPLEVEL_DOMAIN | DSOP_SCOPE_TYPE_EXTERNAL_DOWNLEVEL_DOMAIN;
    count = 3;
  } else {
    scopes[0].flScope |= DSOP_SCOPE_FLAG_STARTING_SCOPE;
  }
  DSOP_INIT_INFO init{};
  init.cbSize = sizeof init;
  init.pwzTargetComputer = nullptr;  // this computer
  init.cDsScopeInfos = count;
  init.aDsScopeInfos = scopes;
  init.flOptions = DSOP_FLAG_MULTISELECT;

  IDsObjectPicker* picker = nullptr;
  HRESULT hr = ::CoCreateInstance(CLSID_DsObjectPicker, nullptr, CLSCTX_INPROC_SERVER, IID_IDsObjectPicker,
                                  reinterpret_cast<void**>(&picker));
  if (FAILED(hr) || !picker) return FailHr(FAILED(hr) ? hr : E_NOINTERFACE);
  IDataObject* result = nullptr;
  bool shown = false;
  hr = picker->Initialize(&init);
  if (SUCCEEDED(hr)) {
    ShownWatch watch;
    hr = picker->InvokeDialog(owner, &result);
    shown = watch.Shown();
  }
  picker->Release();
  if (FAILED(hr)) {
    if (result) result->Release();
    return FailHr(hr);
  }
  if (hr == S_FALSE && !shown) return FailWith(ERROR_NOT_SUPPORTED);
  std::vector<PickedObject> objects;
  if (hr == S_FALSE || !result || !ReadSelection(result, objects) || objects.empty()) {
    if (result) result->Release();
    return FailWith(ERROR_CANCELLED);
  }
  *selection = result;
  return TRUE;
}

int CollectPicked(void* context, const PickedObject* object, std::size_t) {
  if (object) static_cast<std::vector<PickedObject>*>(context)->push_back(*object);
  return 1;
}

}  // namespace

BOOL PickUsersGroups(HWND owner, ::DWORD kinds, IDataObject** selection, int joinedOverride) {
  const bool users = (kinds & kPickUsers) != 0;
  const bool groups = (kinds & kPickGroups) != 0;
  const bool wellKnown = (kinds & kPickWellKnown) != 0;
  if (!users && !groups) return FailWith(ERROR_INVALID_PARAMETER);
  PickerFilter filter{0, 0, 0};
  if (users) {
    filter.defaultScopeFilter |= DSOP_SCOPE_FLAG_DEFAULT_FILTER_USERS;
    filter.uplevel |= DSOP_FILTER_USERS | (wellKnown ? DSOP_FILTER_WELL_KNOWN_PRINCIPALS : 0);
    filter.downlevel |= DSOP_DOWNLEVEL_FILTER_USERS;
  }
  if (groups) {
    filter.defaultScopeFilter |= DSOP_SCOPE_FLAG_DEFAULT_FILTER_GROUPS;
    filter.uplevel |= DSOP_FILTER_UNIVERSAL_GROUPS_SE | DSOP_FILTER_GLOBAL_GROUPS_SE |
                      DSOP_FILTER_DOMAIN_LOCAL_GROUPS_SE | (wellKnown ? DSOP_FILTER_BUILTIN_GROUPS : 0);
    filter.downlevel |= DSOP_DOWNLEVEL_FILTER_LOCAL_GROUPS | DSOP_DOWNLEVEL_FILTER_GLOBAL_GROUPS;
  }
  if (wellKnown) filter.downlevel |= DSOP_DOWNLEVEL_FILTER_ALL_WELLKNOWN_SIDS;
  return ShowPicker(owner, filter, selection, joinedOverride);
}

BOOL PickComputers(HWND owner, IDataObject** selection, int joinedOverride) {
  const PickerFilter filter{DSOP_SCOPE_FLAG_DEFAULT_FILTER_COMPUTERS, DSOP_FILTER_COMPUTERS,
                            DSOP_DOWNLEVEL_FILTER_COMPUTERS};
  return ShowPicker(owner, filter, selection, joinedOverride);
}

BOOL ProcessSelectedObjects(IDataObject* selection, PickedObjectCallback callback, void* context) {
  if (!callback) return FailWith(ERROR_INVALID_PARAMETER);
  std::vector<PickedObject> objects;
  if (!ReadSelection(selection, objects)) return FALSE;
  return ProcessPickedObjects(objects, callback, context);
}

BOOL PickAccounts(HWND owner, HINSTANCE resources, std::vector<PickedObject>& picked) {
  try {
    ComScope com;
    IDataObject* selection = nullptr;
    if (PickUsersGroups(owner, kPickUsers | kPickGroups | kPickWellKnown, &selection)) {
      std::vector<PickedObject> objects;
      const BOOL ok = ProcessSelectedObjects(selection, &CollectPicked, &objects);
      selection->Release();
      if (!ok) return FALSE;
      picked = std::move(objects);
      return TRUE;
    }
    if (::GetLastError() == ERROR_CANCELLED) return FALSE;
    // No picker that could be shown (none on this system, or one that shows nothing): the
    // product's own chooser.
    DlgAccountChooser chooser(LocalAccountChooser());
    const int result = chooser.Run(resources, owner);
    if (result != IDOK) return FailWith(result < 0 ? ::GetLastError() : ERROR_CANCELLED);
    picked = chooser.Picked();
    return TRUE;
  } catch (...) {
    // Out of memory while copying names: nothing picked.
    return FailWith(ERROR_NOT_ENOUGH_MEMORY);
  }
}

}  // namespace tv
