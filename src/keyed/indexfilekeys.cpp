// IndexFile: keys made of texts and integers, keys taken out of records, records as texts.
#include <algorithm>
#include <climits>
#include <string_view>

#include "keyed/passingrecord.h"
#include "keyed/utf8.h"
#include "kvorlib/errors.h"
#include "kvorlib/indexfile.h"
#include "kvorlib/persistentmap.h"
#include "kvorlib/recordpool.h"

using keyed::Narrow;
using keyed::Wide;

namespace {

bool FixedText(KEYDESCR const& kd) { return kd.type == 1 || kd.type == 3; }
bool HoldsText(KEYDESCR const& kd) { return kd.type == 3 || kd.type == 4; }

// A text that no key can be for its length is not taken for a shorter one.
int LengthOf(std::string_view key) {
  return static_cast<int>(std::min<std::size_t>(key.size(), INT_MAX));
}

// A key on its way to the map, in place: nobody down there writes to a key.
class LentKey : public DataTransfer {
 public:
  explicit LentKey(std::string_view bytes) {
    auto const* const first = reinterpret_cast<unsigned char const*>(bytes.data());
    SetExternBuf(const_cast<unsigned char*>(first), LengthOf(bytes));
  }
  explicit LentKey(int const& n) : LentKey({reinterpret_cast<char const*>(&n), sizeof n}) {}
};

// With its terminating zero, and whole even if zeros stand inside.
DataTransfer Terminated(std::string const& text) {
  DataTransfer value;
  value.SetData(text);
  return value;
}

}  // namespace

bool IndexFile::Fail(char const* words) const {
  if (HoldsMap()) map->set_state(ErrData::ERR_ERROR, words);
  return false;
}

std::string IndexFile::FillKey(std::string const& text) const {
  if (!keyDefined) return text;
  std::string key = text;
  if (FixedText(keyDescr)) {
    key.resize(keyDescr.len, ' ');
  } else if (keyDescr.IsText()) {
    key.erase(std::min(key.size(), key.find(static_cast<char>(keyDescr.len))));
  }
  return key;
}

// Empty, and the map has the words, if there is none.
std::string_view IndexFile::KeyIn(std::string_view text, std::string& room) const {
  std::string_view key = text;
  if (keyDefined && FixedText(keyDescr)) {
    key = room = FillKey(std::string(text));
  } else if (keyDefined && keyDescr.IsText()) {
    key = key.substr(0, key.find(static_cast<char>(keyDescr.len)));
  }
  bool const isNumber = keyDefined && keyDescr.type == 0;
  if (!isNumber && !key.empty()) return key;
  Fail(isNumber ? "Wrong record format" : "Empty key");
  return {};
}

bool IndexFile::HasNumbers() const {
  return !keyDefined || keyDescr.type == 0 || Fail("Wrong record format");
}

bool IndexFile::FormKey(std::string const& text, DataTransfer& key) const {
  std::string room;
  std::string_view const formed = KeyIn(text, room);
  key.SetData(static_cast<void const*>(formed.data()), LengthOf(formed));
  return !formed.empty();
}

bool IndexFile::FormKey(int n, DataTransfer& key) const {
  if (!HasNumbers()) return false;
  key.SetData(static_cast<void const*>(&n), sizeof n);
  return true;
}

bool IndexFile::Find(std::string const& key) const {
  std::string room;
  std::string_view const formed = KeyIn(key, room);
  return !formed.empty() && Find(LentKey(formed));
}

bool IndexFile::Find(std::u16string const& key) const { return Find(Narrow(key)); }

bool IndexFile::Find(int key) const { return HasNumbers() && Find(LentKey(key)); }

bool IndexFile::Erase(std::string const& key) {
  std::string room;
  std::string_view const formed = KeyIn(key, room);
  return !formed.empty() && Erase(LentKey(formed));
}

bool IndexFile::Erase(std::u16string const& key) { return Erase(Narrow(key)); }

bool IndexFile::Erase(int key) { return HasNumbers() && Erase(LentKey(key)); }

