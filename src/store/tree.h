// The B+ tree of a file: linked leaves that hold the records' entries, internal pages above them.
//
// A separator is the highest key of the subtree that it points to, at the time of the split, and it
// stays when that key is erased later: a search may descend to a leaf that no longer holds its key.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "store/records.h"
#include "store/workfile.h"

namespace store {

enum class Match { Exact, AtOrAfter };

class Tree {
 public:
  Tree(WorkFile& file, Records& recordsOfFile) : work(file), records(recordsOfFile) {}

  // ---- Searching ----

  // Goes to the first entry not less than the key and sets the cursor to its place, or behind the
  // last entry of the leaf that it would stand in. False if there is no such entry. AtOrAfter, a
  // search that ends behind a leaf's last entry goes on to the next leaf. In an empty tree the
  // cursor stays.
  bool Descend(Bytes key, Match match);
  // Moves the cursor to the next entry along the leaves, from before the first one if it stands
  // nowhere. False at the end, where the cursor stays.
  bool Advance();
  // The entry at the cursor. REQUIRES: Descend or Advance has just answered true.
  Entry Current();
  // Whether that is the entry of the key that Descend has just searched for.
  bool CurrentHas(Bytes key);
  // The entry at the cursor, if it stands at one.
  std::optional<Entry> AtCursor();
  // The entry at a place, if there is a sound one of a leaf; reading errors count as none.
  std::optional<Entry> Probe(std::uint16_t page, std::uint16_t offset);
  // Looks up where the key would stand that was last searched for and not found.
  void PlaceCursor();
  // The entry's key with its stop symbol.
  Bytes KeyOf(const Entry& entry);

  // Whether a root that may not split any more still has room for a separator.
  bool RootHasRoom();

  // All files are new ones from here on.
  void Forget() { end = {}; }

  // ---- Changing; each at the place where a descent has just ended ----

  // In the place of `removed` bytes of entries.
  void Insert(StagedEntry& staged, std::size_t removed = 0);
  // Gives back what the entry leads to, for Insert to put another in the place of it. Its size.
  std::size_t TakeOut();
  void Erase();

 private:
  struct Step {
    std::uint16_t page;
    std::uint16_t offset;
  };

  Step Cursor() const { return {work.File().cursorPage, work.File().cursorOffset}; }
  void SetCursor(std::uint16_t page, std::size_t offset);
  PageSlot& FetchLeaf(std::uint16_t page, PageSlot& preferred);
  std::size_t Scan(const TreePage& page, Bytes key);
  std::size_t Search(const PageSlot& slot, const TreePage& page, Bytes key);
  void Push(Step step);
  bool GoesBehindEnd(Bytes key);
  void NoteEnd(Step last);
  void CheckNotOnPath(std::uint16_t page);
  PageSlot* NextLeaf(PageSlot& leaf);
  void CheckAscends(PageSlot& leaf, PageSlot& next);

  void StartTree(const StagedEntry& staged);
  void GrowRoot(const StagedEntry& separator);
  bool InsertInto(Step& at, StagedEntry& staged, std::size_t removed, bool isCursor);
  void Split(PageSlot& old, Step& at, StagedEntry& staged);
  void RaiseSeparator(PageSlot& left, StagedEntry& separator);

  void FreePage(PageSlot& slot);
  PageSlot* RemoveFromLeaf();
  PageSlot* RemoveFromParent(Step at);
  void DissolveRoot(PageSlot& root);

  WorkFile& work;
  Records& records;
  std::array<Step, 6> path{};  // from the root down, without the leaf
  std::size_t pathLength = 0;
  std::optional<bool> foundEqual;  // by the latest search in a page, if it has told
  bool atRightEnd = false;         // the latest descent ended behind all entries of the tree

  // The entry at the tree's right end, if it was inserted there last: what is greater goes behind
  // it, by the path of that descent.
  struct End {
    const UdbFile* file = nullptr;  // null: it is not known
    std::uint64_t state = 0;        // ahead of that insertion
    std::uint64_t orders = 0;
    Step last{};
  };
  End end;
};

}  // namespace store
