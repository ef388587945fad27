// Checking and salvaging store files that may be damaged, loading many records at once, and making
// files small.
//
//   StoreReport report = CheckStore("words.kv");
//   if (report.state != StoreState::Sound)
//     for (StoreFinding const& f : report.findings) print(f.page, f.offset, f.words);
//
//   SalvageReport saved = SalvageStore("words.kv", "words.new.kv");
//
// Both read the file's bytes and trust none of them: any file, whatever is in it, gets an answer,
// in time and memory bounded by the file's size. Neither ever writes to the file it examines.
// Neither needs the file to be one that the store can open. The file's layout is drawn in
// docs/store-format.md.
//
//   LoadReport loaded = LoadStore("words.kv", nextRecord);  // best in the order of keys
//   CompactReport small = CompactStore("words.kv");
//
// Paths are UTF-8. Like the store itself these are for one thread at a time. Only exhausted memory
// is reported by an exception (std::bad_alloc).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kvorlib/export.h"
#include "kvorlib/keydescr.h"

enum class FindingKind {
  Damage,  // a rule of the format is broken: records are, or may become, wrong or out of reach
  Leak,    // space is lost, and nothing else
  Note,    // worth knowing, and no fault
};

// One thing found, and where: `offset` counts bytes within the page.
struct StoreFinding {
  FindingKind kind = FindingKind::Note;
  std::uint32_t page = 0;
  std::uint32_t offset = 0;
  std::string words;

  std::uint64_t FileOffset() const { return std::uint64_t{page} * 4096 + offset; }
};

enum class StoreState {
  Sound,       // no damage; there may be leaks and notes
  Damaged,     // at least one finding is damage
  Unreadable,  // the file could not be opened or not be read at all; `failure` has the words
};

struct StoreReport {
  StoreState state = StoreState::Unreadable;
  std::string failure;
  // In the order in which they were found; at most MaxFindings of them, `damages`, `leaks` and
  // `notes` count them all.
  std::vector<StoreFinding> findings;
  std::uint64_t damages = 0;
  std::uint64_t leaks = 0;
  std::uint64_t notes = 0;

  std::uint64_t fileSize = 0;  // bytes

  // What the header says. Meaningful when `hasHeader`: page 0 is whole and of a known version.
  bool hasHeader = false;
  std::uint32_t version = 0;
  KEYDESCR key;
  std::uint32_t depth = 0;  // levels of internal pages, as counted by the header
  std::uint32_t recordCount = 0;
  std::uint16_t freePages = 0;  // the cautious counter that the store tests before an insertion
  bool corruptedMark = false;
  bool journaled = false;

  // What the walk met.
  std::uint32_t levels = 0;  // levels of internal pages above the leaves
  std::uint64_t records = 0;
  std::uint64_t externalRecords = 0;  // those that lie in runs of pages of their own
  std::uint64_t recordBytes = 0;
  std::uint32_t longestRecord = 0;  // bytes
  std::uint32_t leafPages = 0;
  std::uint32_t internalPages = 0;
  std::uint32_t runPages = 0;
  std::uint32_t leakedPages = 0;    // marked in use by the bitmap, reached by nothing
  std::uint32_t unmarkedPages = 0;  // not marked in use: what a new record can take
  double leafFill = 0;              // the part of the leaves' room that entries take, 0 to 1

  static constexpr std::size_t MaxFindings = 10000;
};

// Walks the whole tree, every record and the bitmap of the store file `path`.
//
// No other process changes the file in the meantime, if the store's mutex can be had in its usual
// time; otherwise a note tells that it could not.
KVORLIB_API StoreReport CheckStore(std::string const& path);

struct SalvageOptions {
  // The layout of keys; needed when the header is lost, and then preferred to what it says.
  std::optional<KEYDESCR> key;
  // Whether pages that the bitmap calls free are searched too when records are still missing. They
  // hold records that nothing else saves, and records that were erased on purpose.
  bool searchFreePages = true;
  // Called now and then with the number of pages looked at so far and of all to be looked at.
  std::function<void(std::uint64_t done, std::uint64_t all)> progress;
};

struct SalvageReport {
  // The new file was made and holds all that was found. False: `failure` has the words, and
  // `failedFile` the path that they are about; a new file that was begun stays as far as it went.
  bool done = false;
  std::string failure;
  std::string failedFile;

