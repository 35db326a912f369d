#include "service/work_queue.h"

namespace tv {

WorkQueue::~WorkQueue() { Shutdown(); }

void WorkQueue::Shutdown() {
  Close();
  if (thread_.joinable()) thread_.join();
}

bool WorkQueue::Post(std::function<void()> work) {
  std::lock_guard<std::mutex> hold(mutex_);
  if (closed_) return false;
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { Run(); });
    } catch (...) {
      return false;
    }
  }
  items_.push_back(std::move(work));
  changed_.notify_all();
  return true;
}

void WorkQueue::Close() {
  std::lock_guard<std::mutex> hold(mutex_);
  closed_ = true;
  items_.clear();
  changed_.notify_all();
}

void WorkQueue::WaitIdle() {
  std::unique_lock<std::mutex> hold(mutex_);
  changed_.wait(hold, [this] { return items_.empty() && !busy_; });
}

void WorkQueue::Run() {
  std::unique_lock<std::mutex> hold(mutex_);
  for (;;) {
    changed_.wait(hold, [this] { return closed_ || !items_.empty(); });
    if (items_.empty()) return;  // closed, nothing left
    std::function<void()> work = std::move(items_.front());
    items_.pop_front();
    busy_ = true;
    hold.unlock();
    try {
      work();
    } catch (...) {
      // One item that failed half-way (out of memory) must not end the service's worker.
    }
    hold.lock();
    busy_ = false;
    changed_.notify_all();
  }
}

}  // namespace tv
