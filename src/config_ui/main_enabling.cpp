// The main dialog's enabling rules and its combo-box mappings.
#include "config_ui/main_enabling.h"

#include <algorithm>
#include <initializer_list>

#include "config_ui/main_dialog_ids.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

constexpr int kAllControls[] = {
    IDC_TARGET_LABEL, IDC_MANAGE, IDC_ENABLE, IDC_ENABLE_TRISTATE, IDC_USE_SCHEDULE, IDC_EDIT_SCHEDULE,
    IDC_MONITOR_KB, IDC_MONITOR_MOUSE, IDC_MONITOR_CPU, IDC_PERCENT_CPU, IDC_PERCENT_CPU_SPIN,
    IDC_PERCENT_CPU_UNIT, IDC_TIMEOUT, IDC_TIMEOUT_SPIN, IDC_TIMEOUT_UNIT, IDC_KEEP_LAST_USER, IDC_MSG_LINK,
    IDC_MSG_TIMEOUT, IDC_MSG_TIMEOUT_SPIN, IDC_MSG_TIMEOUT_UNIT, IDC_FULL_SCREEN, IDC_MSG_LOCKED_LINK,
    IDC_LOGOFF_STALE, IDC_STALE_COUNT, IDC_STALE_COUNT_SPIN, IDC_STALE_COUNT_UNIT, IDC_APPLY_TO,
    IDC_APPLY_TO_ADD, IDC_APPLY_TO_REMOVE, IDC_EXCLUDE, IDC_EXCLUDE_ADD, IDC_EXCLUDE_REMOVE, IDC_SHUTDOWN,
    IDC_SHUTDOWN_LABEL, IDC_SHUTDOWN_TIMEOUT, IDC_SHUTDOWN_TIMEOUT_SPIN, IDC_SHUTDOWN_TIMEOUT_UNIT,
    IDC_SHUTDOWN_ACTION, IDC_STATUS_GROUP, IDC_STATUS_LINE1, IDC_STATUS_LINE2, IDC_APPLY, IDC_OK,
    IDC_HELP_BUTTON, IDC_ABOUT, IDC_EXPORT, IDC_IMPORT, IDC_RESTORE_DEFAULTS, IDC_ACTIVITY_LINK, IDC_CHECK_UPDATES,
};

// What a policy-managed computer still lets the administrator do: look, export, leave. The
// Activity dialog then only shows its settings; an update changes no setting.
constexpr int kPolicyManagedUsable[] = {IDC_MANAGE, IDC_APPLY,  IDC_OK,     IDC_HELP_BUTTON,
                                        IDC_ABOUT,  IDC_EXPORT, IDC_MSG_LINK, IDC_MSG_LOCKED_LINK,
                                        IDC_ACTIVITY_LINK, IDC_CHECK_UPDATES};

constexpr DWORD kActionItems[] = {kActionSleep, kActionHibernate, kActionShutdown};

}  // namespace

MainEnabling::MainEnabling(const MyOpts& edited, bool gpoMode, bool policyManaged) {
  controls_.reserve(std::size(kAllControls));
  for (int id : kAllControls) controls_.push_back(ControlState{id, true, true});

  auto follow = [this](std::initializer_list<int> ids, bool on) {
    for (int id : ids) Find(id)->enabled = on;
  };
  follow({IDC_SHUTDOWN_TIMEOUT, IDC_SHUTDOWN_TIMEOUT_SPIN, IDC_SHUTDOWN_TIMEOUT_UNIT, IDC_SHUTDOWN_LABEL,
          IDC_SHUTDOWN_ACTION},
         edited.Shutdown != 0);
  follow({IDC_PERCENT_CPU, IDC_PERCENT_CPU_SPIN, IDC_PERCENT_CPU_UNIT}, edited.MonitorCPU != 0);
  follow({IDC_STALE_COUNT, IDC_STALE_COUNT_SPIN, IDC_STALE_COUNT_UNIT}, edited.LogoffStale != 0);

  if (policyManaged) {
    for (ControlState& c : controls_) c.enabled = false;
    for (int id : kPolicyManagedUsable) Find(id)->enabled = true;
  }

  Find(IDC_ENABLE)->visible = !gpoMode;
  Find(IDC_ENABLE_TRISTATE)->visible = gpoMode;
}

ControlState* MainEnabling::Find(int id) {
  auto it = std::find_if(controls_.begin(), controls_.end(), [id](const ControlState& c) { return c.id == id; });
  return it == controls_.end() ? nullptr : &*it;
}

const ControlState* MainEnabling::Find(int id) const { return const_cast<MainEnabling*>(this)->Find(id); }

bool MainEnabling::IsEnabled(int id) const {
  const ControlState* c = Find(id);
  return c && c->enabled;
}

bool MainEnabling::IsVisible(int id) const {
  const ControlState* c = Find(id);
  return c && c->visible;
}

int TriStateItem(const MyOpts& edited) {
  return edited.policyState <= kPolicyDisabled ? static_cast<int>(edited.policyState) : 0;
}

void ReadTriState(MyOpts& edited, int item) {
  const DWORD state = item >= 0 && item <= static_cast<int>(kPolicyDisabled) ? static_cast<DWORD>(item)
                                                                             : kPolicyNotConfigured;
  edited.policyState = state;
  edited.Enable = state == kPolicyEnabled ? kTrue : kFalse;
}

int ShutdownActionItem(DWORD action) {
  for (std::size_t i = 0; i < std::size(kActionItems); ++i) {
    if (kActionItems[i] == action) return static_cast<int>(i);
  }
  return -1;
}

DWORD ShutdownActionFromItem(int item, DWORD current) {
  if (item < 0 || item >= static_cast<int>(std::size(kActionItems))) return current;
  return kActionItems[static_cast<std::size_t>(item)];
}

}  // namespace tv
