// Walking a tree that may be damaged: every page once, every entry, every link.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "store/check_runs.h"

namespace store {

inline constexpr std::size_t MaxLevels = 6;  // of internal pages: a descent has no room for more

class TreeCheck {
 public:
  explicit TreeCheck(Examination& examination) : exam(examination) {}

  // Walks from the root down and then compares the neighbour links of each level with the order in
  // which the walk met its pages.
  void Walk(std::uint16_t root);

  // The leftmost leaf: its page, or nothing if the walk could not get there.
  std::optional<std::uint32_t> LeftmostLeaf() const;
  // Levels of internal pages above the leaves; nothing if no leaf was reached.
  std::optional<std::size_t> Levels() const { return leafLevel; }

 private:
  // A page in the order of its level. One that could not be read still has its number; where even
  // that is not known, `page` is Unknown and links to and from it are not judged.
  struct Member {
    std::uint32_t page;
    bool readable;
    std::uint16_t next;
    std::uint16_t prev;
  };
  static constexpr std::uint32_t Unknown = 0xFFFFFFFF;

  // The keys of a subtree lie above `above` and not above `upTo`.
  struct Range {
    std::optional<Bytes> above;
    std::optional<Bytes> upTo;
  };
  struct Place {
    std::uint32_t page;
    std::size_t offset;
  };

  void Visit(std::uint32_t number, std::size_t level, const Range& range, const Place& parent);
  bool Claim(std::uint32_t number, const Place& parent);
  std::optional<TreePage> ReadTreePage(std::uint32_t number, Page& page);
  bool TestLevel(const TreePage& view, std::uint32_t number, std::size_t level);
  void VisitLeaf(const TreePage& view, std::uint32_t number, const Range& range);
  void VisitInternal(const TreePage& view, std::uint32_t number, std::size_t level,
                     const Range& range);
  std::optional<Bytes> TestKey(const Entry& entry, const Range& range, const Place& place);
  void CheckRecord(const Entry& entry, const Place& place);
  void Lose(std::uint32_t number, std::size_t level);
  void CheckLinks(const std::vector<Member>& level);

  Examination& exam;
  std::array<std::vector<Member>, MaxLevels + 1> levels;
  std::optional<std::size_t> leafLevel;
  std::uint64_t leafBytes = 0;
  bool rangeTold = false;
};

// All that CheckStore finds, in a file that is open and that nobody changes.
StoreReport ExamineStore(ExaminedFile& file);

}  // namespace store
