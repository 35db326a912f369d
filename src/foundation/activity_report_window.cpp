// The process-wide registration of the window that hears of the agent's activity. It lives below
// both the agent and the configuration utility, which meet in one process only when the utility
// runs a monitor window of its own.
#include <atomic>

#include "foundation/app_message.h"

namespace tv {
namespace {

std::atomic<void*> g_reportWindow{nullptr};

}  // namespace

void SetActivityReportWindow(void* window) { g_reportWindow.store(window, std::memory_order_release); }

void* GetActivityReportWindow() { return g_reportWindow.load(std::memory_order_acquire); }

}  // namespace tv
