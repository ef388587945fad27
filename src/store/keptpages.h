// Since when what a process keeps of a file's pages is known to hold, for whatever is kept of them.
// As long as nobody else changes the file, it does. Behind the changes of others it does for pages
// that still have the version that they had.
#pragma once

#include <cstdint>

#include "store/changecount.h"
#include "store/directorymemory.h"

namespace store {

class KeptPages : public DirectoryMemory::Holder {
 public:
  struct AsOf {
    std::uint64_t state = 0;  // 0: it holds no more
    std::uint64_t version = ChangeCount::Never;
  };

  // Of which file.
  void CountBy(const ChangeCount* itsCount) { count = itsCount; }
  // Others have changed the file.
  void Doubt() { ++state; }
  // Whatever was kept holds no more.
  void DropAll() { state += Epoch; }
  std::uint64_t State() const { return state; }  // another one after each of these

 protected:
  KeptPages() = default;
  KeptPages(KeptPages&&) = default;
  KeptPages& operator=(KeptPages&&) = default;
  ~KeptPages() = default;

  // Whether it holds without being asked about.
  bool Holds(const AsOf& kept) const { return kept.state == state; }
  // Whether it holds if the page has this version.
  bool HoldsAt(const AsOf& kept, std::uint64_t version) const {
    return kept.version == version && kept.state / Epoch == state / Epoch &&
           ChangeCount::IsStable(version);
  }
  bool Confirm(AsOf& kept, std::uint16_t page) const {
    if (Holds(kept)) return true;
    if (count == nullptr || !HoldsAt(kept, count->VersionOf(page))) return false;
    kept.state = state;
    return true;
  }
  // As of now, or of the end of the change that this process is making of the page.
  AsOf Now(std::uint16_t page) const {
    const std::uint64_t version = count != nullptr ? count->VersionOf(page) : ChangeCount::Never;
    return {state, version == ChangeCount::Never ? version : (version + 1) & ~std::uint64_t{1}};
  }
  AsOf AsAt(std::uint64_t version) const { return {state, version}; }

 private:
  static constexpr std::uint64_t Epoch = std::uint64_t{1} << 32;

  const ChangeCount* count = nullptr;
  std::uint64_t state = Epoch;
};

}  // namespace store
