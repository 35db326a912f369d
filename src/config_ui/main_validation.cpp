// The main dialog's checks before a save, and its decisions around saving.
#include "config_ui/main_validation.h"

#include <cstdint>
#include <cwchar>

#include "config_ui/main_dialog_ids.h"
#include "foundation/string_table.h"
#include "platform/message_box.h"
#include "platform/service_manager.h"
#include "settings/my_config.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

// The dialog reads its edit fields as signed numbers, so a "-1" typed in arrives as 0xFFFFFFFF
// and must be reported as -1, not as four thousand million.
int AsSigned(DWORD value) { return static_cast<int>(static_cast<std::int32_t>(value)); }

ApplyVerdict Refuse(int stringId, int focus = 0) {
  ApplyVerdict v;
  v.kind = ApplyVerdict::Kind::kRefuse;
  v.stringId = stringId;
  v.focusControl = focus;
  return v;
}

struct RangeCheck {
  DWORD value;
  int low;
  int control;
};

}  // namespace

std::wstring ApplyVerdict::Text() const {
  if (kind == Kind::kAccept) return L"";
  const std::wstring format = LoadStr(stringId);
  if (stringId == IDS_VALUE_OUT_OF_RANGE) {
    wchar_t buffer[256];
    const int n = std::swprintf(buffer, sizeof buffer / sizeof buffer[0], format.c_str(), value, low, high);
    return n < 0 ? format : std::wstring(buffer, static_cast<std::size_t>(n));
  }
  // The table's own "%s" is filled by hand: a wide printf reads "%s" differently on the two
  // toolchains.
  std::wstring text = format;
  const std::size_t at = text.find(L"%s");
  if (at != std::wstring::npos) text.replace(at, 2, actionText);
  return text;
}

ApplyVerdict CheckApply(const MyOpts& edited, const ApplyTarget& target, Power* power) {
  if (target.policyManaged) return Refuse(IDS_POLICY_MANAGED);

  // Every number is checked even when its feature is off: a value kept in the registry must be
  // one the service can use the day the feature is ticked.
  const RangeCheck ranges[] = {
      {edited.Timeout, kMinTimeout, IDC_TIMEOUT},
      {edited.MessageTimeout, kMinMessageTimeout, IDC_MSG_TIMEOUT},
      {edited.LogoffStaleCount, kMinStaleCount, IDC_STALE_COUNT},
      {edited.ShutdownTimeout, kMinShutdownTimeout, IDC_SHUTDOWN_TIMEOUT},
  };
  for (const RangeCheck& r : ranges) {
    const int value = AsSigned(r.value);
    if (value < r.low || value > kMaxMinutes) {
      ApplyVerdict v = Refuse(IDS_VALUE_OUT_OF_RANGE, r.control);
      v.value = value;
      v.low = r.low;
      v.high = kMaxMinutes;
      return v;
    }
  }

  if (edited.Enable && !edited.MonitorKB && !edited.MonitorMouse && !edited.MonitorCPU) {
    return Refuse(IDS_NOTHING_MONITORED, IDC_MONITOR_KB);
  }

  // A GPO is applied on other computers, whose power capabilities this one cannot speak for.
  if (!target.gpoMode && edited.Shutdown && !MyOpts::CanDoShutdownAction(edited.ShutdownAction, power)) {
    ApplyVerdict v;
    v.kind = ApplyVerdict::Kind::kConfirm;
    v.stringId = IDS_ACTION_NOT_SUPPORTED;
    v.focusControl = IDC_SHUTDOWN_ACTION;
    v.actionText = MyOpts::GetShutdownActionText(edited.ShutdownAction);
    return v;
  }
  return ApplyVerdict{};
}

bool HasUnsavedChanges(const MyOpts& loaded, const MyOpts& edited, bool reloadRequested) {
  return reloadRequested || loaded.IsDifferent(edited) != 0;
}

UnsavedChangesAction OnUnsavedChangesAnswer(int answer) {
  switch (answer) {
    case kAnswerYes: return UnsavedChangesAction::kSaveThenGoOn;
    case kAnswerNo: return UnsavedChangesAction::kGoOn;
    default: return UnsavedChangesAction::kAbort;
  }
}

AfterSave DecideAfterSave(const MyOpts& readBack, const MyOpts& edited, const MyConfig& config) {
  AfterSave after;
  if (readBack.IsDifferent(edited) != 0) return after;
  after.noticeRefreshes = kAfterSaveNoticeRefreshes;
  after.showSavedMessage = !config.IsOn(kConfigHideSavedMsg);
  return after;
}

bool NeedsServiceStart(const MyOpts& edited, bool gpoMode, DWORD serviceState) {
  return !gpoMode && edited.Enable && serviceState != svc::kRunning;
}

}  // namespace tv
