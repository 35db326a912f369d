// The administrative templates (ADMX and its en-US ADML) for the computer policy key that the
// settings record reads, written from one table of every setting so that the templates and the
// record cannot name a value differently or offer a range the record would refuse. The settings
// tests hold the table against the record itself.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tv::admx {

// The policy key, as the templates write it (under HKLM) and as the record reads it.
inline constexpr const char* kPolicyKey = "SOFTWARE\\Policies\\Brellick\\Tarnvale";
// The category every policy sits in, and the templates' file stem.
inline constexpr const char* kCategory = "Tarnvale";

// How one setting is stored and offered.
enum class Kind {
  kSwitch,   // REG_DWORD 1/0: the policy's own Enabled/Disabled, or a check box inside one
  kDecimal,  // REG_DWORD within [min, max]
  kChoice,   // REG_DWORD, one of `choices` (values min..max)
  kText,     // REG_SZ of at most `max` characters
  kList,     // subkey whose REG_SZ values are named "1", "2", ... in order
};

struct Setting {
  const char* valueName;  // the registry value (or list subkey) name
  Kind kind;
  unsigned min;
  unsigned max;
  unsigned defaultValue;  // for the numeric kinds: the record's default
  const char* label;      // the element's label in the policy's dialog
  // The record itself enforces [min, max] when it loads from a GPO; when false, the range is
  // only what the templates offer (the record takes any value).
  bool recordChecksRange;
  std::vector<const char*> choices;  // kChoice: the display texts of min, min+1, ...
};

// One policy in the Group Policy editor: either an on/off policy whose state is `switchValue`
// (Enabled writes 1, Disabled 0), with optional elements shown when it is enabled, or a policy
// without a switch that only writes its elements.
struct Policy {
  const char* name;         // policy id; also the stem of its string ids
  const char* displayName;  // what the editor lists
  const char* explain;      // the help pane; blank lines separate paragraphs
  std::optional<Setting> switchValue;  // none: no on/off value of its own
  std::vector<Setting> elements;
};

// Every policy, in the order the editor lists them. Together they cover each setting of the
// record exactly once.
const std::vector<Policy>& Policies();

// The whole ADMX / ADML text (UTF-8, CR LF line ends).
std::string WriteAdmx();
std::string WriteAdml();

// Every setting of every policy (switches first within a policy), for checks.
std::vector<const Setting*> AllSettings();

}  // namespace tv::admx
