// The arena whose blocks grow. A block is one object however many copies of the arena know it, so
// its memory is freed once, and no two pieces overlap.
#include "kvorlib/memman.h"

#include <new>

struct MemMan::Block {
  explicit Block(std::int32_t size)
      : base(new char[static_cast<std::size_t>(size)]), cursor(base.get()), remaining(size) {}

  void* Take(int size) {
    if (remaining <= size) return nullptr;
    char* const piece = cursor;
    cursor += size;
    remaining -= size;
    return piece;
  }

  std::unique_ptr<char[]> base;
  char* cursor;
  std::int32_t remaining;
};

MemMan::MemMan(std::int32_t size) : blockSize(size) {}
MemMan::MemMan(const MemMan& other) = default;
MemMan& MemMan::operator=(const MemMan& other) = default;
MemMan::~MemMan() { Free(); }

void* MemMan::TakeFromNewBlock(int size) {
  if (blockSize < 0) throw std::bad_alloc();
  blocks.push_back(std::make_shared<Block>(blockSize));
  return blocks.back()->Take(size);
}

void* MemMan::Allocate(int size) {
  constexpr std::int32_t lastToDouble = 0x3fffffff;
  if (size < 0) return nullptr;
  if (2 * std::int64_t{size} >= blockSize) {
    if (blockSize > lastToDouble) return nullptr;
    if (blockSize > 0) blockSize *= 2;
    return TakeFromNewBlock(size);
  }
  for (const auto& block : blocks)
    if (void* const piece = block->Take(size)) return piece;
  return TakeFromNewBlock(size);
}

void MemMan::Free() {
  blocks.clear();
  former.clear();
  blockSize = DefaultBlockSize;
}

void MemMan::Store(MemMan& other) {
  if (this == &other) return;
  former.insert(former.end(), blocks.begin(), blocks.end());
  former.insert(former.end(), other.former.begin(), other.former.end());
  blocks = other.blocks;
  blockSize = other.blockSize;
  other.Free();
}
