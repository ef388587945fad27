// How keys lie in records and what a key from outside must be like.
#include "maps/keyrules.h"

#include <algorithm>
#include <cstring>

#include "kvorlib/errors.h"
#include "store/udb.h"

namespace maps {

Bytes BytesOf(DataTransfer const& value) {
  return {reinterpret_cast<unsigned char const*>(value.GetData()),
          static_cast<std::size_t>(std::max(value.Available(), 0))};
}

StoreKey::StoreKey(KEYDESCR const& kd, DataTransfer const& given, int level, Ends ends) {
  Bytes const key = BytesOf(given);
  if (key.size() > Longest) throw ErrBuf("Key too long", level);
  size = key.size();
  if (size != 0) std::memcpy(bytes.data(), key.data(), size);
  if (!kd.IsText()) {
    if (size != kd.len) throw ErrBuf("Wrong binary key size", level);
    return;
  }
  if (size == 0) return;
  if (std::memchr(bytes.data(), kd.len, size - 1) != nullptr) {
    throw ErrBuf("Stop symbol inside key", level);
  }
  unsigned char const last = bytes[size - 1];
  if (last == kd.len) return;
  if (last != 0 || ends == Ends::Bare) ++size;
  bytes[size - 1] = kd.len;
}

Bytes KeyOf(KEYDESCR const& kd, Bytes record) {
  auto const offset = static_cast<std::size_t>(kd.offset);
  if (kd.offset < 0 || offset >= record.size())
    throw ErrBuf("Record doesn't contain key", ErrData::ERR_ERROR);
  Bytes const rest = record.subspan(offset);
  if (!kd.IsText()) {
    if (kd.len >= rest.size()) throw ErrBuf("Record doesn't contain key", ErrData::ERR_ERROR);
    return rest.first(kd.len);
  }
  auto const* const stop =
      static_cast<unsigned char const*>(std::memchr(rest.data(), kd.len, rest.size()));
  if (stop == nullptr) throw ErrBuf("Record contains a wrong key", ErrData::ERR_ERROR);
  return rest.first(static_cast<std::size_t>(stop - rest.data()));
}

void CheckRecord(KEYDESCR const& kd, DataTransfer const& key, DataTransfer const& record) {
  Bytes const whole = BytesOf(record);
  if (whole.size() > udbMaxRecord) throw ErrBuf("Too long record", ErrData::ERR_ERROR);
  Bytes const own = KeyOf(kd, whole);
  Bytes const given = BytesOf(key);
  if (!std::equal(own.begin(), own.end(), given.begin(), given.end()))
    throw ErrBuf("Record don't contain key", ErrData::ERR_ERROR);
}

}  // namespace maps
