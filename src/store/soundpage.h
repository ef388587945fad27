// A tree page that was walked over, and is sound: every entry is, has a whole key, and the keys
// ascend. On such a page a search by any means ends where a walk would.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/byteruns.h"
#include "store/page.h"

namespace store {

// Works on a copy: what lies in the file may be changed meanwhile, and behind this there is more to
// be read.
class SoundPage {
 public:
  SoundPage(const TreePage& page, const KEYDESCR& descr);
  SoundPage(const SoundPage&) = delete;
  SoundPage& operator=(const SoundPage&) = delete;

  // If not, nothing else here means anything. A leaf without entries is not.
  bool IsSound() const { return sound; }
  bool IsLeaf() const { return leaf; }
  std::uint16_t RightChild() const { return rightChild; }
  const KEYDESCR& KeyDescr() const { return kd; }
  std::uint16_t Used() const { return static_cast<std::uint16_t>(entries.size()); }

  std::size_t Count() const { return count; }
  std::uint16_t Offset(std::size_t n) const { return places[n].entry; }
  Bytes Key(std::size_t n) const { return {&copy[places[n].key], places[n].length}; }
  Entry At(std::size_t n) const { return *Entry::At(entries, places[n].entry, leaf); }

  static constexpr std::size_t MostEntries = EntriesEnd / Rounded(EntryHead) + 2;

 private:
  struct Place {
    std::uint16_t entry;
    std::uint16_t key;  // in the copy
    std::uint8_t length;
  };

  bool Walk();
  Bytes KeyOf(const Entry& entry) const;
  bool IsLess(Bytes a, Bytes b) const;

  std::array<std::uint8_t, PageSize + platform::ReadAhead> copy;
  const Bytes entries;
  const bool leaf;
  const std::uint16_t rightChild;
  const KEYDESCR kd;
  bool sound;
  std::size_t count = 0;
  std::array<Place, MostEntries> places;
};

}  // namespace store
