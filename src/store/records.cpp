// Reading records by their entries, and building entries for records.
#include "store/records.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace store {

void StagedEntry::Start(EntryForm form, std::size_t payload) {
  size = Rounded(EntryHead + payload);
  Store16(bytes.data() + 5, 0);  // of no meaning in a key entry, and zero
  std::fill(bytes.begin() + EntryHead + payload, bytes.begin() + size, std::uint8_t{0});
  bytes[0] = static_cast<std::uint8_t>(form);
  Store16(bytes.data() + 1, static_cast<std::uint16_t>(EntryHead + payload));
}

void StagedEntry::BuildInline(Bytes record) {
  Start(EntryForm::Inline, record.size());
  Store32(bytes.data() + 3, Checksum(record));
  std::copy(record.begin(), record.end(), bytes.begin() + EntryHead);
}

void StagedEntry::BuildKey(std::uint16_t page, Bytes key) {
  Start(EntryForm::Key, key.size());
  Store16(bytes.data() + 3, page);
  std::copy(key.begin(), key.end(), bytes.begin() + EntryHead);
}

void Records::Read(const Entry& entry, DataTransfer& record) {
  std::uint32_t checksum = 0;
  bool whole;
  if (entry.Form() == EntryForm::Inline) {
    checksum = entry.Checksum();
    whole = ReadInline(entry, record);
  } else {
    whole = ReadRun(entry.Child(), record, checksum);
  }
  if (!whole) return;
  int length = 0;
  const unsigned char* const bytes = record.GetData(length);
  if (Checksum(Bytes(bytes, static_cast<std::size_t>(length))) != checksum) {
    work.Raise(UDB_CHECKSUM_ERROR);
  }
}

// True when the record was not cut. An external buffer that is too short for it is not noticed
// here: the bytes it got then fail the checksum.
bool Records::ReadInline(const Entry& entry, DataTransfer& record) {
  const Bytes payload = entry.Payload();
  const auto length = static_cast<std::int32_t>(payload.size());
  const std::int32_t wanted = std::min(length, work.File().maxRead);
  record.SetData(payload.data(), wanted);
  return wanted == length;
}

bool Records::ReadRun(std::uint16_t first, DataTransfer& record, std::uint32_t& checksum) {
  const RunPrefix prefix = ReadPrefix(first);
  checksum = prefix.checksum;
  const auto length = static_cast<std::int32_t>(prefix.length);
  int wanted = std::clamp(work.File().maxRead, 0, length);
  bool whole = wanted == length;
  unsigned char* target;
  if (record.ExternalBuffer()) {
    target = record.GetExternBuf(wanted);
    whole = whole && wanted == length;
  } else {
    target = record.AllocData(wanted);
  }
  const std::uint64_t at = std::uint64_t{first} * PageSize + RunPrefix::SizeFor(work.Version());
  if (wanted > 0) work.ReadBytes(at, {target, static_cast<std::size_t>(wanted)});
  return whole;
}

RunPrefix Records::ReadPrefix(std::uint16_t first) {
  work.CheckPageNumber(first);
  std::array<std::uint8_t, 8> bytes;
  const std::size_t size = RunPrefix::SizeFor(work.Version());
  work.ReadBytes(std::uint64_t{first} * PageSize, std::span(bytes).first(size));
  const RunPrefix prefix = RunPrefix::Load(bytes.data(), work.Version());
  if (prefix.length >= udbMaxRecord || RunPages(work.Version(), prefix.length) > MaxPages - first) {
    work.Raise(UDB_FILE_CORRUPTED);
  }
  return prefix;
}

void Records::Stage(Bytes record, Bytes key, StagedEntry& staged) {
  if (record.size() >= udbMaxRecord) work.Raise(UDB_WRONG_RECORD_LENGTH);
  if (record.size() < FirstExternal) {
    staged.BuildInline(record);
  } else {
    staged.BuildKey(WriteRun(record), key);
  }
}

// The first bytes of the piece as they are, these behind them, then zeros to the end of a page.
Bytes Records::Compose(std::size_t start, Bytes bytes) {
  const std::size_t end = start + bytes.size();
  const std::size_t pages = (end + PageSize - 1) / PageSize * PageSize;
  std::copy(bytes.begin(), bytes.end(), &piece[start]);
  std::fill(&piece[0] + end, &piece[0] + pages, std::uint8_t{0});
  return Bytes(piece).first(pages);
}

std::uint16_t Records::WriteRun(Bytes record) {
  const std::uint32_t version = work.Version();
  // The prefix of the old version has 16 bits for the length; a longer record would come back cut.
  if (version == OldVersion && record.size() > 0xFFFF) work.Raise(UDB_WRONG_RECORD_LENGTH);
  const std::uint32_t pages = RunPages(version, record.size());
  const std::uint16_t first = work.AllocateRun(pages);
  // Whole pages in one piece: prefix, record, filler. A long record is not copied for that.
  const std::size_t prefixSize = RunPrefix::SizeFor(version);
  const std::uint64_t at = std::uint64_t{first} * PageSize;
  const std::size_t inFront =
      pages <= piece.size() / PageSize ? record.size() : PageSize - prefixSize;
  RunPrefix{static_cast<std::uint32_t>(record.size()), Checksum(record)}.Store(piece.data(),
                                                                               version);
  work.WriteBytes(at, Compose(prefixSize, record.first(inFront)));
  if (inFront == record.size()) return first;
  const Bytes behind = record.subspan(inFront);
  const std::size_t whole = behind.size() / PageSize * PageSize;
  work.WriteBytes(at + PageSize, behind.first(whole));
  if (whole < behind.size())
    work.WriteBytes(at + PageSize + whole, Compose(0, behind.subspan(whole)));
  return first;
}

void Records::FreeRunAt(std::uint16_t first) {
  const RunPrefix prefix = ReadPrefix(first);
  work.FreeRun(first, RunPages(work.Version(), prefix.length));
}

}  // namespace store
