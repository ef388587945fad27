// One loop for each order of keys, with all tests of a step in it.
#include "store/pagesearch.h"

#include <algorithm>
#include <cstring>

namespace store {

namespace {

// The bytes of an entry's payload from where its key begins, and how many there are; none if the
// entry is not sound.
struct KeyBytes {
  const std::uint8_t* begin = nullptr;
  std::size_t size = 0;
};

// Text in order of its bytes, the shorter of two equal beginnings first.
class TextIsLess {
 public:
  TextIsLess(const KEYDESCR& kd, Bytes key)
      : stop(kd.len), wanted(key.data()), length(key.size() - 1) {}

  bool operator()(const KeyBytes& key) const {
    const auto* const end =
        static_cast<const std::uint8_t*>(std::memchr(key.begin, stop, std::min(key.size, MaxKey)));
    if (end == nullptr) return false;
    const auto there = static_cast<std::size_t>(end - key.begin);
    const std::size_t common = std::min(there, length);
    for (std::size_t i = 0; i < common; ++i) {
      if (key.begin[i] != wanted[i]) return key.begin[i] < wanted[i];
    }
    return there < length;
  }

 private:
  int stop;
  const std::uint8_t* wanted;
  std::size_t length;
};

class BytesAreLess {
 public:
  BytesAreLess(const KEYDESCR& kd, Bytes key) : wanted(key.data()), length(kd.len) {}
  bool operator()(const KeyBytes& key) const {
    return key.size >= length && std::memcmp(key.begin, wanted, length) < 0;
  }

 private:
  const std::uint8_t* wanted;
  std::size_t length;
};

class NumberIsLess {
 public:
  explicit NumberIsLess(Bytes key) : wanted(static_cast<std::int32_t>(Load32(key.data()))) {}
  bool operator()(const KeyBytes& key) const {
    return key.size >= 4 && static_cast<std::int32_t>(Load32(key.begin)) < wanted;
  }

 private:
  std::int32_t wanted;
};

template <typename IsLess>
std::size_t StepOver(const TreePage& page, std::int16_t offset, const IsLess& isLess) {
  const Bytes entries = page.Entries();
  const bool leaf = page.IsLeaf();
  std::size_t at = 0;
  for (;;) {
    const auto entry = Entry::At(entries, at, leaf);
    if (!entry) return at;
    const Bytes payload = entry->Payload();
    const auto before = static_cast<std::size_t>(entry->Form() == EntryForm::Inline ? offset : 0);
    // A negative offset is a large number here.
    if (before > payload.size()) return at;
    if (!isLess(KeyBytes{payload.data() + before, payload.size() - before})) return at;
    at += entry->Size();
  }
}

}  // namespace

std::size_t StepOverLess(const TreePage& page, const KEYDESCR& kd, Bytes key) {
  if (kd.IsText()) return StepOver(page, kd.offset, TextIsLess(kd, key));
  if (kd.type == 1 || kd.type == 3) return StepOver(page, kd.offset, BytesAreLess(kd, key));
  // Numbers of other lengths, and orders in which all keys are equal, are left to the caller.
  if (kd.type == 0 && kd.len == 4) return StepOver(page, kd.offset, NumberIsLess(key));
  return 0;
}

}  // namespace store
