// Reading without the lock: what is read is believed only if the file's count of changes is the
// same before and after (see changecount.h). As long as it stands since the last operation, nothing
// is read again that is known already: neither page 0 nor the way to a leaf's entries.
//
// Only what is sound is answered here. Everything else is Unknown: it is asked again under the
// lock, and there it gets its failure, its mark of damage, or a better answer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kvorlib/datatransfer.h"
#include "store/openfiles.h"
#include "store/udb.h"

namespace store {

class QuickReads {
 public:
  enum Answer : int {
    Found = 0,
    Absent = 1,
    Unknown = 2,
    Lost = 3,  // the bytes could not be had after all: a SYSTEM ERROR, under the lock or not
  };

  // Whether the entry's copy of the header is that of the file as it is.
  bool KnowsHeader(UdbFile& file);
  // As udbGet, without a record as udbFind. Where an absent key would stand is left open in the
  // entry.
  Answer Get(UdbFile& file, UdbKey key, DataTransfer* record);
  Answer Next(UdbFile& file, DataTransfer& record);
  // The key of the entry at the cursor: as udbGetPosition.
  Answer KeyAtCursor(UdbFile& file, std::string& key);
  // Whether an entry of a leaf in use with this key begins at the place; then the cursor is there.
  Answer GoTo(UdbFile& file, const UdbPosition& place, UdbKey key);

 private:
  struct Spot {
    std::uint16_t page = 0;  // 0: the cursor stays
    std::size_t offset = 0;
    std::optional<Entry> entry;
  };
  // A record's bytes as they were read, and what they should sum up to.
  struct Copy {
    const std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
    bool isRun = false;
  };

  template <typename Body>
  Answer Validated(UdbFile& file, Body body);
  bool CatchUp(UdbFile& file);
  bool Relearn(UdbFile& file);
  bool Stands(const UdbFile& file);

  const PageDirectory* Directory(UdbFile& file, std::uint16_t page);
  std::optional<TreePage> Leaf(const UdbFile& file, std::uint16_t page);
  Answer Descend(UdbFile& file, const SoughtKey& key, Spot& spot);
  Answer Seek(UdbFile& file, const SoughtKey& key, Spot& spot);
  Answer NextLeaf(UdbFile& file, const TreePage& leaf, const Entry& last, Spot& spot);
  Answer StepOn(UdbFile& file, Spot& spot);
  Answer Read(const UdbFile& file, const Entry& entry, Copy& copy);
  Answer ReadRun(const UdbFile& file, std::uint16_t first, Copy& copy);
  Answer HandOut(const Copy& copy, DataTransfer& record);

  std::vector<std::uint8_t> scratch;
};

}  // namespace store
