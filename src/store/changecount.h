// How often each file was changed, as all processes that take the lock count it, for those who read
// without it.
//
// A count is odd from before the first byte of its file changes until the last one has, and is
// never the same twice at even. So whoever finds it even, reads, and finds the same count again has
// read nothing of a change, in this order of things:
//
//   who changes, under the lock       who reads, without it
//     1  count becomes odd              a  loads the count: even
//     2  fence                          b  reads the file
//     3  changes the file               c  fence
//     4  count becomes even again       d  loads the count again
//
// If b sees any byte of 3, the fences 2 and c are ordered by it, so that d sees 1 or later and
// differs from a. If a sees an earlier 4, which is a release that a acquires, b sees all of the
// change before it. The file's bytes are no atomic objects of the language: this counts on hardware
// on which the fences order plain loads and stores, to pages shared by processes, like any others,
// and on a system whose calls for writing store to the very same pages, by the thread that made the
// call and ahead of its return. Where a file may not be so mapped, nobody reads without the lock.
//
// A process that dies leaves the count odd, and whoever takes the lock puts the file back, then
// makes it even. A record that is set aside keeps it odd. The slot is found by a hash: files that
// share one disturb each other, which costs time and nothing else. 2^63 changes take longer than
// any machine lasts.
//
// Beside the count stands which pages the latest changes wrote to, so that whoever comes back after
// a few changes of others need not forget what he knows of all pages. These notes are written
// before the count becomes even, and believed if it stays the same while they are read.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/file.h"
#include "store/host.h"

namespace store {

// The pages that one change wrote to, but for page 0 and for links between leaves.
class ChangedPages {
 public:
  void Add(std::uint16_t page);
  // Calls with each of them. False: there are too many to be told.
  template <typename Call>
  bool ForEach(Call call) const {
    if (pages[0] == All) return false;
    for (const std::uint16_t page : pages) {
      if (page != 0) call(page);
    }
    return true;
  }

 private:
  friend class ChangeCount;
  static constexpr std::uint16_t All = 0xFFFF;
  std::array<std::uint16_t, 3> pages{};
};

class ChangeCount {
 public:
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

  // All may be called in any state, under the lock. A change may have been to any page unless it is
  // told ahead of its end, by whoever made all of it.
  void BeginChange();
  void Tell(const ChangedPages& pages);
  void EndChange();

  // What was changed from one stable state to a later one. False: that is not known any more. To be
  // believed only if the later state stands still.
  template <typename Call>
  bool ForEachChanged(std::uint64_t from, std::uint64_t to, Call call) const {
    if (!IsStable(from) || from > to || (to - from) / 2 > notes.size()) return false;
    for (std::uint64_t change = from / 2; change < to / 2; ++change) {
      const std::uint64_t note = notes[change % notes.size()].load(std::memory_order_relaxed);
      ChangedPages told;
      told.pages = {static_cast<std::uint16_t>(note), static_cast<std::uint16_t>(note >> 16),
                    static_cast<std::uint16_t>(note >> 32)};
      if (static_cast<std::uint16_t>(change) != note >> 48 || !told.ForEach(call)) return false;
    }
    return true;
  }

 private:
  std::atomic<std::uint64_t> count;
  // By the numbers of changes, each with its number in the highest bits: an older one is none. So
  // many that a reader beside a busy writer is not left behind between one reading and the next.
  std::array<std::atomic<std::uint64_t>, 31> notes;
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "locks would be of one process");

}  // namespace store
