// Testing the runs of pages that hold external records.
#include "store/check_runs.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "store/udb.h"

namespace store {
namespace {

// The prefix, if the run that it claims lies within the bitmap and the file.
std::optional<RunPrefix> SoundPrefix(Examination& exam, std::uint32_t first, std::uint32_t page,
                                     std::size_t offset) {
  if (first == 0 || first >= MaxPages || !exam.file.Holds(first, 1)) {
    exam.findings.Damage(
        page, offset, Words("the entry leads to page ", first, ", which the file does not have"));
    return std::nullopt;
  }
  std::array<std::uint8_t, 8> bytes{};
  if (!exam.file.Read(std::uint64_t{first} * PageSize, bytes.data(), bytes.size())) {
    exam.findings.Damage(first, 0, "the page cannot be read");
    return std::nullopt;
  }
  const RunPrefix prefix = RunPrefix::Load(bytes.data(), exam.version);
  if (prefix.length >= udbMaxRecord) {
    exam.findings.Damage(first, 0,
                         Words("an external record of impossible length ", prefix.length));
    return std::nullopt;
  }
  const std::uint32_t pages = RunPages(exam.version, prefix.length);
  if (first + pages > MaxPages || !exam.file.Holds(first, pages)) {
    exam.findings.Damage(first, 0,
                         Words("the external record of ", prefix.length,
                               " bytes reaches beyond the end of the file"));
    return std::nullopt;
  }
  return prefix;
}

// Marks the run's pages as met. False when one of them had been met before.
bool ClaimRun(Examination& exam, std::uint32_t first, std::uint32_t pages) {
  std::optional<std::uint32_t> shared;
  std::optional<std::uint32_t> unmarked;
  for (std::uint32_t n = first; n < first + pages; ++n) {
    if (exam.used.test(n)) {
      if (!shared) shared = n;
      continue;
    }
    exam.used.set(n);
    ++exam.report.runPages;
    if (!InUse(exam.page0, n) && !unmarked) unmarked = n;
  }
  if (shared) {
    exam.findings.Damage(
        first, 0,
        Words("the run of ", pages, " pages shares page ", *shared, " with something else in use"));
  }
  if (unmarked) {
    exam.findings.Damage(*unmarked, 0, "the page is part of a run, and the bitmap calls it free");
  }
  exam.expectedFree -= CounterMove(first, pages);
  return !shared;
}

constexpr std::size_t PieceBytes = std::size_t{64} * 1024;

// The bytes of the record are summed up piece by piece; `start` keeps the first of them.
bool SumRecord(Examination& exam, std::uint64_t at, std::uint32_t length, std::uint32_t& sum,
               std::vector<std::uint8_t>& start) {
  std::vector<std::uint8_t> piece(std::min(std::size_t{length}, PieceBytes));
  for (std::uint32_t done = 0; done < length;) {
    const std::size_t n = std::min<std::size_t>(length - done, piece.size());
    if (!exam.file.Read(at + done, piece.data(), n)) return false;
    sum += Checksum(Bytes(piece).first(n));
    if (done == 0) start.assign(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(n));
    done += static_cast<std::uint32_t>(n);
  }
  return true;
}

void CheckKey(Examination& exam, const Entry& entry, std::uint32_t first, Bytes start) {
  if (!exam.keysKnown) return;
  const std::optional<Bytes> expected = entry.Key(exam.key);
  if (!expected) return;  // told with the entry
  const std::optional<Bytes> key = KeyIn(exam.key, start);
  if (!key || !std::ranges::equal(*key, *expected)) {
    exam.findings.Damage(first, 0, "the external record has another key than its entry");
  }
}

}  // namespace

void CheckRun(Examination& exam, const Entry& entry, std::uint32_t page, std::size_t offset) {
  ++exam.report.externalRecords;
  const std::uint32_t first = entry.Child();
  const auto prefix = SoundPrefix(exam, first, page, offset);
  if (!prefix) return;
  exam.report.recordBytes += prefix->length;
  exam.report.longestRecord = std::max(exam.report.longestRecord, prefix->length);
  if (!ClaimRun(exam, first, RunPages(exam.version, prefix->length))) return;

  const std::size_t head = RunPrefix::SizeFor(exam.version);
  std::uint32_t sum = 0;
  std::vector<std::uint8_t> start;
  if (!SumRecord(exam, std::uint64_t{first} * PageSize + head, prefix->length, sum, start)) {
    exam.findings.Damage(first, head, "the external record cannot be read");
    return;
  }
  if (sum != prefix->checksum) {
    exam.findings.Damage(first, head - 4, "the checksum of the external record is wrong");
  }
  CheckKey(exam, entry, first, start);
}

}  // namespace store
