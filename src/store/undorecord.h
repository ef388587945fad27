// One undo record: which file an update changed, and the bytes that it wrote over. It lies in
// memory that outlives the process, so that a process may die between any two instructions here.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "store/host.h"
#include "store/page.h"

namespace store {

// Stores a value behind all stores before it and ahead of all stores after it, as the program has
// them: a process that dies leaves what its instructions up to there had stored, so that the
// compiler alone could disturb the order.
template <typename T>
void Publish(T& field, T value) {
  std::atomic_signal_fence(std::memory_order_seq_cst);
  std::atomic_ref<T>(field).store(value, std::memory_order_release);
  std::atomic_signal_fence(std::memory_order_seq_cst);
}

// A head that says which file is meant, then the stretches kept, one behind the other. A stretch
// counts only when `used` has moved behind it.
struct UndoRecord {
  static constexpr std::size_t PathLimit = 4096;
  static constexpr std::uint64_t NotGrown = ~std::uint64_t{0};  // the size was of no matter so far

  std::uint64_t used;      // bytes of stretches behind this head
  std::uint64_t fileSize;  // before the update
  std::uint32_t pathLength;
  std::uint32_t beforeLength;  // bytes of pageBefore; behind them page 0 was all zero
  std::uint32_t saving;        // bytes of pageAfter; not 0: page 0 may begin with them by now
  std::uint32_t reserved;
  std::uint8_t pageBefore[PageSize];
  std::uint8_t pageAfter[PageSize];
  char path[PathLimit];

  // Bytes that a stretch of this length takes.
  static std::size_t SizeOf(std::uint64_t length);

  std::size_t Size() const { return sizeof(UndoRecord) + static_cast<std::size_t>(used); }
  std::string Path() const { return {path, pathLength}; }

  // Empty, about a file whose page 0 is `start` and zeros. `where` is its path; another may be
  // there later.
  void Begin(Bytes start, const std::string& where);
  // As Begin, where this is the record of an update of the same file that stands, and nobody has
  // changed the file since.
  void BeginAgain();
  bool HasPath(const std::string& where) const {
    return where.size() == pathLength && std::memcmp(path, where.data(), pathLength) == 0;
  }
  // Whether page 0 was to begin with these bytes. REQUIRES: they are not more than the header.
  bool WasToBegin(Bytes start) const {
    return std::memcmp(saving != 0 ? pageAfter : pageBefore, start.data(), start.size()) == 0;
  }
  // The first bytes of page 0 are about to become these.
  void Announce(Bytes start);
  // A stretch begins: where its bytes are to be copied to, behind the others. REQUIRES: there is
  // memory for them.
  std::byte* BeginStretch(std::uint64_t offset, std::uint64_t length);
  // They are there.
  void EndStretch(std::uint64_t length) { Publish(used, used + SizeOf(length)); }

  // Whether page 0 of the file, each byte of it, is as the update found it or as it was going to
  // leave it: a file that was written over in place keeps its identity, not this. Nothing if there
  // is no whole page 0 to be read now.
  std::optional<bool> HasPageZeroOf(VirtualFile& file) const;
  // Those that putting back stores to.
  std::vector<std::uint16_t> Pages() const;
  // Puts all that was kept back and the file to its former size. It may be done again.
  bool PutBack(VirtualFile& file) const;
};

}  // namespace store
