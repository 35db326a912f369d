// A critical section: the cheapest lock between the threads of one process. It is recursive, as
// the Windows object is: a thread that holds it may enter it again and leaves it as often.
#pragma once

namespace tv {

class CritSec {
 public:
  CritSec();
  ~CritSec();
  CritSec(const CritSec&) = delete;
  CritSec& operator=(const CritSec&) = delete;

  // Blocks until the calling thread holds the section.
  void Enter();
  // Gives up one Enter of the calling thread.
  void Leave();
  // Blocks until no other thread holds the section, without keeping it.
  void Wait() {
    Enter();
    Leave();
  }

 private:
  void* impl_;
};

// Holds a CritSec for the lifetime of a scope.
class CritSecLock {
 public:
  explicit CritSecLock(CritSec& section) : section_(section) { section_.Enter(); }
  ~CritSecLock() { section_.Leave(); }
  CritSecLock(const CritSecLock&) = delete;
  CritSecLock& operator=(const CritSecLock&) = delete;

 private:
  CritSec& section_;
};

}  // namespace tv
