// One move-only owner per handle kind. A Traits class says what the handle type is, which values
// are invalid and how to close one; the owner closes exactly once and never hides a failure's
// error code behind the error of its own cleanup.
//
//   struct FooTraits {
//     using Handle = Foo*;
//     static Handle Invalid() { return nullptr; }
//     static bool IsValid(Handle h) { return h != nullptr; }
//     static void Close(Handle h) { ReleaseFoo(h); }
//   };
//   using UniqueFoo = UniqueHandle<FooTraits>;
#pragma once

#include <utility>

#include "platform/last_error.h"

namespace tv {

template <class Traits>
class UniqueHandle {
 public:
  using Handle = typename Traits::Handle;

  UniqueHandle() : handle_(Traits::Invalid()) {}
  explicit UniqueHandle(Handle handle) : handle_(handle) {}
  ~UniqueHandle() { Close(); }

  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;

  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }

  // The owned handle, still owned.
  Handle get() const { return handle_; }
  bool valid() const { return Traits::IsValid(handle_); }

  // Gives up ownership without closing.
  Handle release() {
    Handle h = handle_;
    handle_ = Traits::Invalid();
    return h;
  }

  // Closes what is owned (keeping the caller's last error) and takes `handle`.
  void reset(Handle handle = Traits::Invalid()) {
    if (handle == handle_) return;
    Close();
    handle_ = handle;
  }

 private:
  void Close() {
    if (!Traits::IsValid(handle_)) return;
    PreserveLastError keep;
    Traits::Close(handle_);
    handle_ = Traits::Invalid();
  }

  Handle handle_;
};

}  // namespace tv
