// Event names, shared by the agent's Win32 body and the portable build.
#include "agent/monitor.h"

namespace tv {
namespace {

// The service creates the events under the product's stem; an agent of another stem would wait
// on events nobody sets.
constexpr const wchar_t* kStem = L"Tarnvale";

}  // namespace

std::wstring AgentIdleEventName(DWORD session) {
  return std::wstring(kStem) + L"EventIdle-" + std::to_wstring(static_cast<long>(session));
}

std::wstring AgentCancelEventName(DWORD session) {
  return std::wstring(kStem) + L"EventCancel-" + std::to_wstring(static_cast<long>(session));
}

std::wstring AgentQuitEventName() { return std::wstring(kStem) + L"EventQuit"; }

}  // namespace tv
