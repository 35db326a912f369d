#include "service/membership.h"

#include <algorithm>
#include <cwctype>

#include "service/service_log.h"

namespace tv {

namespace {
bool SameText(const std::wstring& a, const std::wstring& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
           return std::towupper(static_cast<wint_t>(x)) == std::towupper(static_cast<wint_t>(y));
         });
}

bool IsLocalDomain(const std::wstring& domain, const std::wstring& computer) {
  return domain.empty() || SameText(domain, computer);
}

// Looks at one set of groups: an excluded group ends the test, an applied one includes the user.
bool ScanGroups(const std::vector<std::wstring>& groups, const std::vector<std::wstring>& applyTo,
                const std::vector<std::wstring>& exclude, bool& included, std::wstring& excludedBy) {
  for (const std::wstring& g : groups) {
    if (ListHas(exclude, g)) {
      excludedBy = g;
      return true;
    }
  }
  for (const std::wstring& g : groups) {
    if (ListHas(applyTo, g)) included = true;
  }
  return false;
}
}  // namespace

std::wstring FormAccountName(const std::wstring& domain, const std::wstring& user, const std::wstring& computer) {
  std::wstring name = IsLocalDomain(domain, computer) ? user : domain + L"\\" + user;
  if (name.size() >= kAccountChars) name.resize(kAccountChars - 1);
  return name;
}

bool ListHas(const std::vector<std::wstring>& list, const std::wstring& name) {
  return std::any_of(list.begin(), list.end(), [&](const std::wstring& e) { return SameText(e, name); });
}

MembershipVerdict CheckMembership(Accounts& accounts, const std::wstring& computer, const std::wstring& domain,
                                  const std::wstring& user, const std::wstring& account,
                                  const std::vector<std::wstring>& applyTo, const std::vector<std::wstring>& exclude) {
  MembershipVerdict v;
  if (ListHas(exclude, account)) {
    v.eventId = evt::kSkippedExcluded;
    return v;
  }
  bool included = false;
  std::vector<std::wstring> groups;
  if (!IsLocalDomain(domain, computer)) {
    std::wstring server;
    if (!accounts.FindDomainController(domain, server)) server = L"\\\\" + computer;
    if (accounts.GetUserGlobalGroups(server, user, groups) &&
        ScanGroups(groups, applyTo, exclude, included, v.group)) {
      v.eventId = evt::kSkippedExcludedGroup;
      return v;
    }
  }
  groups.clear();
  if (accounts.GetUserLocalGroups(account, groups) && ScanGroups(groups, applyTo, exclude, included, v.group)) {
    v.eventId = evt::kSkippedExcludedGroup;
    return v;
  }
  if (!included && !ListHas(applyTo, account) && !applyTo.empty()) {
    v.eventId = evt::kSkippedNotApplied;
    return v;
  }
  v.monitor = true;
  v.eventId = evt::kMonitoringStarted;
  return v;
}

}  // namespace tv
