// Event names and the activity-report registration, shared by the agent's Win32 body and the
// portable build.
#include <atomic>

#include "agent/monitor.h"

namespace tv {
namespace {

// The service creates the events under the product's stem; an agent of another stem would wait
// on events nobody sets.
constexpr const wchar_t* kStem = L"Tarnvale";

std::atomic<void*> g_reportWindow{nullptr};

}  // namespace

std::wstring AgentIdleEventName(DWORD session) {
  return std::wstring(kStem) + L"EventIdle-" + std::to_wstring(static_cast<long>(session));
}

std::wstring AgentCancelEventName(DWORD session) {
  return std::wstring(kStem) + L"EventCancel-" + std::to_wstring(static_cast<long>(session));
}

std::wstring AgentQuitEventName() { return std::wstring(kStem) + L"EventQuit"; }

void SetActivityReportWindow(void* window) { g_reportWindow.store(window, std::memory_order_release); }

void* GetActivityReportWindow() { return g_reportWindow.load(std::memory_order_acquire); }

}  // namespace tv
