// Memory for the trees the XML reader builds.
//
// A document read from text becomes tens of thousands of small objects (nodes, items,
// attributes, strings). Taking each from the heap made reading several times slower than the
// parsing itself, so while a read runs, those objects come from an arena that the document owns
// and releases in one piece. The reader makes items through the virtual CreateTreeItem, which
// derived trees implement with a plain make_unique; class-level operator new (XmlArenaObject)
// lets those allocations land in the arena without the derived classes knowing. Outside a read
// every allocation goes to the heap as usual, so trees built or edited in code behave normally.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace tv {

class XmlArena {
 public:
  XmlArena() = default;
  ~XmlArena();
  XmlArena(const XmlArena&) = delete;
  XmlArena& operator=(const XmlArena&) = delete;

  // `size` bytes aligned to `align` (a power of two up to the largest fundamental alignment),
  // valid until the arena is destroyed. Throws std::bad_alloc.
  void* Allocate(std::size_t size, std::size_t align = alignof(std::max_align_t)) {
    return Take(objects_, size, align);
  }
  // Room for `count` characters. Characters are kept apart from the objects, so that the
  // objects lie densely together when the tree is walked (and destroyed) later.
  wchar_t* AllocateText(std::size_t count) {
    return static_cast<wchar_t*>(Take(text_, count * sizeof(wchar_t), alignof(wchar_t)));
  }

  // The arena that tree objects made on this thread come from, or null for the heap.
  static XmlArena* Current();

  // Makes `arena` the current one for its lifetime, then restores the previous one.
  class Scope {
   public:
    explicit Scope(XmlArena* arena);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    XmlArena* previous_;
  };

 private:
  struct Block {
    Block* next;
  };
  // One bump region: the free part of its newest block.
  struct Pool {
    char* next = nullptr;
    char* end = nullptr;
    std::size_t block_size = 16 * 1024;
  };

  void* Take(Pool& pool, std::size_t size, std::size_t align) {
    // The common case inline: the request fits into the pool's current block.
    std::size_t pad = (align - (reinterpret_cast<std::uintptr_t>(pool.next) & (align - 1))) & (align - 1);
    if (pool.next && pad + size <= static_cast<std::size_t>(pool.end - pool.next)) {
      char* p = pool.next + pad;
      pool.next = p + size;
      return p;
    }
    return TakeSlow(pool, size, align);
  }
  void* TakeSlow(Pool& pool, std::size_t size, std::size_t align);

  Block* blocks_ = nullptr;
  Pool objects_;
  Pool text_;
};

// Base of the tree's classes: objects made while an arena is current come from it (and their
// delete only runs the destructor); all others come from the heap. A small header before each
// object says which, so delete never needs to know the arena.
class XmlArenaObject {
 public:
  static void* operator new(std::size_t size);
  static void operator delete(void* object) noexcept;
  // Keeps placement new usable on derived classes.
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void*, void*) noexcept {}
};

}  // namespace tv
