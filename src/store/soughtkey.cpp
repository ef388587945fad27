// Keys as numbers.
#include "store/soughtkey.h"

#include <algorithm>

namespace store {

namespace {

constexpr std::uint64_t Mixer = 0x9E3779B97F4A7C15U;

std::uint64_t BigEndian(std::uint64_t v) {
  v = (v & 0x00FF00FF00FF00FFU) << 8 | (v >> 8 & 0x00FF00FF00FF00FFU);
  v = (v & 0x0000FFFF0000FFFFU) << 16 | (v >> 16 & 0x0000FFFF0000FFFFU);
  return v << 32 | v >> 32;
}

// The first sixteen bytes, the first one highest, zeros behind the last.
std::array<std::uint64_t, 2> BeginOf(Bytes key) {
  if (key.size() < 8) {
    const std::uint64_t few = LoadFewer(key.data(), key.size());
    return {BigEndian(few), 0};
  }
  // The second eight with some of the first in front of them, which are shifted out; in two steps,
  // since it may be all of them.
  const std::size_t more = std::min<std::size_t>(key.size() - 8, 8);
  const std::uint64_t second = BigEndian(Load64(key.data() + more));
  return {BigEndian(Load64(key.data())), second << 4 * (8 - more) << 4 * (8 - more)};
}

}  // namespace

// The last word of a key of eight bytes or more is its last eight, some of them for a second time.
std::uint32_t KeyMark(const KEYDESCR& kd, Bytes key) {
  key = WithoutStop(kd, key);
  std::uint64_t h = key.size() * Mixer;
  const std::uint64_t last =
      key.size() < 8 ? LoadFewer(key.data(), key.size()) : Load64(key.data() + key.size() - 8);
  for (; key.size() > 8; key = key.subspan(8)) {
    h = (h ^ Load64(key.data())) * Mixer;
    h ^= h >> 32;
  }
  h = (h ^ last) * Mixer;
  h = (h ^ h >> 32) * Mixer;
  return static_cast<std::uint32_t>(h >> 32);
}

SoughtKey::SoughtKey(const KEYDESCR& kd, Bytes key)
    : OrderedKey(kd, key), whole(key), begin(BeginOf(Ordered())) {}

std::uint64_t SoughtKey::NumberFar(std::size_t at) const {
  if (at >= Ordered().size()) return 0;
  const Bytes rest = Ordered().subspan(at);
  return BigEndian(rest.size() >= 8 ? Load64(rest.data()) : LoadFewer(rest.data(), rest.size()));
}

}  // namespace store
