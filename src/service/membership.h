// Whom the rules apply to: the account name a session's user is known by, and the test of the
// "Apply to" and "Do not apply to" lists against the account and its global and local groups.
#pragma once

#include <string>
#include <vector>

#include "platform/accounts.h"
#include "platform/types.h"

namespace tv {

// The capacity of an account name, terminator included; a longer one is cut.
inline constexpr std::size_t kAccountChars = 256;

// "user" for a local account (no domain, or the domain is this computer), else "DOMAIN\user".
std::wstring FormAccountName(const std::wstring& domain, const std::wstring& user, const std::wstring& computer);

// Whether `name` equals an entry of `list`, ignoring case.
bool ListHas(const std::vector<std::wstring>& list, const std::wstring& name);

struct MembershipVerdict {
  bool monitor = false;
  // The entry explaining the verdict: kMonitoringStarted, kSkippedExcluded,
  // kSkippedExcludedGroup (with `group`) or kSkippedNotApplied.
  DWORD eventId = 0;
  std::wstring group;
};

// Tests `account` (formed as above from `domain` and `user`) against the lists, in this order:
// the account in `exclude`; for a domain account its global groups (from a controller of its
// domain, or this computer when none answers) in `exclude` or `applyTo`; its local groups the
// same way; then the account in `applyTo`. An empty `applyTo` takes everybody. Group look-ups
// that fail count as no groups.
MembershipVerdict CheckMembership(Accounts& accounts, const std::wstring& computer, const std::wstring& domain,
                                  const std::wstring& user, const std::wstring& account,
                                  const std::vector<std::wstring>& applyTo, const std::vector<std::wstring>& exclude);

}  // namespace tv
