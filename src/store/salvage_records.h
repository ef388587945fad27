// Telling whole records from broken ones in a damaged store file, and putting the whole ones into a
// new one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kvorlib/storetools.h"
#include "store/check_findings.h"
#include "store/check_source.h"
#include "store/page.h"

namespace store {

class RecordSaver {
 public:
  // `to` is the store's number of the new file. `version` may be a guess: a run is tried with the
  // prefix of the other version too, since a file may have been upgraded over its old runs.
  RecordSaver(ExaminedFile& from, int to, std::uint32_t version, const KEYDESCR& key,
              SalvageReport& report);

  enum class Verdict { Saved, Older, Broken, Stop };

  // Saves the record of one leaf entry if it is whole; `reason` says why it is not. Stop: the new
  // file takes no more, with the words in the report's `failure`.
  Verdict Save(const Entry& entry, std::string& reason);

  // Pages of runs whose records have been saved.
  const PageSet& RunPagesSaved() const { return claimed; }

 private:
  std::optional<Bytes> WholeExternal(const Entry& entry, std::string& reason);
  bool LoadRun(std::uint32_t first, std::uint32_t runVersion, Bytes key, std::string& reason);
  Verdict Insert(Bytes record, std::string& reason);

  ExaminedFile& from;
  int to;
  std::uint32_t version;
  KEYDESCR key;
  SalvageReport& report;
  std::vector<std::uint8_t> record;  // the external record in hand
  PageSet claimed;
  PageSet savedRuns;          // by first page
  PageSet brokenRuns;         // by first page: the checksum did not fit
  std::uint64_t bytesToRead;  // bounds the work when many entries lead to overlapping runs
};

}  // namespace store
