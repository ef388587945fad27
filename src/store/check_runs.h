// Testing the runs of pages that hold external records.
#pragma once

#include <cstdint>

#include "store/check_findings.h"
#include "store/check_source.h"
#include "store/page.h"

namespace store {

// What all parts of one check look at.
struct Examination {
  ExaminedFile& file;
  const Page& page0;
  std::uint32_t version;
  KEYDESCR key;
  bool keysKnown;  // the descriptor is one whose keys can be told and compared
  StoreReport& report;
  Findings& findings;
  PageSet used;                           // tree pages and run pages met so far
  std::uint32_t expectedFree = MaxPages;  // the free-page counter, by what was met, modulo 65,536
};

// Tests the run that a leaf's key entry leads to, and counts its record. `page` and `offset` say
// where the entry stands. No page is read twice however many entries lead to it.
void CheckRun(Examination& exam, const Entry& entry, std::uint32_t page, std::size_t offset);

// How far the free-page counter moves for a run: its length once for each byte of the bitmap that
// it touches.
inline std::uint32_t CounterMove(std::uint32_t first, std::uint32_t pages) {
  return pages * ((first + pages - 1) / 8 - first / 8 + 1);
}

}  // namespace store
