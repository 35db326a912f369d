// Whom the rules apply to: the account name a session's user is known by, and the test of the
// "Apply to" and "Do not apply to" lists against the account and its groups.
#pragma once

#include <string>
#include <vector>

#include "platform/accounts.h"
#include "platform/event_log.h"
#include "platform/sessions.h"
#include "platform/types.h"

namespace tv {

// The capacity of an account name, terminator included; a longer one is cut.
inline constexpr std::size_t kAccountChars = 256;

// "user" for a local account (no domain, or the domain is this computer), else "DOMAIN\user".
std::wstring FormAccountName(const std::wstring& domain, const std::wstring& user, const std::wstring& computer);

// Whether `name` equals an entry of `list`, ignoring case.
bool ListHas(const std::vector<std::wstring>& list, const std::wstring& name);

// Whether `group` is in `list`, as "DOMAIN\Group" or as the bare "Group", ignoring case.
bool ListHasGroup(const std::vector<std::wstring>& list, const TokenGroup& group);

// Who a session's user is, for the membership test.
struct MembershipSubject {
  SessionId session = kNoSession;
  std::wstring computer;  // this computer's name
  std::wstring domain;    // as the session reports it
  std::wstring user;
  std::wstring account;  // FormAccountName of the three above
};

struct MembershipVerdict {
  bool monitor = false;
  // The entry explaining the verdict: kMonitoringStarted, kSkippedExcluded,
  // kSkippedExcludedGroup (with `group`), kSkippedNotApplied, or kSkippedGroupsUnknown.
  DWORD eventId = 0;
  std::wstring group;
  // Not 0 when the verdict had to be taken without the user's groups: the error of the
  // directory look-up that failed. With kSkippedGroupsUnknown it explains the skip; with the
  // other verdicts it is reported beside them (kDecidedWithoutGroups).
  ErrorCode groupsUnknown = 0;
};

// Tests `who` against the lists: the account in `exclude` skips it; then its groups, read from
// the logon token of its session (complete, nested groups included, known without a domain
// controller), or, when the token cannot be read, from the directory (the global groups from a
// controller of its domain, or this computer when none answers, and the local groups). A group
// in `exclude` skips it, a group or the account in `applyTo` includes it, and an empty `applyTo`
// takes everybody. When the groups can be had from neither and a group could decide, a user
// whom a group of a non-empty `exclude` may cover is not monitored, and otherwise `applyTo` is
// applied without the groups.
MembershipVerdict CheckMembership(Sessions& sessions, Accounts& accounts, const MembershipSubject& who,
                                  const std::vector<std::wstring>& applyTo, const std::vector<std::wstring>& exclude);

// Writes the verdict's entries for `account`: kDecidedWithoutGroups first when the verdict was
// taken without the groups, then the verdict's own entry.
void LogMembershipVerdict(EventLog& log, const std::wstring& account, const MembershipVerdict& verdict);

}  // namespace tv
