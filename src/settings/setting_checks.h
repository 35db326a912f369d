// What the service makes of settings that an administrator, a script or a damaged export left in a
// shape the record cannot use: a number stored as text that is not a number or as a type the
// record does not read, a value outside its range, a schedule that leaves no half hour active or
// cannot be read. None of them may switch the log-off off without a word: each is named here,
// with what the service uses instead, so that the service can write it to the event log.
#pragma once

#include <string>
#include <vector>

#include "platform/registry.h"

namespace tv {

class MyOpts;

struct SettingProblem {
  std::wstring name;  // the registry value's name ("Timeout")
  std::wstring what;  // what is wrong and what is used instead, one sentence without a full stop
};

// Brings every value the service relies on into the range the configuration utility allows,
// taking the documented default where a value lies outside (as a group policy object's values
// are corrected on load), and inspects the key that `opts` was loaded from (the policy key when
// `opts.policyInForce`, else the product's key, in `store`) for numbers stored in a form the
// record cannot read exactly. Answers every problem found, in the record's order; none is fatal.
std::vector<SettingProblem> CheckSettingsForService(MyOpts& opts, KeyStore& store);

// One line per problem, "<name>: <what>", for comparing one load's findings with the last.
std::wstring DescribeProblems(const std::vector<SettingProblem>& problems);

}  // namespace tv
