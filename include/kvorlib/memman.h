// Two arenas: memory is handed out piece by piece and given back all at once.
//
//   MemMan arena;
//   char* word = static_cast<char*>(arena.Allocate(length + 1));   // lives as long as the arena
//
// MemMan grows its blocks; tagMemBuf is the older form, a chain of equal ones. Nothing is aligned:
// a piece starts right behind the one before, and whoever needs alignment pads the sizes. Sizes are
// in bytes; negative ones get null. An arena is for one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kvorlib/export.h"

// A copy has the same blocks as its original, and what one of them takes from a block the other
// does not get. The memory goes with the last of them that is destroyed or freed. Memory is passed
// on by Store.
class KVORLIB_API MemMan {
 public:
  explicit MemMan(std::int32_t blockSize = DefaultBlockSize);
  MemMan(const MemMan& other);
  MemMan& operator=(const MemMan& other);
  ~MemMan();

  // A piece of `size` bytes from the first block that has more than that left, so that no block is
  // ever filled to its last byte; else from a new block of the block size.
  //
  // From half the block size on a piece gets a new block in any case: the block size is doubled,
  // for good, and the block has the doubled one. Null if that is not more than `size`, or if the
  // block size is above 0x3fffffff and cannot be doubled.
  // Throws: std::bad_alloc when a block cannot be had.
  void* Allocate(int size);

  // Gives everything back. The block size is then 64000, whatever it was.
  void Free();

  // Takes over all memory of `other` and its block size, and leaves it as Free does. What this
  // object had before is used no more, but is kept until it is freed itself.
  void Store(MemMan& other);

 private:
  static constexpr std::int32_t DefaultBlockSize = 64000;

  struct Block;
  void* TakeFromNewBlock(int size);

  std::int32_t blockSize;
  std::vector<std::shared_ptr<Block>> blocks;  // in the order in which they were made
  std::vector<std::shared_ptr<Block>> former;  // kept for their pieces alone
};

// A block of the older form: this record, and right behind it the data.
struct tagMemBuf {
  tagMemBuf* link;      // the next block, null at the end of the chain
  std::int32_t size;    // of the data
  std::int32_t filled;  // used of it
  char* data;
};

// A chain of one block, which the caller frees with FreeMem. Null if it cannot be had.
KVORLIB_API tagMemBuf* InitMembuf(int size);

// In all that follow, `buf` is the first block of a chain, and not null.

// A piece of `size` bytes from the first block that has as many left, or from a new one of the same
// size at the end of the chain. Null if `size` is more than that of the first block, and if no new
// block can be had.
KVORLIB_API void* GetMem(tagMemBuf* buf, int size);

// Gives back the last `amount` bytes of the last piece taken from a block. `pointer` lies in the
// used data of that block or right behind it; nothing happens if it lies in none. No more is given
// back than the block has.
KVORLIB_API void ResizeLast(tagMemBuf* buf, void* pointer, int amount);

// Frees the whole chain; null is nothing to free.
KVORLIB_API void FreeMem(tagMemBuf* buf);

// Writes the first 16 blocks to a text file for debugging, and "Too long!" if there are more: for
// each a line that begins with its description, in windows-1251, and the used bytes in hexadecimal.
// The description's numbers are hexadecimal, too, from the second block on; bytes from 80 up have
// ff in front. Nothing happens if the file cannot be opened.
KVORLIB_API void DumpMem(tagMemBuf* buf, const std::u16string& name);
