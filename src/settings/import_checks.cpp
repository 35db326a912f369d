#include "settings/import_checks.h"

#include <algorithm>
#include <cwctype>
#include <iterator>

#include "foundation/reg_xml_tree.h"
#include "foundation/split_text.h"
#include "platform/registry.h"
#include "settings/my_opts.h"
#include "settings/options.h"
#include "settings/setting_checks.h"
#include "settings/settings_file.h"

namespace tv {
namespace {

// Values the product's key holds besides the record's settings: the export's policy state, the
// configuration utility's preferences and the service's statistics.
constexpr const wchar_t* kOtherValues[] = {L"NotConfigured", L"Config", L"ImpExpPath", L"GPOPath", L"DlgMain",
                                           L"SessionsTotal", L"SessionsMonitoring", L"SessionsMaximum",
                                           L"SessionsMaximumTime", L"LastLogoff"};
constexpr const wchar_t* kTextValues[] = {L"Schedule", L"MessageText", L"MessageTextIfLocked", L"UpdateSource"};
// The service's record of why each session is watched (watch_reasons.h) sits beside the lists.
constexpr const wchar_t* kSubKeys[] = {L"ApplyTo", L"Exclude", L"KeepAliveProcesses", L"Sessions"};

template <class Range>
bool Listed(const std::wstring& name, const Range& names) {
  return std::any_of(std::begin(names), std::end(names),
                     [&](const wchar_t* n) { return CompareRegNames(name, n) == 0; });
}

}  // namespace

bool IsTextSetting(const std::wstring& name) { return Listed(name, kTextValues); }
bool IsKnownProductKey(const std::wstring& name) { return Listed(name, kSubKeys); }

bool IsNumberSetting(const std::wstring& name) {
  static const std::vector<std::wstring> numbers = [] {
    MemKeyStore none;
    std::vector<std::wstring> list{L"Options"};
    for (const auto& [n, value] : MyOpts(none).NumberValues()) list.emplace_back(n);
    return list;
  }();
  return std::any_of(numbers.begin(), numbers.end(), [&](const std::wstring& n) { return CompareRegNames(name, n) == 0; });
}

namespace {

// Only digits, as the exporter writes a number; the format reads anything else as far as it is
// a number, which for words is 0.
bool IsPlainDigits(const std::wstring& text) {
  return !text.empty() && text.size() <= regxml::kMaxNumberChars &&
         std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

// Lines of the file, to name where an element stands. Elements of the product's format stand one
// per line; the first line naming the element wins.
class Lines {
 public:
  explicit Lines(const std::wstring& text) {
    for (std::wstring_view piece : SplitText(text, L'\n', false)) {
      std::wstring line(piece);
      for (wchar_t& c : line) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
      lines_.push_back(std::move(line));
    }
  }
  int Of(const std::wstring& name) const {
    std::wstring needle = L"name=\"" + name + L"\"";
    for (wchar_t& c : needle) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    for (std::size_t i = 0; i < lines_.size(); ++i)
      if (lines_[i].find(needle) != std::wstring::npos) return static_cast<int>(i) + 1;
    return 0;
  }

 private:
  std::vector<std::wstring> lines_;
};

}  // namespace

std::wstring NotANumberText(const std::wstring& name, const std::wstring& value) {
  return name + L" is \"" + value + L"\", which Tarnvale would read as 0: give a number";
}

std::wstring UnknownValueText(const std::wstring& name) {
  return L"'" + name + L"' is not a setting Tarnvale reads; it is ignored";
}

std::wstring UnknownKeyText(const std::wstring& name) { return L"the key '" + name + L"' is not read by the service"; }

bool IsKnownProductValue(const std::wstring& name) {
  return name.empty() || IsNumberSetting(name) || Listed(name, kTextValues) || Listed(name, kOtherValues);
}

std::vector<ImportFinding> CheckImportedSettings(RegKey& key, const std::wstring& fileText) {
  std::vector<ImportFinding> out;
  const Lines lines(fileText);
  auto add = [&](ImportFindingKind kind, const std::wstring& name, std::wstring what) {
    out.push_back({kind, name, lines.Of(name), std::move(what)});
  };

  std::wstring name;
  for (DWORD i = 0; key.GetValueByIndex(i, &name); ++i) {
    if (!IsKnownProductValue(name)) add(ImportFindingKind::kUnknownName, name, UnknownValueText(name));
  }
  for (DWORD i = 0; key.GetSubKeyByIndex(i, &name); ++i) {
    if (!Listed(name, kSubKeys)) add(ImportFindingKind::kUnknownName, name, UnknownKeyText(name));
  }

  // The key holds 0 where the file said "thirty": only the file still has the words.
  RegXmlTree tree(kTrue);
  const wchar_t* cursor = fileText.c_str();
  if (tree.Get(nullptr, cursor)) {
    for (XmlTree::Node* n = tree.GetHead(); n; n = n->GetNext()) {
      const XmlTreeItem* item = n->GetItem();
      if (!item || std::wstring(item->GetName() ? item->GetName() : L"") != L"DATA") continue;
      const wchar_t* valueName = item->GetAttribValue(L"Name");
      const wchar_t* value = item->GetAttribValue(L"Value");
      if (!valueName || !value || !IsNumberSetting(valueName)) continue;
      if (RegXmlItemType(*item) == RegXmlTreeItemType::kRegDword && !IsPlainDigits(value))
        add(ImportFindingKind::kNotANumber, valueName, NotANumberText(valueName, value));
    }
  }

  // What the service would make of a product key holding exactly this, whatever policy or other
  // settings this computer has.
  std::wstring text;
  if (ExportRegKeyToText(key, &text)) {
    MemKeyStore scratch;
    RegKey copy(kAppRootKey, true, scratch);
    if (copy.IsOpen() && ImportRegKeyFromText(nullptr, copy, text.c_str(), 1)) {
      copy.Close();
      MyOpts opts(scratch);
      (void)opts.Load();
      for (const SettingProblem& p : CheckSettingsForService(opts, scratch))
        add(ImportFindingKind::kServiceCorrects, p.name, p.name + L": " + p.what);
    }
  }
  return out;
}

std::wstring FormatImportFinding(const ImportFinding& finding, const std::wstring& file) {
  return file + (finding.line > 0 ? L":" + std::to_wstring(finding.line) : std::wstring()) + L": " + finding.what;
}

}  // namespace tv