bool IndexFile::GetByText(std::string_view key, DataTransfer& record) const {
  std::string room;
  std::string_view const formed = KeyIn(key, room);
  return !formed.empty() && Get(LentKey(formed), record);
}

bool IndexFile::Get(std::string const& key, DataTransfer& record) const {
  return GetByText(key, record);
}

bool IndexFile::Get(std::u16string const& key, DataTransfer& record) const {
  return Get(Narrow(key), record);
}

bool IndexFile::Get(int key, DataTransfer& record) const {
  return HasNumbers() && Get(LentKey(key), record);
}

bool IndexFile::Get(std::string const& key, std::string& value) const {
  keyed::PassingRecord record;
  if (!Get(key, record)) return false;
  CopyDeleteZero(record, value);
  return true;
}

bool IndexFile::Get(std::u16string const& key, std::u16string& value) const {
  keyed::PassingRecord record;
  if (!Get(key, record)) return false;
  std::string text;
  if (CopyDeleteZero(record, text)) value = Wide(text);
  return true;
}

std::string IndexFile::Get(std::string const& key) const {
  std::string value;
  Get(key, value);
  return value;
}

std::u16string IndexFile::Get(std::u16string const& key) const {
  std::u16string value;
  Get(key, value);
  return value;
}

std::optional<std::string_view> IndexFile::TextIn(DataTransfer const& record) const {
  if (!keyDefined || !HoldsText(keyDescr)) return std::nullopt;
  std::string_view const whole(record.GetData(), static_cast<std::size_t>(record.Available()));
  auto const lastZero = whole.rfind('\0');
  return lastZero == whole.npos ? whole : whole.substr(0, lastZero + 1);
}

bool IndexFile::CopyDeleteZero(DataTransfer& record, std::string& out) const {
  auto const text = TextIn(record);
  if (text) out = *text;
  return text.has_value();
}

bool IndexFile::Put(DataTransfer const& record, bool /*overwrite*/) {
  DataTransfer key;
  return ExtractKey(record, key) && Put(key, record, false);
}

bool IndexFile::Update(DataTransfer const& record) {
  DataTransfer key;
  return ExtractKey(record, key) && Update(key, record);
}

bool IndexFile::Put(std::string const& record) { return Put(Terminated(record), false); }

bool IndexFile::Put(std::u16string const& record) { return Put(Narrow(record)); }

bool IndexFile::Update(std::string const& record) { return Update(Terminated(record)); }

bool IndexFile::Update(std::u16string const& record) { return Update(Narrow(record)); }

bool IndexFile::ExtractKey(DataTransfer const& record, DataTransfer& key) const {
  if (!keyDefined) return Fail("Key must be defined for this record format");
  auto const* const data = reinterpret_cast<unsigned char const*>(record.GetData());
  int const size = record.Available();
  if (keyDescr.offset < 0 || keyDescr.offset >= size) return Fail("Record don't contain key");
  auto const* const first = data + keyDescr.offset;
  int length = keyDescr.len;
  if (keyDescr.IsText()) {
    auto const* const stop = std::find(first, data + size, keyDescr.len);
    if (stop == data + size) return Fail("Record contains a wrong key");
    length = static_cast<int>(stop - first);
  } else if (keyDescr.offset + length >= size) {
    return Fail("Record doesn't contain the specified key");
  }
  key.SetData(first, length);
  return true;
}

std::string IndexFile::ExtractKey(DataTransfer const& record) const {
  DataTransfer key;
  std::string text;
  if (ExtractKey(record, key)) key.GetData(text);
  return text;
}

std::string IndexFile::ExtractKey(std::string const& record) const {
  return ExtractKey(Terminated(record));
}

std::u16string IndexFile::ExtractKey(std::u16string const& record) const {
  return Wide(ExtractKey(Narrow(record)));
}

bool IndexFile::GetPool(RecordPool& pool, std::string const& key, int n) const {
  return GetPool(pool, Terminated(FillKey(key)), n);
}

bool IndexFile::GetPool(RecordPool& pool, std::u16string const& key, int n) const {
  return GetPool(pool, Narrow(key), n);
}
