// Typed views over pages: the one place where bytes of a file become values.
#include "store/page.h"

#include <algorithm>
#include <cstring>

namespace store {

Header Header::Load(const Page& page) {
  const std::uint8_t* p = page.data();
  Header h;
  h.key = KEYDESCR(p[4], p[5], static_cast<std::int16_t>(Load16(p + 6)));
  h.firstLeaf = Load16(p + 8);
  h.root = Load16(p + 10);
  h.freePages = Load16(p + 12);
  h.depth = Load16(p + 14);
  h.corrupted = p[16];
  h.journal = Load16(p + 17);
  h.reserved = {p[19], p[20]};
  h.recordCount = Load32(p + 21);
  return h;
}

void Header::Store(Page& page) const {
  std::uint8_t* p = page.data();
  p[4] = key.type;
  p[5] = key.len;
  Store16(p + 6, static_cast<std::uint16_t>(key.offset));
  Store16(p + 8, firstLeaf);
  Store16(p + 10, root);
  Store16(p + 12, freePages);
  Store16(p + 14, depth);
  p[16] = corrupted;
  Store16(p + 17, journal);
  p[19] = reserved[0];
  p[20] = reserved[1];
  Store32(p + 21, recordCount);
}

std::optional<std::uint32_t> VersionOf(const Page& page) {
  const std::uint8_t version = page[0];
  if (version != OldVersion && version != CurrentVersion) return std::nullopt;
  return version;
}

void SetVersion(Page& page, std::uint32_t version) { Store32(page.data(), version); }

std::span<std::uint8_t, BitmapBytes> BitmapOf(Page& page) {
  return std::span(page).subspan<HeaderEnd, BitmapBytes>();
}
std::span<const std::uint8_t, BitmapBytes> BitmapOf(const Page& page) {
  return std::span(page).subspan<HeaderEnd, BitmapBytes>();
}

std::optional<Bytes> Entry::Key(const KEYDESCR& kd) const {
  return Form() == EntryForm::Inline ? KeyIn(kd, Payload()) : KeyAtStart(kd, Payload());
}

std::optional<Bytes> KeyIn(const KEYDESCR& kd, Bytes record) {
  if (kd.offset < 0 || static_cast<std::size_t>(kd.offset) > record.size()) return std::nullopt;
  return KeyAtStart(kd, record.subspan(static_cast<std::size_t>(kd.offset)));
}

std::optional<Bytes> KeyAtStart(const KEYDESCR& kd, Bytes bytes) {
  if (!kd.IsText()) {
    if (kd.len > bytes.size()) return std::nullopt;
    return bytes.first(kd.len);
  }
  const std::size_t reach = std::min(bytes.size(), MaxKey);
  if (reach == 0) return std::nullopt;
  const void* const stop = std::memchr(bytes.data(), kd.len, reach);
  if (stop == nullptr) return std::nullopt;
  const auto* const last = static_cast<const std::uint8_t*>(stop);
  return bytes.first(static_cast<std::size_t>(last - bytes.data()) + 1);
}

namespace {

int CompareBytes(Bytes a, Bytes b) {
  const std::size_t n = std::min(a.size(), b.size());
  const int order = n == 0 ? 0 : std::memcmp(a.data(), b.data(), n);
  if (order != 0) return order;
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

// A key shorter than the four bytes of a number counts as filled up with zeros.
std::int32_t NumberOf(Bytes key) {
  std::array<std::uint8_t, 4> b{};
  std::copy_n(key.begin(), std::min(key.size(), b.size()), b.begin());
  return static_cast<std::int32_t>(Load32(b.data()));
}

}  // namespace

int CompareKeys(const KEYDESCR& kd, Bytes a, Bytes b) {
  switch (kd.type) {
    case 0: {
      const std::int32_t x = NumberOf(a);
      const std::int32_t y = NumberOf(b);
      return x < y ? -1 : x > y ? 1 : 0;
    }
    case 1:
    case 3:
      return CompareBytes(a, b);
    case 2:
    case 4:
      return CompareBytes(a.first(a.size() - 1), b.first(b.size() - 1));
    default:
      return 0;
  }
}

namespace {

// Eight bytes at a time, in lanes of 16 bits that hold what two of each of 128 words add up to.
constexpr std::size_t AtOnce = std::size_t{127} * 8;

// Of at most AtOnce bytes.
std::uint32_t SumOfFew(Bytes bytes) {
  constexpr std::uint64_t everyOther = 0x00FF00FF00FF00FFU;
  constexpr std::uint64_t everyFourth = 0x0000FFFF0000FFFFU;
  const std::uint8_t* p = bytes.data();
  const std::uint8_t* const end = p + bytes.size();
  const std::size_t rest = bytes.size() % 8;
  std::uint64_t lanes = 0;
  for (std::size_t words = bytes.size() / 8; words > 0; --words, p += 8) {
    const std::uint64_t word = Load64(p);
    lanes += (word & everyOther) + (word >> 8 & everyOther);
  }
  // The last bytes, with those in front of them that are counted already shifted out.
  const std::uint64_t word = rest == 0           ? 0
                             : bytes.size() >= 8 ? Load64(end - 8) >> (64 - 8 * rest)
                                                 : LoadFewer(p, rest);
  lanes += (word & everyOther) + (word >> 8 & everyOther);
  lanes = (lanes & everyFourth) + (lanes >> 16 & everyFourth);
  return static_cast<std::uint32_t>(lanes + (lanes >> 32));
}

}  // namespace

std::uint32_t Checksum(Bytes record) {
  const std::uint8_t* p = record.data();
  std::size_t left = record.size();
  std::uint32_t sum = 0;
  for (; left > AtOnce; left -= AtOnce, p += AtOnce) sum += SumOfFew({p, AtOnce});
  return sum + SumOfFew({p, left});
}

RunPrefix RunPrefix::Load(const std::uint8_t* p, std::uint32_t version) {
  return version == OldVersion ? RunPrefix{Load16(p), Load32(p + 2)}
                               : RunPrefix{Load32(p), Load32(p + 4)};
}

void RunPrefix::Store(std::uint8_t* p, std::uint32_t version) const {
  if (version == OldVersion) {
    Store16(p, static_cast<std::uint16_t>(length));
    Store32(p + 2, checksum);
  } else {
    Store32(p, length);
    Store32(p + 4, checksum);
  }
}

std::uint32_t RunPages(std::uint32_t version, std::uint64_t length) {
  return static_cast<std::uint32_t>((RunPrefix::SizeFor(version) + length + PageSize - 1) /
                                    PageSize);
}

}  // namespace store
