// A page's bytes as values. All reading of pages goes through these views, and every bound is
// checked here: a view never hands out a byte beyond its page, its entry or its payload. What a
// bound hangs on is taken out of the page once and kept in the view: a page may be looked at where
// it lies in the file, and somebody who does not keep to the lock may change it meanwhile.
//
// All integers are little-endian. The layouts are drawn in docs/store-format.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "kvorlib/keydescr.h"

namespace store {

inline constexpr std::size_t PageSize = 4096;
inline constexpr std::size_t BitmapBytes = 4071;
inline constexpr std::uint32_t MaxPages = BitmapBytes * 8;  // 32568

constexpr std::uint64_t OffsetOf(std::uint32_t page) { return std::uint64_t{page} * PageSize; }

using Page = std::array<std::uint8_t, PageSize>;
using Bytes = std::span<const std::uint8_t>;

inline std::uint16_t Load16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}
inline std::uint32_t Load32(const std::uint8_t* p) {
  return Load16(p) | static_cast<std::uint32_t>(Load16(p + 2)) << 16;
}
inline std::uint64_t Load64(const std::uint8_t* p) {
  return Load32(p) | static_cast<std::uint64_t>(Load32(p + 4)) << 32;
}
// The first n bytes of eight, the others zero. REQUIRES: n < 8.
inline std::uint64_t LoadFewer(const std::uint8_t* p, std::size_t n) {
  std::uint64_t v = 0;
  if ((n & 1) != 0) v = p[n - 1];
  if ((n & 2) != 0) v = v << 16 | Load16(p + (n & 4));
  if ((n & 4) != 0) v = v << 32 | Load32(p);
  return v;
}
inline void Store16(std::uint8_t* p, std::uint16_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
}
inline void Store32(std::uint8_t* p, std::uint32_t v) {
  Store16(p, static_cast<std::uint16_t>(v));
  Store16(p + 2, static_cast<std::uint16_t>(v >> 16));
}

// ---- Page 0 ----------------------------------------------------------------------------------

inline constexpr std::uint32_t OldVersion = 23;
inline constexpr std::uint32_t CurrentVersion = 24;

inline constexpr std::size_t HeaderEnd = PageSize - BitmapBytes;  // 25; then the bitmap
inline constexpr std::size_t RootEnd = 12;  // so far: what the keys are, and where the tree begins

// Bytes 4 to 24 of page 0.
struct Header {
  KEYDESCR key;
  std::uint16_t firstLeaf = 0;
  std::uint16_t root = 0;
  std::uint16_t freePages = 0;
  std::uint16_t depth = 0;
  std::uint8_t corrupted = 0;
  std::uint16_t journal = 0;
  std::array<std::uint8_t, 2> reserved{};
  std::uint32_t recordCount = 0;

  static Header Load(const Page& page);
  void Store(Page& page) const;
  friend bool operator==(const Header&, const Header&) = default;
};

// Page 0's first byte alone tells its version; nothing when it is neither.
std::optional<std::uint32_t> VersionOf(const Page& page);
void SetVersion(Page& page, std::uint32_t version);

// One bit a page from byte 25 of page 0 on.
std::span<std::uint8_t, BitmapBytes> BitmapOf(Page& page);
std::span<const std::uint8_t, BitmapBytes> BitmapOf(const Page& page);
inline bool InUse(const Page& page0, std::uint32_t n) {
  return (BitmapOf(page0)[n / 8] >> (n % 8) & 1) != 0;
}

// ---- Entries ---------------------------------------------------------------------------------

inline constexpr std::size_t EntryHead = 7;         // form, length, checksum or page
inline constexpr std::size_t MaxEntry = 2042;       // rounded length
inline constexpr std::size_t FirstExternal = 2030;  // records from this length on take a run
inline constexpr std::size_t MaxKey = 127;

enum class EntryForm : std::uint8_t { Key = 0, Inline = 1 };

constexpr std::size_t Rounded(std::size_t length) { return (length + 3) & ~std::size_t{3}; }

// One entry, known to lie inside its page: form, length and size are sound.
class Entry {
 public:
  // The entry that begins `offset` bytes into these entries of a leaf or an internal page. Nothing
  // if no sound entry lies there: it must end within them and have a form of its kind of page.
  static std::optional<Entry> At(Bytes entries, std::size_t offset, bool leaf) {
    if (offset > entries.size() || EntryHead > entries.size() - offset) return std::nullopt;
    const Entry entry(entries.data() + offset);
    if (entry.length < EntryHead || entry.Size() > MaxEntry ||
        offset + entry.Size() > entries.size()) {
      return std::nullopt;
    }
    const bool known = entry.form == EntryForm::Key || (leaf && entry.form == EntryForm::Inline);
    return known ? std::optional(entry) : std::nullopt;
  }

