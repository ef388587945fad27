// How keys lie in records and what a key from outside must be like.
#include "maps/keyrules.h"

#include <algorithm>

#include "kvorlib/errors.h"
#include "store/udb.h"

namespace maps {

Bytes BytesOf(DataTransfer const& value) {
  return {reinterpret_cast<unsigned char const*>(value.GetData()),
          static_cast<std::size_t>(std::max(value.Available(), 0))};
}

StoreKey::StoreKey(KEYDESCR const& kd, DataTransfer const& given, int level) {
  Bytes const key = BytesOf(given);
  if (key.size() > Longest) throw ErrBuf("Key too long", level);
  std::copy(key.begin(), key.end(), bytes.begin());
  size = key.size();
  if (!kd.IsText()) {
    if (size != kd.len) throw ErrBuf("Wrong binary key size", level);
    return;
  }
  if (size == 0) return;
  auto const last = bytes.begin() + size - 1;
  if (std::find(bytes.begin(), last, kd.len) != last) throw ErrBuf("Stop symbol inside key", level);
  if (*last == kd.len) return;
  if (*last != 0) ++size;
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
  auto const stop = std::find(rest.begin(), rest.end(), kd.len);
  if (stop == rest.end()) throw ErrBuf("Record contains a wrong key", ErrData::ERR_ERROR);
  return rest.first(static_cast<std::size_t>(stop - rest.begin()));
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
