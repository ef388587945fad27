// A tail is a page that says what is behind it, and the undo record as it is in memory. A process
// may die in a write, and have written any part of it from the front: what the rest hangs on lies
// within one page, is written last, and by a write of that page alone.
#include "store/tailundo.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace store {

namespace {

struct Head {
  static constexpr std::uint64_t OurMark = 0x6F646E75726F766B;  // "kvorundo"
  static constexpr std::uint32_t OurLayout = 1;

  std::uint64_t mark = OurMark;
  std::uint64_t fileSize = 0;  // before the update
  std::uint32_t layout = OurLayout;
  std::uint32_t isWhole = 0;  // the record is; until then nothing else was changed
};

constexpr std::uint64_t RecordPlace = TailUndo::Place + PageSize;

bool Read(VirtualFile& file, std::uint64_t offset, void* out, std::size_t n) {
  return file.Read(offset, out, n) == static_cast<std::ptrdiff_t>(n);
}

bool ReadHead(VirtualFile& file, Head& head) {
  return Read(file, TailUndo::Place, &head, sizeof head) && head.mark == Head::OurMark &&
         head.layout == Head::OurLayout && head.fileSize <= TailUndo::Place;
}

// Of what an update that is not taken back yet left there; nothing read is trusted.
bool PutBack(VirtualFile& file, std::uint64_t fileSize) {
  UndoRecord head;
  const std::int64_t size = file.Size();
  if (size < 0 || !Read(file, RecordPlace, &head, sizeof head)) return false;
  const std::uint64_t room = static_cast<std::uint64_t>(size) - RecordPlace - sizeof head;
  if (head.used > room || head.saving > PageSize || head.fileSize != fileSize) return false;
  std::vector<std::byte> bytes(head.Size());
  if (!Read(file, RecordPlace, bytes.data(), bytes.size())) return false;
  return reinterpret_cast<const UndoRecord*>(bytes.data())->PutBack(file);
}

}  // namespace

void TailUndo::Begin(std::uint64_t size) {
  Forget();
  formerLength = length = size;
}

bool TailUndo::Keep(VirtualFile& file, const UndoRecord& record, std::uint64_t end) {
  length = std::max(length, end);
  if (begun && record.used == keptUsed && record.saving == keptSaving) return true;
  const auto* const bytes = reinterpret_cast<const std::byte*>(&record);
  const auto write = [&](std::uint64_t from, std::uint64_t to) {
    return file.Write(RecordPlace + from, bytes + from, static_cast<std::size_t>(to - from));
  };
  if (begun) {
    const std::uint64_t added = sizeof(UndoRecord) + keptUsed;
    if (!write(PageSize, sizeof(UndoRecord)) || !write(added, record.Size())) return false;
    if (!write(0, PageSize)) return false;
  } else {
    begun = true;
    Head head;
    head.fileSize = formerLength;
    if (!file.Write(Place, &head, sizeof head) || !write(0, record.Size())) return false;
    head.isWhole = 1;
    if (!file.Write(Place, &head, sizeof head)) return false;
  }
  keptUsed = record.used;
  keptSaving = record.saving;
  return true;
}

bool TailUndo::Drop(VirtualFile& file) {
  const bool dropped = !begun || file.Truncate(length);
  if (dropped) Forget();
  return dropped;
}

bool TailUndo::IsIn(VirtualFile& file) {
  Head head;
  const std::int64_t size = file.Size();
  return size > static_cast<std::int64_t>(Place) && ReadHead(file, head);
}

bool TailUndo::TakeBackIn(VirtualFile& file) {
  Head head;
  if (!ReadHead(file, head)) return false;
  return head.isWhole == 0 ? file.Truncate(head.fileSize) : PutBack(file, head.fileSize);
}

}  // namespace store
