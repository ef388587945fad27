// How often each file was changed, and each of its pages, as all processes that take the lock count
// it, for those who read without it.
//
// A number is odd from before the first byte of what it counts changes until the last one has, and
// is never the same twice at even. So whoever finds it even, reads, and finds the same number again
// has read nothing of a change, in this order of things:
//
//   who changes, under the lock       who reads, without it
//     1  number becomes odd             a  loads the number: even
//     2  fence                          b  reads
//     3  changes the bytes              c  fence
//     4  number becomes even again      d  loads the number again
//
// If b sees any byte of 3, the fences 2 and c are ordered by it, so that d sees 1 or later and
// differs from a. If a sees an earlier 4, which is a release that a acquires, b sees all of the
// change before it. The file's bytes are no atomic objects of the language: this counts on hardware
// on which the fences order plain loads and stores, to pages shared by processes, like any others,
// and on a system whose calls for writing store to the very same pages, by the thread that made the
// call and ahead of its return. Where a file may not be so mapped, nobody reads without the lock.
//
// The file's count stands for all that is in it. The version of a page stands for its entries, its
// kind and its rightmost child, and that of page 0 for where it leads: not for links between pages
// of a level, the bitmap and the number of records. All versions that a change has made odd stay so
// until it is whole: pages that are seen even, one after the other, and each the same again when
// all have been read, were so together at one moment, and nobody was at work in any of them.
//
// A process that dies leaves numbers odd, and whoever takes the lock puts the file back, then makes
// them even: first the versions, and the count at last, so that no version is odd where the count
// is even. A record that is set aside keeps them odd. The slot is found by a hash, and some pages
// have a version in common: those who share one disturb each other, which costs time and nothing
// else. 2^63 changes take longer than any machine lasts.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/file.h"
#include "store/host.h"

namespace store {

class ChangeCount {
 public:
  static constexpr std::uint64_t Never = ~std::uint64_t{0};  // odd, and nothing comes so far

  // The file's, or null if the host has no memory for them. By volume and index alone: not
  // everybody is told when a file was made.
  static ChangeCount* Of(Host& host, const platform::FileIdentity& file);

  std::uint64_t Now() const { return count.load(std::memory_order_acquire); }
  static bool IsStable(std::uint64_t seen) { return seen % 2 == 0; }
  // Whether nothing was changed since the count was `seen`; to be asked behind the reading.
  bool Still(std::uint64_t seen) const {
    std::atomic_thread_fence(std::memory_order_acquire);
    return count.load(std::memory_order_relaxed) == seen;
  }
  // To be compared, behind a fence as above, with what it is behind the reading.
  std::uint64_t VersionOf(std::uint16_t page) const {
    return versions[IndexOf(page)].load(std::memory_order_acquire);
  }

  // Under the lock, in any state: nothing is being changed any more, by whomever it was.
  void EndAll();

 private:
  friend class Change;
  static constexpr std::size_t Line = 64;
  static constexpr std::size_t Versions = 2048;
  // The start of page 0 has one of its own, in another line of memory than the others.
  static constexpr std::size_t First = Line / sizeof(std::uint64_t);
  static std::size_t IndexOf(std::uint16_t page) { return page == 0 ? 0 : First + page % Versions; }

  alignas(Line) std::atomic<std::uint64_t> count;
  alignas(Line) std::array<std::atomic<std::uint64_t>, First + Versions> versions;
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "locks would be of one process");

// One change of a file, by the process that makes it. Under the lock.
class Change {
 public:
  // Of no count: there is nobody to be told.
  void Begin(ChangeCount* itsCount);
  // The page is about to be changed. To be called ahead of the first store to it.
  void Tell(std::uint16_t page);
  void TellOfAll();
  // All of it is done.
  void End();
  ChangeCount* Count() const { return count; }

 private:
  ChangeCount* count = nullptr;
  bool isAlone = false;  // nobody else had left anything odd
  std::size_t told = 0;
  std::array<std::uint16_t, ChangeCount::First + ChangeCount::Versions> indices;  // of those told
};

}  // namespace store
