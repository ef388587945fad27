// What a walk has ahead of it in its leaf: a private copy of the leaf's entries, taken when the
// walk goes on in it, and believed as a whole then. From there on a step is a look at the count: if
// it is what it was, the next record comes out of the copy. Nobody stores to a copy, so that no
// step out of it can be torn.
//
// Only what is plain is handed out: a sound entry with a record inside. Everything else is left to
// the road that reads the file, which finds the cursor where the last step out of here put it.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

#include "kvorlib/datatransfer.h"
#include "platform/prefetch.h"
#include "store/page.h"
#include "store/recordroom.h"

namespace store {

class LeafCopy {
 public:
  // Copies the entries where they lie; `next` is where the leaf behind them lies, or null. The copy
  // counts only when somebody has seen that the file did not change meanwhile; see Believe.
  void Take(Bytes entries, const std::uint8_t* next) {
    Drop();
    if (bytes == nullptr)
      bytes = std::make_unique<std::array<std::uint8_t, PageSize + platform::SumReach>>();
    std::memcpy(bytes->data(), entries.data(), entries.size());
    taken = static_cast<std::uint32_t>(entries.size());
    following = next != nullptr ? next : bytes->data();
    AskAhead(0, LinesAhead);
  }
  // It is that of the page as it is in this state of the file.
  void Believe(std::uint64_t state, std::uint16_t itsPage) {
    asOf = state;
    page = itsPage;
    used = taken;
  }
  void Drop() { used = taken = 0; }
  // The walk stands at the entry that ends here, or nowhere in the copy any more.
  void StandAt(std::size_t end) { behind = static_cast<std::uint32_t>(end); }
  void Leave() { behind = PageSize; }

  bool IsOf(std::uint64_t state, std::uint16_t itsPage) const {
    return used != 0 && asOf == state && page == itsPage;
  }
  // Whether the walk stands here, with more behind it.
  bool HasMore() const { return behind < used; }
  std::uint64_t State() const { return asOf; }

  // Fills the record with the next one, if it can be had here, and tells where that ends; else 0.
  std::size_t Next(DataTransfer& record) const {
    AskAhead(behind, RecordRoom::HasHeldLong(record) ? LinesAhead : 1);
    // As Entry::At, in one look at form and length. Behind the entries the copy has room to read.
    const std::uint8_t* const entry = bytes->data() + behind;
    const std::uint32_t head = Load32(entry);
    const std::size_t length = head >> 8 & 0xFFFF;
    const std::size_t size = length - EntryHead;
    const std::size_t end = behind + Rounded(length);
    if (static_cast<EntryForm>(head & 0xFF) != EntryForm::Inline || size - 1 >= LongestRecord ||
        end > used ||
        !RecordRoom::Fill(record, {entry + EntryHead, size}, Load32(entry + 3),
                          RecordRoom::Ample)) {
      return 0;
    }
    return end;
  }
  std::size_t Behind() const { return behind; }

 private:
  static constexpr std::size_t LinesAhead = 4;
  static constexpr std::size_t LongestRecord = MaxEntry / 4 * 4 - EntryHead;

  // For bytes of the next leaf, so that it is here when it is its turn.
  void AskAhead(std::size_t from, std::size_t lines) const {
    for (std::size_t i = 0; i < lines; ++i)
      platform::Prefetch(following + from + i * platform::CacheLine);
  }

  std::uint64_t asOf = 0;
  std::uint32_t used = 0;    // bytes that are believed; 0: none
  std::uint32_t taken = 0;   // and that are there
  std::uint32_t behind = 0;  // the entry at the cursor; not below `used`: nothing is to be had here
  std::uint16_t page = 0;
  const std::uint8_t* following = nullptr;  // that leaf, or, for want of it, these bytes
  std::unique_ptr<std::array<std::uint8_t, PageSize + platform::SumReach>> bytes;
};

}  // namespace store
