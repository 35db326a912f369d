#include "service/membership.h"

#include <algorithm>
#include <cwctype>

#include "foundation/service_log.h"

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

// The names a directory look-up answers carry no authority: they match bare, as they always did.
void AddBare(const std::vector<std::wstring>& names, std::vector<TokenGroup>& out) {
  for (const std::wstring& n : names) out.push_back({std::wstring(), n});
}

// The account's groups as the directory tells them, for when its logon token cannot be read.
// Answers 0 when every look-up answered, else the error of the first that could not: then the
// groups in `out` are only some of them.
ErrorCode ReadDirectoryGroups(Accounts& accounts, const MembershipSubject& who, std::vector<TokenGroup>& out) {
  ErrorCode unknown = 0;
  std::vector<std::wstring> names;
  if (!IsLocalDomain(who.domain, who.computer)) {
    std::wstring server;
    ErrorCode noController = 0;
    if (!accounts.FindDomainController(who.domain, server)) {
      noController = GetLastErrorCode();
      server = L"\\\\" + who.computer;
    }
    if (accounts.GetUserGlobalGroups(server, who.user, names)) {
      AddBare(names, out);
    } else if (noController != 0) {
      // This computer was asked in the controller's place. That it does not know a domain user
      // says nothing about his domain's groups, which once let an excluded administrator of a
      // laptop off the network fall through to "monitored".
      unknown = noController;
    } else if (GetLastErrorCode() != err::kUserNotFound) {
      unknown = GetLastErrorCode();
    }
  }
  names.clear();
  if (accounts.GetUserLocalGroups(who.account, names)) {
    AddBare(names, out);
  } else {
    const ErrorCode e = GetLastErrorCode();
    if (e != err::kUserNotFound && e != err::kNoneMapped && unknown == 0) unknown = e;
  }
  return unknown;
}

std::wstring GroupName(const TokenGroup& g) { return g.domain.empty() ? g.name : g.domain + L"\\" + g.name; }
}  // namespace

std::wstring FormAccountName(const std::wstring& domain, const std::wstring& user, const std::wstring& computer) {
  std::wstring name = IsLocalDomain(domain, computer) ? user : domain + L"\\" + user;
  if (name.size() >= kAccountChars) name.resize(kAccountChars - 1);
  return name;
}

bool ListHas(const std::vector<std::wstring>& list, const std::wstring& name) {
  return std::any_of(list.begin(), list.end(), [&](const std::wstring& e) { return SameText(e, name); });
}

bool ListHasGroup(const std::vector<std::wstring>& list, const TokenGroup& group) {
  return ListHas(list, group.name) || (!group.domain.empty() && ListHas(list, GroupName(group)));
}

MembershipVerdict CheckMembership(Sessions& sessions, Accounts& accounts, const MembershipSubject& who,
                                  const std::vector<std::wstring>& applyTo, const std::vector<std::wstring>& exclude) {
  MembershipVerdict v;
  if (ListHas(exclude, who.account)) {
    v.eventId = evt::kSkippedExcluded;
    return v;
  }
  const bool namedOrEverybody = applyTo.empty() || ListHas(applyTo, who.account);
  if (exclude.empty() && namedOrEverybody) {
    // No group can change the verdict: no domain controller is kept waiting for it.
    v.monitor = true;
    v.eventId = evt::kMonitoringStarted;
    return v;
  }
  // The logon token holds every group the logon carries, nested and universal ones included,
  // and can be read with no domain controller in reach; the directory's global and local groups
  // miss nesting and need one. So the directory is asked only when the token cannot be read.
  std::vector<TokenGroup> groups;
  ErrorCode unknown = 0;
  if (!sessions.QueryTokenGroups(who.session, groups)) {
    groups.clear();
    unknown = ReadDirectoryGroups(accounts, who, groups);
  }
  for (const TokenGroup& g : groups) {
    if (ListHasGroup(exclude, g)) {
      v.eventId = evt::kSkippedExcludedGroup;
      v.group = GroupName(g);
      return v;
    }
  }
  bool included = namedOrEverybody;
  for (const TokenGroup& g : groups) included = included || ListHasGroup(applyTo, g);
  if (unknown != 0 && !exclude.empty()) {
    // A group that was not read may be one the administrator never wants logged off. Counting
    // unread groups as none, as once done, logged such users off; not monitoring them merely
    // keeps a session open.
    v.eventId = evt::kSkippedGroupsUnknown;
    v.groupsUnknown = unknown;
    return v;
  }
  // Only "Apply to" is left to decide; the groups that were read may already include the user.
  if (unknown != 0 && !included) v.groupsUnknown = unknown;
  v.monitor = included;
  v.eventId = included ? evt::kMonitoringStarted : evt::kSkippedNotApplied;
  return v;
}

void LogMembershipVerdict(EventLog& log, const std::wstring& account, const MembershipVerdict& verdict) {
  if (verdict.eventId == evt::kSkippedGroupsUnknown) {
    LogError(log, verdict.eventId, account, verdict.groupsUnknown);
    return;
  }
  if (verdict.groupsUnknown != 0) LogError(log, evt::kDecidedWithoutGroups, account, verdict.groupsUnknown);
  if (verdict.eventId == evt::kSkippedExcludedGroup) {
    LogEvent2(log, verdict.eventId, account, verdict.group);
  } else {
    LogEvent(log, verdict.eventId, account);
  }
}

}  // namespace tv
