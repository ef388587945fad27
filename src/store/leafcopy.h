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
      bytes = std::make_unique<std::array<std::uint8_t, PageSize + platform::SumStride>>();
    std::memcpy(bytes->data(), entries.data(), entries.size());
    taken = static_cast<std::uint32_t>(entries.size());
    following = next;
  }
  // It is that of the page as it is in this state of the file.
  void Believe(std::uint64_t state, std::uint16_t itsPage) {
    asOf = state;
    page = itsPage;
    used = taken;
  }
  void Drop() { used = taken = 0; }
  // The walk stands at the entry at `offset`, which ends at `end`.
  void StandAt(std::uint16_t offset, std::size_t end) {
    cursor = offset;
    behind = static_cast<std::uint32_t>(end);
  }

  bool IsOf(std::uint64_t state, std::uint16_t itsPage) const {
    return used != 0 && asOf == state && page == itsPage;
  }
  bool IsAt(std::uint64_t state, std::uint16_t itsPage, std::uint16_t offset) const {
    return behind < used && asOf == state && page == itsPage && cursor == offset;
  }

  // Steps on and fills the record, if that is one of at most `most` bytes that can be had here.
  bool Step(DataTransfer& record, std::int32_t most) {
    if (following != nullptr) platform::Prefetch(following + behind);
    const auto entry = Entry::At(Bytes(*bytes).first(used), behind, true);
    if (!entry || entry->Form() != EntryForm::Inline) return false;
    const Bytes payload = entry->Payload();
    const auto size = static_cast<std::int32_t>(payload.size());
    if (size == 0 || size > most || !RecordRoom::Fill(record, payload, entry->Checksum())) {
      return false;
    }
    StandAt(static_cast<std::uint16_t>(behind), behind + entry->Size());
    return true;
  }
  std::uint16_t Cursor() const { return cursor; }
  std::size_t Behind() const { return behind; }

 private:
  std::uint64_t asOf = 0;
  std::uint32_t used = 0;    // bytes that are believed; 0: none
  std::uint32_t taken = 0;   // and that are there
  std::uint32_t behind = 0;  // the entry at the cursor
  std::uint16_t page = 0;
  std::uint16_t cursor = 0;
  const std::uint8_t* following = nullptr;
  std::unique_ptr<std::array<std::uint8_t, PageSize + platform::SumStride>> bytes;
};

}  // namespace store
