// A store file built in memory from records that come in the order of their keys: leaves from the
// left, each filled before the next is begun, and the levels above as their pages are finished.
//
// What is built are pages 1, 2, 3, … of an empty file, in the format that every reader knows. Two
// things differ from what single insertions leave: how full pages are, and where they lie.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "store/page.h"
#include "store/records.h"

namespace store {

// Pages by number, in pieces, so that they stay where they are while more are added.
class BuiltPages {
 public:
  // How many there are, page 0 among them, which is not used here.
  std::uint32_t Count() const { return count; }
  // The first of so many new pages, all zero.
  std::uint32_t Add(std::uint32_t pages);
  Page& At(std::uint32_t n) { return (*pieces[n / PerPiece])[n % PerPiece]; }
  const Page& At(std::uint32_t n) const { return (*pieces[n / PerPiece])[n % PerPiece]; }
  // The bytes of the pages from `n` on that lie in one piece; none behind the last page.
  Bytes StretchFrom(std::uint32_t n) const;
  // Copies bytes to a place, over the bounds of pages.
  void Put(std::uint64_t offset, Bytes bytes);
  void Get(std::uint64_t offset, std::span<std::uint8_t> out) const;

 private:
  static constexpr std::uint32_t PerPiece = 256;
  using Piece = std::array<Page, PerPiece>;
  std::vector<std::unique_ptr<Piece>> pieces{};
  std::uint32_t count = 1;
};

class BulkBuilder {
 public:
  // How full a leaf gets before the next is begun, of 100. A full one is split by the first record
  // that is inserted there later.
  static constexpr unsigned FullLeaves = 100;

  // What an insertion tests beyond the bitmap: that the cautious counter leaves room.
  enum class Space { AsInserted, ToTheLastPage };

  explicit BulkBuilder(const KEYDESCR& kd, Space kind = Space::AsInserted,
                       unsigned percent = FullLeaves);

  enum class Answer {
    Taken,
    Present,     // its key is that of the record before
    OutOfOrder,  // its key is below that
    Unfit,       // WRONG KEY
    Full,        // there is no room for it, or it is too long
  };
  Answer Add(Bytes record);

  std::uint32_t Records() const { return recordCount; }
  // Closes what is open. Nothing is added afterwards.
  void Finish();

  // ---- The finished file ----

  const BuiltPages& Pages() const { return pages; }
  std::uint16_t Depth() const { return static_cast<std::uint16_t>(levels.size()); }
  // Puts root, counts and the pages in use into the header of an empty file and its page 0.
  void Describe(Header& header, Page& page0) const;
  // Hands out all records in order. `visit` answers whether to go on.
  template <typename Visit>
  void ForEach(Visit visit) const;

 private:
  // The page of one level above the leaves that is being filled.
  struct Level {
    std::uint32_t page = 0;
    std::size_t lastEntry = 0;  // where its last entry begins
    // It is full: its rightmost child is set, and `separator` will lead to it as soon as it has a
    // right neighbour. Until then its last child can still be moved to one.
    bool closed = false;
    StagedEntry separator{};
  };

  std::uint32_t NewPage(std::uint16_t type, std::uint32_t leftNeighbour);
  bool HasRoomFor(std::size_t length) const;
  void AddEntry(const StagedEntry& entry);
  std::uint32_t AddRun(Bytes record);
  void Count(std::uint32_t first, std::uint32_t run);
  // `entry`: the highest key of the child that is finished, and the child.
  void AddSeparator(std::size_t level, const StagedEntry& entry);
  void Append(Level& level, const StagedEntry& entry);
  std::uint32_t FinishLevel(std::size_t level, std::uint32_t child);

  KEYDESCR key;
  Space space;
  std::size_t leafLimit;
  BuiltPages pages;
  std::uint32_t firstLeaf = 0;
  std::uint32_t leaf = 0;  // the last one, which is being filled
  std::uint32_t root = 0;
  std::vector<Level> levels{};
  StagedEntry staged{};  // the record's, here because its room is large
  std::vector<std::uint8_t> lastKey{};
  std::uint32_t recordCount = 0;
  std::uint16_t freePages = MaxPages;
};

template <typename Visit>
void BulkBuilder::ForEach(Visit visit) const {
  std::vector<std::uint8_t> record;
  for (std::uint32_t n = firstLeaf; n != 0;) {
    const auto view = TreePage::Of(pages.At(n));
    for (std::size_t at = 0; at < view->Used();) {
      const Entry entry = *view->At(at);
      Bytes bytes = entry.Payload();
      if (entry.Form() == EntryForm::Key) {
        const std::uint64_t run = std::uint64_t{entry.Child()} * PageSize;
        std::array<std::uint8_t, 8> prefix;
        pages.Get(run, prefix);
        record.resize(RunPrefix::Load(prefix.data(), CurrentVersion).length);
        pages.Get(run + prefix.size(), record);
        bytes = record;
      }
      if (!visit(bytes)) return;
      at += entry.Size();
    }
    n = view->Next();
  }
}

}  // namespace store