  std::optional<std::uint32_t> expected;  // records, by the damaged file's header
  std::uint64_t byChain = 0;              // saved along the chain of leaves
  std::uint64_t byScan = 0;               // saved from pages in use that the chain did not reach
  std::uint64_t fromFreePages = 0;        // saved from pages that count as free
  std::uint64_t older = 0;  // sound, but another record of the same key was saved before

  std::uint64_t Saved() const { return byChain + byScan + fromFreePages; }

  // What was given up, each with its reason; at most StoreReport::MaxFindings, counted by
  // `givenUp`.
  std::vector<StoreFinding> losses;
  std::uint64_t givenUp = 0;
};

// Copies all records of the store file `from` that are still whole into a new store file `to`.
//
// A record is whole when its checksum fits and its key lies inside it, for an external record the
// same key as in its entry. The chain of leaves is followed first; then, when records are missing,
// leaves are searched for among the other pages, those in use before those that count as free.
// Where one key turns up twice the first record found is kept, since in this order the earlier
// source is the more current one.
//
// Fails when `to` exists, when `from` cannot be read, and when its header does not tell the layout
// of keys and `options.key` does not either.
KVORLIB_API SalvageReport SalvageStore(std::string const& from, std::string const& to,
                                       SalvageOptions const& options = {});

// ---- Loading ---------------------------------------------------------------------------------

struct LoadReport {
  bool done = false;  // False: `failure` has the words; what is stored stays
  std::string failure{};
  std::uint64_t stored = 0;   // records
  std::uint64_t present = 0;  // left alone: their key was there
  std::uint64_t refused = 0;  // they cannot be records of this file: "WRONG KEY"
};

// Records on their way into an empty store file, in the order of their keys. They are put into full
// pages in memory, at most 133 MB, and stored by one operation, which is done or undone whole as
// any other: until Finish the file stays empty.
//
//   SortedLoad load("words.kv");
//   while (next(record) && load.Add(record) != SortedLoad::Answer::Declined) continue;
//   LoadReport report = load.Finish();
//
// The file is held open meanwhile. If it is not empty any more at Finish, or cannot take them at
// once, nothing is lost: the records are inserted one by one, and those whose key is there by then
// are counted as present.
class KVORLIB_API SortedLoad {
 public:
  explicit SortedLoad(std::string const& path);
  ~SortedLoad();  // what is not finished is not stored
  SortedLoad(SortedLoad const&) = delete;
  SortedLoad& operator=(SortedLoad const&) = delete;

  enum class Answer {
    Taken,
    Present,   // left out: its key is that of the record before
    Refused,   // left out: it does not hold its key whole
    Declined,  // it comes before the last one, or there is no room in the file, or the file is not
               // empty or cannot be opened: Finish, then insert this record as usual
  };
  Answer Add(std::span<unsigned char const> record);
  std::uint64_t Taken() const;  // records that wait for Finish
  LoadReport Finish();

  class State;

 private:
  std::unique_ptr<State> state;
};

// Hands out the next record, nothing at the end. The bytes live until the next call.
using RecordSource = std::function<std::optional<std::span<unsigned char const>>()>;

// Stores all records into the store file `path`, which must be there. As long as they come in the
// order of their keys and the file was empty, they take the road of SortedLoad; from the first one
// that does not on, they are inserted one by one. A key that is there already keeps its record.
KVORLIB_API LoadReport LoadStore(std::string const& path, RecordSource const& next);

// ---- Making small ----------------------------------------------------------------------------

struct CompactReport {
  bool done = false;  // False: `failure` has the words, and the file is as it was
  std::string failure{};
  StoreState state = StoreState::Sound;  // Damaged: that is why; SalvageStore saves the records
  std::uint64_t records = 0;
  std::uint64_t bytesBefore = 0;
  std::uint64_t bytesAfter = 0;
};

// Writes the store file `path` anew with leaves filled to `fill` of 100 (50 to 100), beside it, and
// puts the new file in its place at once, with the same owner, group and mode. Nobody may have the
// file open, and nobody can open it meanwhile. What ends the work early, be it a full disk or the
// end of the process, leaves the old file; in the last case `path`.part stays beside it.
//
// The new file is of version 24 whatever the old one was. A journal stays asked for.
KVORLIB_API CompactReport CompactStore(std::string const& path, unsigned fill = 100);
