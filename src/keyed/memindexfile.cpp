// A keyed file whose records may be held in memory.
#include "kvorlib/memindexfile.h"

#include <cstring>
#include <iterator>

#include "kvorlib/recordpool.h"

MemIndexFile MemIndexFile::EmptyFile;

MemIndexFile::MemIndexFile() = default;

MemIndexFile::MemIndexFile(char const* uri, KDTYPE t) : IndexFile(uri, true, t) {}

MemIndexFile::MemIndexFile(MemIndexFile const& o) = default;

MemIndexFile& MemIndexFile::operator=(MemIndexFile const& o) = default;

MemIndexFile::~MemIndexFile() = default;

bool MemIndexFile::operator==(MemIndexFile const& o) const {
  return IndexFile::operator==(o) && records == o.records;
}

MemIndexFile::Position MemIndexFile::First() const {
  return records.empty() ? AtEnd : records.begin()->first;
}

MemIndexFile::Records::const_iterator MemIndexFile::Current() const {
  return current == AtEnd ? records.end() : records.lower_bound(static_cast<std::int32_t>(current));
}

void MemIndexFile::StepBehind(Records::const_iterator at) const {
  auto const behind = std::next(at);
  current = behind == records.end() ? AtEnd : behind->first;
}

bool MemIndexFile::Rewind() {
  if (!memMode) return IndexFile::Rewind();
  current = First();
  return true;
}

bool MemIndexFile::MemFind(int key) const {
  auto const at = records.lower_bound(key);
  current = at == records.end() ? AtEnd : at->first;
  if (at == records.end()) return false;
  return at->first == key || (memMode && !GetExactMatch());
}

bool MemIndexFile::MemFind(DataTransfer const& key) const {
  std::int32_t n = 0;
  if (key.Available() < static_cast<int>(sizeof n)) {
    current = AtEnd;
    return false;
  }
  std::memcpy(&n, key.GetData(), sizeof n);
  return MemFind(n);
}

bool MemIndexFile::Find(DataTransfer const& key) const { return MemFind(key); }

bool MemIndexFile::Find(int key) const { return MemFind(key); }

bool MemIndexFile::Get(DataTransfer const& key, DataTransfer& record) const {
  if (MemFind(key)) {
    auto const at = Current();
    record = at->second;
    StepBehind(at);
    return true;
  }
  return !memMode && IndexFile::Get(key, record);
}

DataTransfer const* MemIndexFile::Get(int key) const {
  if (!MemFind(key)) return nullptr;
  auto const at = Current();
  StepBehind(at);
  return &at->second;
}

DataTransfer const* MemIndexFile::GetNext() const {
  auto const at = Current();
  if (!memMode || at == records.end()) return nullptr;
  StepBehind(at);
  return &at->second;
}

bool MemIndexFile::AddRecord(DataTransfer const& key, DataTransfer const& record) {
  std::int32_t n = 0;
  if (key.Available() < static_cast<int>(sizeof n)) return false;
  std::memcpy(&n, key.GetData(), sizeof n);
  records[n] = record;
  return true;
}

bool MemIndexFile::SetMemMode(bool on) {
  if (!on) {
    records.clear();
  } else if (!SetStoreAll()) {
    return false;
  }
  memMode = on;
  Rewind();
  return true;
}

// A walk that breaks off in the middle is a failure; what it gave stays.
bool MemIndexFile::SetStoreAll() {
  RecordPool pool;
  if (!GetPool(pool)) return false;
  DataTransfer key;
  DataTransfer record;
  while (pool.GetNext(key, record)) AddRecord(key, record);
  current = First();
  return !CheckError();
}

bool MemIndexFile::Reset() {
  records.clear();
  if (memMode && !SetStoreAll()) return false;
  Rewind();
  return true;
}
