#include "settings/setting_checks.h"

#include <cwctype>

#include "foundation/utf16.h"
#include "settings/my_opts.h"
#include "settings/policy.h"
#include "settings/program_names.h"
#include "settings/reg_key.h"
#include "settings/schedule_grid.h"

namespace tv {

namespace {

struct Range {
  const wchar_t* name;
  DWORD MyOpts::*field;
  DWORD low;
  DWORD high;
  DWORD fallback;
};

// The ranges the configuration utility's fields allow, with the defaults of a fresh computer.
// MessageTimeout 0 is a real choice (log off as soon as the warning is shown).
constexpr Range kRanges[] = {
    {L"Timeout", &MyOpts::Timeout, 1, 9999, 10},
    {L"MessageTimeout", &MyOpts::MessageTimeout, 0, 9999, 5},
    {L"LogoffStaleCount", &MyOpts::LogoffStaleCount, 1, 9999, 5},
    {L"PercentCPU", &MyOpts::PercentCPU, 1, 100, 25},
    {L"ShutdownTimeout", &MyOpts::ShutdownTimeout, 1, 9999, 10},
};

std::wstring Num(DWORD v) { return std::to_wstring(v); }

const wchar_t* TypeName(DWORD type) {
  switch (type) {
    case reg::kSz: return L"text";
    case reg::kExpandSz: return L"expandable text";
    case reg::kBinary: return L"binary data";
    case reg::kMultiSz: return L"a list of texts";
    case reg::kQword: return L"a 64-bit number";
    default: return L"an unknown type";
  }
}

// Whether `text` is a plain decimal number that the record reads exactly as written.
bool IsPlainNumber(const std::wstring& text) {
  std::size_t i = 0;
  while (i < text.size() && std::iswspace(text[i])) ++i;
  if (i < text.size() && (text[i] == L'+')) ++i;
  const std::size_t digits = i;
  while (i < text.size() && text[i] >= L'0' && text[i] <= L'9') ++i;
  if (i == digits || i - digits > 10) return false;
  while (i < text.size() && std::iswspace(text[i])) ++i;
  return i == text.size();
}

// A number stored in a form the record reads as something else than it says, or not at all.
void CheckStoredForm(const RegKey& key, const wchar_t* name, std::vector<SettingProblem>& out) {
  DWORD type = reg::kNone;
  std::vector<std::uint8_t> data;
  if (!key.GetValue(name, &type, &data)) return;  // absent: the default, as documented
  if (type == reg::kDword) return;
  if (type == reg::kBinary && data.size() <= 4) return;
  if (type == reg::kSz || type == reg::kExpandSz) {
    const std::wstring text = data.size() <= 128 ? FromUtf16Le(data.data(), data.size(), true) : std::wstring();
    if (IsPlainNumber(text)) return;
    out.push_back({name, L"stored as text that is not a whole number, so it is read as the number it starts with, or 0"});
    return;
  }
  out.push_back({name, std::wstring(L"stored as ") + TypeName(type) + L" instead of a number, so it is not read"});
}

}  // namespace

std::vector<SettingProblem> CheckSettingsForService(MyOpts& opts, KeyStore& store) {
  std::vector<SettingProblem> out;
  {
    RegKey key(opts.policyInForce ? kComputerPolicyKey : kAppRootKey, false, store);
    if (key.IsOpen()) {
      for (const auto& [name, value] : opts.NumberValues()) CheckStoredForm(key, name, out);
    }
  }
  for (const Range& r : kRanges) {
    DWORD& v = opts.*(r.field);
    if (v >= r.low && v <= r.high) continue;
    // A negative number typed as text arrives as a huge one; say what was meant.
    const std::wstring shown = v > 0x7FFFFFFFu ? std::to_wstring(static_cast<long long>(static_cast<int>(v))) : Num(v);
    out.push_back({r.name, shown + L" is outside " + Num(r.low) + L" to " + Num(r.high) + L"; " + Num(r.fallback) +
                               L" is used instead"});
    v = r.fallback;
  }
  if (opts.UseSchedule && *opts.GetSchedule() && !opts.GetScheduleObj().IsDefault()) {
    PeriodList periods;
    const wchar_t* bad = opts.GetScheduleObj().Parse(periods);
    if (bad) {
      out.push_back({L"Schedule", L"cannot be read from \"" + std::wstring(bad).substr(0, 40) +
                                      L"\" on; the log-off stays in force at all times"});
    } else if (GridFromPeriods(periods).IsAllOff()) {
      // Only blanks or empty periods: no half hour is active, which counts as no schedule.
      out.push_back({L"Schedule", L"leaves no half hour of the week active; the log-off stays in force at all times"});
    }
  }
  // An entry that cannot name a program is dropped, so that it matches nothing; the rest of the
  // list still keeps its sessions alive.
  auto& programs = opts.KeepAliveProcesses;
  for (auto it = programs.begin(); it != programs.end();) {
    const std::wstring problem = ProgramNameProblem(*it);
    if (problem.empty()) {
      ++it;
      continue;
    }
    out.push_back({L"KeepAliveProcesses", problem + L"; that entry is ignored"});
    it = programs.erase(it);
  }
  return out;
}

std::wstring DescribeProblems(const std::vector<SettingProblem>& problems) {
  std::wstring text;
  for (const SettingProblem& p : problems) text += p.name + L": " + p.what + L"\n";
  return text;
}

}  // namespace tv
