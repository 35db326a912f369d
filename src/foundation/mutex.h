// A mutex that can be shared by name between processes (on Windows; within the process in the
// portable build). Ownership is per thread and recursive.
#pragma once

#include "platform/types.h"

namespace tv {

class MyMutex {
 public:
  // Creates or opens the mutex "Global\<name>" or "Local\<name>" (null name: unnamed), not owned.
  MyMutex(BOOL global, const wchar_t* name);
  ~MyMutex();
  MyMutex(const MyMutex&) = delete;
  MyMutex& operator=(const MyMutex&) = delete;

  // TRUE iff the calling thread acquired the mutex within `timeout` ms. A mutex whose previous
  // owner ended without releasing it is acquired but answers FALSE (the guarded state may be
  // half-changed).
  BOOL Wait(DWORD timeout);
  // Gives up one Wait of the calling thread; FALSE if the thread does not own it.
  BOOL Release();
  BOOL IsReady() const { return handle_ != nullptr ? kTrue : kFalse; }

 private:
  void* handle_;
};

}  // namespace tv
