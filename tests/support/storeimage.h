// Store files as bytes: put together and taken apart by the format's tables alone, with nothing of
// the engine in between, so that a mistake in the engine's views cannot hide itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kvorlib/keydescr.h"

namespace image {

using Bytes = std::string;

inline constexpr std::size_t PageBytes = 4096;
inline constexpr unsigned AllPages = 32568;
inline constexpr unsigned LeafPage = 98;
inline constexpr unsigned InternalPage = 114;

unsigned Get16(const Bytes& b, std::size_t at);
std::uint32_t Get32(const Bytes& b, std::size_t at);
void Put16(Bytes& b, std::size_t at, unsigned v);
void Put32(Bytes& b, std::size_t at, std::uint32_t v);

// ---- Putting together ------------------------------------------------------------------------

struct HeaderFields {
  unsigned version = 24;
  KEYDESCR key{4, ' ', 0};
  unsigned firstLeaf = 0;
  unsigned root = 0;
  unsigned pages = 0;                      // pages 1 up to this one are in use
  std::optional<unsigned> freePages = {};  // when it is not what these pages leave
  unsigned depth = 0;
  unsigned corrupted = 0;
  unsigned journal = 0;
  std::uint32_t recordCount = 0;
};
Bytes HeaderPage(const HeaderFields& fields);

struct Links {
  unsigned next = 0;
  unsigned prev = 0;
  unsigned rightChild = 0;
};
Bytes TreePage(unsigned type, const Links& links, const std::vector<Bytes>& entries);
Bytes LeafOf(const std::vector<Bytes>& records, const Links& links = {});
Bytes InlineEntry(const Bytes& record);
Bytes KeyEntry(unsigned page, const Bytes& key);
// An external record in its whole pages.
Bytes Run(unsigned version, const Bytes& record);
std::uint32_t Sum(const Bytes& record);

// ---- Taking apart ----------------------------------------------------------------------------

// The key in a record, with its stop symbol; empty if it is not there whole.
Bytes KeyOf(const KEYDESCR& kd, const Bytes& record);
// Order of keys as the format has it: negative, 0, positive.
int Compare(const KEYDESCR& kd, const Bytes& a, const Bytes& b);

struct Findings {
  std::string damage;  // the first rule that is broken; then the rest is not filled in
  // Of how many pages freePages is short, counted as the allocations of this tree count them.
  int freePagesShort = 0;
  std::size_t endOfUse = 0;    // behind the last page that is marked in use
  unsigned leaked = 0;         // pages marked in use, and nobody's
  std::vector<Bytes> records;  // in the order of the leaves
  unsigned leaves = 0;
  unsigned levels = 0;  // internal ones
};
Findings Examine(const Bytes& file);

}  // namespace image
