#include "simulator/sim_settings.h"

#include <algorithm>
#include <cwctype>
#include <optional>

#include "foundation/split_text.h"
#include "foundation/text_file.h"
#include "platform/last_error.h"
#include "settings/import_checks.h"
#include "settings/my_opts.h"
#include "settings/options.h"
#include "settings/reg_key.h"
#include "settings/schedule.h"
#include "settings/schedule_advice.h"
#include "settings/schedule_grid.h"
#include "settings/settings_file.h"

namespace tv {

namespace {

// Which names the service reads, and how, is the import check's one list, so that the simulator,
// the utility and tv-regxml never disagree about a file.
bool SameName(const std::wstring& a, const wchar_t* b) { return CompareRegNames(a, b) == 0; }


class LineFinder {
 public:
  explicit LineFinder(const std::wstring& text) {
    for (std::wstring_view piece : SplitText(text, L'\n', false)) {
      std::wstring line(piece);
      for (wchar_t& c : line) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
      lines_.push_back(std::move(line));
    }
  }
  // The first line from `from` on (1-based) with Name="<name>"; 0 when none.
  int Find(const std::wstring& name, int from = 1) const {
    std::wstring needle = L"name=\"" + name + L"\"";
    for (wchar_t& c : needle) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    for (std::size_t i = static_cast<std::size_t>(std::max(from, 1)) - 1; i < lines_.size(); ++i) {
      if (lines_[i].find(needle) != std::wstring::npos) return static_cast<int>(i) + 1;
    }
    return 0;
  }

