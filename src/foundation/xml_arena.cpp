// The XML reader's arena and the class-level allocation of the tree's objects.
#include "foundation/xml_arena.h"

#include <cstdint>
#include <cstdlib>

namespace tv {

namespace {

// The current arena is per thread: a read on one thread must not capture objects that another
// thread makes at the same time.
thread_local XmlArena* t_current = nullptr;

// Blocks grow to this size and stay there; a request larger than half of it gets its own block.
constexpr std::size_t kMaxBlockSize = 1024 * 1024;

// The header before each XmlArenaObject keeps the object at the strictest alignment.
constexpr std::size_t kHeader = alignof(std::max_align_t);
constexpr std::uintptr_t kFromHeap = 0x48454150;   // "HEAP"
constexpr std::uintptr_t kFromArena = 0x4152454E;  // "AREN"

char* AlignUp(char* p, std::size_t align) {
  auto value = reinterpret_cast<std::uintptr_t>(p);
  return p + ((align - (value & (align - 1))) & (align - 1));
}

}  // namespace

XmlArena::~XmlArena() {
  while (blocks_) {
    Block* next = blocks_->next;
    std::free(blocks_);
    blocks_ = next;
  }
}

void* XmlArena::TakeSlow(Pool& pool, std::size_t size, std::size_t align) {
  // A new block; the unused tail of the pool's old one is given up.
  std::size_t payload = size + align;
  bool own_block = payload > pool.block_size / 2;
  std::size_t block_size = own_block ? payload : pool.block_size;
  void* memory = std::malloc(kHeader + block_size);
  if (!memory) throw std::bad_alloc();
  auto* block = static_cast<Block*>(memory);
  block->next = blocks_;
  blocks_ = block;
  char* begin = static_cast<char*>(memory) + kHeader;
  char* p = AlignUp(begin, align);
  if (own_block) return p;  // an oversized request: the pool's current block stays in use
  pool.next = p + size;
  pool.end = begin + block_size;
  if (pool.block_size < kMaxBlockSize) pool.block_size *= 2;
  return p;
}

XmlArena* XmlArena::Current() { return t_current; }

XmlArena::Scope::Scope(XmlArena* arena) : previous_(t_current) { t_current = arena; }

XmlArena::Scope::~Scope() { t_current = previous_; }

void* XmlArenaObject::operator new(std::size_t size) {
  XmlArena* arena = t_current;
  char* block = static_cast<char*>(arena ? arena->Allocate(kHeader + size) : ::operator new(kHeader + size));
  *reinterpret_cast<std::uintptr_t*>(block) = arena ? kFromArena : kFromHeap;
  return block + kHeader;
}

void XmlArenaObject::operator delete(void* object) noexcept {
  if (!object) return;
  char* block = static_cast<char*>(object) - kHeader;
  if (*reinterpret_cast<std::uintptr_t*>(block) == kFromHeap) ::operator delete(block);
}

}  // namespace tv
