// The pages that a lookup passes, with the versions that it finds them in: what it read of them
// counts if they have these versions still when it has read all.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "store/changecount.h"

namespace store {

class PagePath {
 public:
  static constexpr int MostLooks = 2000;        // at a number that is odd, before the lock is taken
  static constexpr std::size_t MostLevels = 7;  // of pages, as a descent under the lock can pass

  explicit PagePath(const ChangeCount& fileCount) : count(fileCount) {}

  // The page will be looked at now. False: somebody is at work in it, and for long.
  bool Enter(std::uint16_t page) {
    for (int look = 0; look < MostLooks; ++look) {
      const std::uint64_t version = count.VersionOf(page);
      if (!ChangeCount::IsStable(version)) continue;
      steps[length++] = {page, version};
      return true;
    }
    return false;
  }
  // As long as it has this version. False: it has another.
  bool EnterAt(std::uint16_t page, std::uint64_t version) {
    if (count.VersionOf(page) != version || !ChangeCount::IsStable(version)) return false;
    steps[length++] = {page, version};
    return true;
  }
  std::uint64_t Version() const { return steps[length - 1].version; }  // of the page entered last
  bool IsUnmoved() const {
    std::atomic_thread_fence(std::memory_order_acquire);
    return std::all_of(steps.begin(), steps.begin() + length, [this](const Step& step) {
      return count.VersionOf(step.page) == step.version;
    });
  }

 private:
  struct Step {
    std::uint16_t page;
    std::uint64_t version;
  };
  const ChangeCount& count;
  std::array<Step, MostLevels + 1> steps;
  std::ptrdiff_t length = 0;
};

}  // namespace store
