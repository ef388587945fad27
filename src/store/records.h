// Records: inside a leaf's entry when short, in a run of pages of their own when long.
#pragma once

#include <array>
#include <cstdint>

#include "kvorlib/datatransfer.h"
#include "store/workfile.h"

namespace store {

// An entry while it is built and before it stands in a page; room for the largest.
class StagedEntry {
 public:
  void BuildInline(Bytes record);
  // `page`: the child, or the first page of the record's run.
  void BuildKey(std::uint16_t page, Bytes key);
  Bytes Whole() const { return Bytes(bytes).first(size); }
  std::size_t Size() const { return size; }

 private:
  void Start(EntryForm form, std::size_t payload);
  std::array<std::uint8_t, Rounded(MaxEntry)> bytes;  // the first `size` are valid
  std::size_t size = 0;
};

class Records {
 public:
  explicit Records(WorkFile& file) : work(file) {}

  // Reads the entry's record. At most the entry's maxRead bytes; a record that was cut for that, or
  // because an external buffer is shorter than a long record, is not tested against its checksum.
  void Read(const Entry& entry, DataTransfer& record);
  // Makes the entry for a record, writing a long one out to a run first.
  void Stage(Bytes record, Bytes key, StagedEntry& staged);
  // Gives the pages of a long record back.
  void FreeRunAt(std::uint16_t first);

 private:
  bool ReadInline(const Entry& entry, DataTransfer& record);
  bool ReadRun(std::uint16_t first, DataTransfer& record, std::uint32_t& checksum);
  RunPrefix ReadPrefix(std::uint16_t first);
  std::uint16_t WriteRun(Bytes record);
  Bytes Compose(std::size_t start, Bytes bytes);

  WorkFile& work;
  std::array<std::uint8_t, 16 * PageSize> piece;  // of a run, while it is written
};

}  // namespace store
