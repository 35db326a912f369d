// Event names, shared by the agent's Win32 body and the portable build.
#include "agent/monitor.h"

#include "foundation/object_names.h"

namespace tv {
namespace {

// The service creates the events under the product's stem; an agent of another stem would wait
// on events nobody sets.
constexpr const wchar_t* kStem = L"Tarnvale";

}  // namespace

std::wstring AgentIdleEventName(DWORD session, const std::wstring& tag) { return IdleEventName(kStem, session, tag); }

std::wstring AgentCancelEventName(DWORD session, const std::wstring& tag) {
  return CancelEventName(kStem, session, tag);
}

std::wstring AgentQuitEventName(const std::wstring& tag) { return QuitEventName(kStem, tag); }

std::wstring AgentReloadEventName(DWORD session, const std::wstring& tag) {
  return ReloadEventName(kStem, session, tag);
}

}  // namespace tv