 private:
  std::vector<std::wstring> lines_;
};

std::wstring Where(const std::wstring& file, int line) {
  return line > 0 ? file + L":" + std::to_wstring(line) + L": " : file + L": ";
}

// Text the service would read as a number: optional blanks, an optional sign, digits.
bool IsNumberText(const std::wstring& text) {
  std::size_t i = 0;
  while (i < text.size() && std::iswspace(static_cast<wint_t>(text[i]))) ++i;
  if (i < text.size() && (text[i] == L'-' || text[i] == L'+')) ++i;
  const std::size_t digits = i;
  while (i < text.size() && text[i] >= L'0' && text[i] <= L'9') ++i;
  return i > digits && i == text.size();
}

bool CheckValues(RegKey& key, const LineFinder& lines, const std::wstring& file, std::vector<std::wstring>* notes,
                 std::wstring* error) {
  std::wstring name;
  DWORD type = 0;
  for (DWORD i = 0; key.GetValueByIndex(i, &name, &type); ++i) {
    const int line = lines.Find(name);
    std::vector<std::uint8_t> data;
    (void)key.GetValue(name.c_str(), &type, &data);
    if (IsNumberSetting(name)) {
      if (type == reg::kSz || type == reg::kExpandSz) {
        std::wstring text;
        (void)key.GetStr(name.c_str(), &text);
        if (!IsNumberText(text)) {
          *error = Where(file, line) + NotANumberText(name, text);
          return false;
        }
      } else if ((type == reg::kDword || type == reg::kBinary) ? data.size() > 4 : true) {
        *error = Where(file, line) + name + L" must be a number (REG_DWORD)";
        return false;
      }
    } else if (IsTextSetting(name)) {
      if (type != reg::kSz && type != reg::kExpandSz) {
        *error = Where(file, line) + name + L" must be text (REG_SZ)";
        return false;
      }
      if (SameName(name, L"Schedule")) {
        std::wstring text;
        (void)key.GetStr(name.c_str(), &text);
        // Read as the service reads it: "*" is always, like an empty schedule.
        if (const std::optional<ScheduleAdvice> advice = AdviseOnSchedule(text)) {
          *error = Where(file, line) + L"the schedule cannot be read from \"" + text.substr(advice->offset) +
                   L"\" on: " + DescribeScheduleAdvice(*advice) + L".";
          const std::wstring whole = RewriteSchedule(text);
          if (!whole.empty() && whole != advice->rewrite) *error += L"\n  The whole schedule, corrected: \"" + whole + L"\"";
          *error += L"\n" + ScheduleFormatHelp();
          return false;
        }
      }
    } else if (!IsKnownProductValue(name)) {
      notes->push_back(Where(file, line) + UnknownValueText(name));
    }
  }
  std::wstring sub;
  for (DWORD i = 0; key.GetSubKeyByIndex(i, &sub); ++i) {
    if (!IsKnownProductKey(sub)) {
      notes->push_back(Where(file, lines.Find(sub)) + UnknownKeyText(sub));
    }
  }
  return true;
}

std::wstring JoinList(const StrList& list) {
  std::wstring out;
  for (const std::wstring& s : list) out += (out.empty() ? L"" : L", ") + s;
  return out;
}

std::wstring Minutes(DWORD n) { return std::to_wstring(n) + (n == 1 ? L" minute" : L" minutes"); }

// The schedule as the service applies it: "*", a text without an active half hour and one that
// cannot be read are no schedule (the corrections are noted apart).
std::wstring DescribeSchedule(const MyOpts& o) {
  const std::wstring always = L"In force at all times (no schedule).";
  if (!o.UseSchedule || o.GetScheduleObj().IsDefault()) return always;
  PeriodList periods;
  if (o.GetScheduleObj().Parse(periods)) return always;
  const WeekGrid grid = GridFromPeriods(periods);
  if (grid.IsAllOff()) return always;
  if (grid.IsAllOn()) return L"In force at all times (the schedule covers the whole week).";
  std::wstring text = o.GetSchedule();
  // The stored text ends every period with ", ", the last one too.
  while (!text.empty() && (text.back() == L' ' || text.back() == L',' || text.back() == L';')) text.pop_back();
  return L"In force only at these times: " + text + L".";
}

}  // namespace

bool LoadSettingsFile(const std::wstring& path, const std::wstring& shownName, MemKeyStore& keys,
                      std::vector<std::wstring>* notes, std::wstring* error) {
  std::wstring text;
  if (!ReadTextFile(path.c_str(), &text)) {
    *error = shownName + L": cannot read the file (error " + std::to_wstring(GetLastErrorCode()) + L")";
    return false;
  }
  RegKey key(kAppRootKey, true, keys);
  if (!key.IsOpen()) {
    *error = shownName + L": cannot prepare the settings key";
    return false;
  }
  if (!ImportRegKey(nullptr, key, path.c_str(), 1)) {
    const SettingsFileFailure& failure = GetLastSettingsFileFailure();
    std::wstring what = failure.text.empty() ? L"not a settings file (error " + std::to_wstring(failure.error) + L")"
                                             : failure.text;
    while (!what.empty() && (what.back() == L'\n' || what.back() == L'\r' || what.back() == L' ')) what.pop_back();
    for (wchar_t& c : what) {
      if (c == L'\r' || c == L'\n') c = L' ';
    }
    *error = Where(shownName, failure.line) + what;
    return false;
  }
  const LineFinder lines(text);
  std::vector<std::wstring> ignored;
  if (!notes) notes = &ignored;
  if (!CheckValues(key, lines, shownName, notes, error)) return false;

  MyOpts opts(keys);
  for (const SettingProblem& p : LoadSettingsInForce(opts, keys)) {
    notes->push_back(Where(shownName, lines.Find(p.name)) + p.name + L": " + p.what);
  }
  if (!opts.Enable) {
    notes->push_back(Where(shownName, lines.Find(L"Enable")) +
                     L"Tarnvale is not enabled (Enable is 0): it will watch nobody and log nobody off");
  }
  return true;
}

std::vector<SettingProblem> LoadSettingsInForce(MyOpts& opts, KeyStore& keys) {
  // A key that cannot be opened leaves the defaults, as it does for the service.
  (void)opts.Load();
  return CheckSettingsForService(opts, keys);
}

std::vector<std::wstring> DescribeSettings(const MyOpts& o) {
  std::vector<std::wstring> out;
  if (!o.Enable) {
    out.push_back(L"Tarnvale is switched off (Enable 0): it logs nobody off.");
    return out;
  }
  out.push_back(L"After " + Minutes(o.Timeout) + L" without input a session gets a warning; " +
                (o.MessageTimeout ? Minutes(o.MessageTimeout) + L" later" : std::wstring(L"right then")) +
                L" it is logged off, unsaved work included.");
  std::wstring input;
  if (o.MonitorKB) input += L"keyboard";
  if (o.MonitorMouse) input += input.empty() ? L"mouse" : L", mouse";
  if (o.MonitorCPU) {
    input += (input.empty() ? L"" : L", ") + std::wstring(L"processor load above ") + std::to_wstring(o.PercentCPU) + L" %";
  }
  out.push_back(input.empty() ? L"Nothing counts as activity (keyboard, mouse and processor are all unwatched)."
                              : L"Activity is: " + input + L".");
  out.push_back(L"Disconnected sessions are logged off without a warning once the time-out has passed.");
  if (o.LogoffStale) {
    out.push_back(L"Stale sessions: at each log-on, connect or unlock, when more than " +
                  std::to_wstring(o.LogoffStaleCount) +
                  L" sessions are watched, the ones with the oldest activity beyond that many are logged off at "
                  L"once, without a warning, even while in use.");
  }
  if (o.KeepLastActiveUser) {
    out.push_back(L"The session of the most recent log-on, connect or unlock is never logged off (whoever typed "
                  L"last is not spared for that).");
  }
  std::wstring kept;
  if (o.KeepAliveAudio) kept = L"sound played or recorded in it";
  if (o.KeepAlivePresentation) kept += (kept.empty() ? L"" : L", ") + std::wstring(L"a presentation or full-screen program");
  if (!o.KeepAliveProcesses.empty()) kept += (kept.empty() ? L"" : L", ") + std::wstring(L"a running ") + JoinList(o.KeepAliveProcesses);
  if (!kept.empty()) out.push_back(L"Also keeps a session in use without input: " + kept + L".");
  if (o.IdleFromFirstInput) out.push_back(L"A session's idle time starts at its first input (kiosks).");
  out.push_back(L"Applies to: " + (o.ApplyTo.empty() ? std::wstring(L"everybody") : JoinList(o.ApplyTo)) +
                (o.Exclude.empty() ? std::wstring(L".") : L"; never to: " + JoinList(o.Exclude) + L"."));
  out.push_back(DescribeSchedule(o));
  if (o.Shutdown) {
    out.push_back(std::wstring(L"Power: ") + MyOpts::GetShutdownActionText(o.ShutdownAction) + L" once nobody has been " +
                  L"logged on for " + Minutes(o.ShutdownTimeout) + L".");
  } else {
    out.push_back(L"Power: no action when nobody is logged on.");
  }
  return out;
}

}  // namespace tv