  EntryForm Form() const { return form; }
  std::size_t Length() const { return length; }
  std::size_t Size() const { return Rounded(length); }
  std::uint32_t Checksum() const { return Load32(at + 3); }  // Inline
  std::uint16_t Child() const { return Load16(at + 3); }  // Key: child page or first page of a run
  Bytes Payload() const { return {at + EntryHead, Length() - EntryHead}; }
  Bytes Whole() const { return {at, Size()}; }
  // The key inside the payload with its stop symbol, or nothing if it does not lie there whole.
  std::optional<Bytes> Key(const KEYDESCR& kd) const;
  // The payload from where the key begins, or would.
  Bytes FromKeyOn(const KEYDESCR& kd) const {
    const Bytes payload = Payload();
    // A negative offset is a large number here.
    const auto before = static_cast<std::size_t>(form == EntryForm::Inline ? kd.offset : 0);
    return before > payload.size() ? Bytes() : payload.subspan(before);
  }

 private:
  explicit Entry(const std::uint8_t* p)
      : at(p), form(static_cast<EntryForm>(p[0])), length(Load16(p + 1)) {}
  const std::uint8_t* at;
  EntryForm form;
  std::uint16_t length;
};

// ---- Tree pages ------------------------------------------------------------------------------

inline constexpr std::uint16_t LeafType = 98;
inline constexpr std::uint16_t InternalType = 114;
inline constexpr std::size_t UsedAt = 2;         // offset of `used` in a page
inline constexpr std::size_t EntriesAt = 12;     // and of the entries
inline constexpr std::size_t EntriesEnd = 4084;  // `used` stays below this

// A view of a leaf or an internal page. It does not own the bytes, and is not to be used any more
// when they have been changed.
class TreePage {
 public:
  // Nothing unless the first byte is that of a tree page and `used` is within the page.
  static std::optional<TreePage> Of(const Page& page) {
    const TreePage view(page.data());
    const bool known = view.type == LeafType || view.type == InternalType;
    return known && view.used < EntriesEnd ? std::optional(view) : std::nullopt;
  }

  bool IsLeaf() const { return type == LeafType; }
  std::size_t Used() const { return used; }
  std::uint16_t Next() const { return Load16(bytes + 4); }
  std::uint16_t Prev() const { return Load16(bytes + 6); }
  std::uint16_t RightChild() const { return Load16(bytes + 8); }
  Bytes Entries() const { return {bytes + EntriesAt, Used()}; }
  std::optional<Entry> At(std::size_t offset) const {
    return Entry::At(Entries(), offset, IsLeaf());
  }

 private:
  explicit TreePage(const std::uint8_t* p) : bytes(p), type(p[0]), used(Load16(p + 2)) {}
  const std::uint8_t* bytes;
  std::uint8_t type;
  std::uint16_t used;
};

// ---- Keys ------------------------------------------------------------------------------------

// Where the key lies in a record of these bytes, with its stop symbol. Nothing if it is not there
// whole: it begins outside, has no stop symbol in 127 bytes, or reaches beyond the end.
std::optional<Bytes> KeyIn(const KEYDESCR& kd, Bytes record);
// The key at the start of `bytes`: the length of a fixed key, or up to and with the stop symbol,
// searched in at most 127 bytes.
std::optional<Bytes> KeyAtStart(const KEYDESCR& kd, Bytes bytes);
// Order of two whole keys: negative, 0, positive. Text is compared without its stop symbol.
int CompareKeys(const KEYDESCR& kd, Bytes a, Bytes b);

// ---- Records ---------------------------------------------------------------------------------

// The wrapping sum of the record's bytes.
std::uint32_t Checksum(Bytes record);

// What stands in front of an external record's bytes.
struct RunPrefix {
  std::uint32_t length = 0;
  std::uint32_t checksum = 0;

  static std::size_t SizeFor(std::uint32_t version) { return version == OldVersion ? 6 : 8; }
  static RunPrefix Load(const std::uint8_t* p, std::uint32_t version);
  void Store(std::uint8_t* p, std::uint32_t version) const;
};
// How many pages a run of a record of this length takes.
std::uint32_t RunPages(std::uint32_t version, std::uint64_t length);

}  // namespace store
