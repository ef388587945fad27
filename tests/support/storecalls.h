// The store's calls on strings, for tests, and the frame of a test on files in memory.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kvorlib/storetools.h"
#include "store/openfiles.h"
#include "store/udb.h"
#include "support/memoryhost.h"
#include "support/storeimage.h"

using image::Bytes, image::HeaderPage, image::TreePage, image::LeafOf, image::InlineEntry;
using image::Get16, image::Put16;
using image::KeyEntry, image::LeafPage, image::InternalPage, image::PageBytes;
using Fault = MemoryHost::Fault;

inline UdbKey AsKey(const Bytes& key) {
  return {reinterpret_cast<const unsigned char*>(key.data()), key.size()};
}
inline int Insert(int file, const Bytes& record) {
  return udbInsert(file, AsKey(record).data(), static_cast<std::uint32_t>(record.size()));
}
inline int Update(int file, const Bytes& key, const Bytes& record) {
  return udbUpdate(file, AsKey(key), AsKey(record).data(),
                   static_cast<std::uint32_t>(record.size()));
}
inline int Erase(int file, const Bytes& key) { return udbErase(file, AsKey(key)); }
inline int Find(int file, const Bytes& key) { return udbFind(file, AsKey(key)); }
inline int Get(int file, const Bytes& key, Bytes& record) {
  DataTransfer data;
  const int answer = udbGet(file, AsKey(key), data);
  if (answer == 0) data.GetData(record);
  return answer;
}
inline int GetNext(int file, Bytes& record) {
  static DataTransfer data;  // as a walk has it: records out of a copy need a carrier with room
  const int answer = udbGetNext(file, data);
  if (answer == 0) data.GetData(record);
  return answer;
}
inline std::string ErrorText(int file) {
  std::string text;
  udbErrorText(file, text);
  return text;
}
inline std::uint32_t Count(int file) {
  std::uint32_t count = 0xDEAD;
  return udbGetCount(file, count) == 0 ? count : 0xBAD;
}
// All records by a walk from the front; stops at a failure, which it reports.
inline std::vector<Bytes> Walk(int file) {
  std::vector<Bytes> records;
  EXPECT_EQ(udbRewind(file), 0);
  Bytes record;
  int answer;
  while ((answer = GetNext(file, record)) == 0 && records.size() < 1000000) {
    records.push_back(record);
  }
  EXPECT_EQ(answer, 1) << ErrorText(file);
  return records;
}

// The records of a map that is keyed by their keys.
template <typename Map>
std::vector<Bytes> RecordsOf(const Map& map) {
  std::vector<Bytes> records;
  for (const auto& [key, record] : map) records.push_back(record);
  return records;
}

// What is found wrong, one finding a line.
inline std::string Told(const std::vector<StoreFinding>& findings) {
  std::string all;
  for (const StoreFinding& f : findings) {
    all += std::to_string(static_cast<int>(f.kind)) + " page " + std::to_string(f.page) + '+' +
           std::to_string(f.offset) + ": " + f.words + '\n';
  }
  return all;
}

// A text key up to the first blank at the start of the record.
inline const KEYDESCR Words{4, ' ', 0};

// "key " and filler that depends on the key and the seed, `length` bytes in all.
inline Bytes Record(const Bytes& key, std::size_t length, unsigned seed = 1) {
  Bytes record = key + ' ';
  unsigned state = seed * 2654435761U + static_cast<unsigned>(std::hash<Bytes>()(key));
  while (record.size() < length) {
    state = state * 1664525U + 1013904223U;
    record += static_cast<char>(state >> 24);
  }
  return record;
}

// A test of one file, `file`, that stands in memory at `path`.
class StoreTest : public ::testing::Test {
 protected:
  StoreTest() {
    store::SetHost(&host);
    udbInit();
    // A free entry keeps the header of the file that it held last.
    for (int n = 0; n < udbMaxFiles; ++n) udbEntry(n).header = {};
  }
  ~StoreTest() override {
    CloseAll();
    EXPECT_EQ(host.FilesOpen(), 0);
    EXPECT_EQ(host.LocksHeld(), 0);
    store::SetHost(nullptr);
  }
  void CloseAll() {
    host.Heal();
    for (int n = 0; n < udbMaxFiles; ++n) udbClose(n);
  }

  int CreateAt(const std::string& where, const KEYDESCR& kd = Words) {
    const int n = udbCreate(where.c_str(), kd, failure);
    EXPECT_GE(n, 0) << where << ": " << failure;
    return n;
  }
  int OpenAt(const std::string& where, int flags = 2) {
    const int n = udbOpen(where.c_str(), flags, failure);
    EXPECT_GE(n, 0) << where << ": " << failure;
    return n;
  }
  // Each of these closes all that is open first.
  void Create(const KEYDESCR& kd = Words) {
    CloseAll();
    store::CurrentHost().Remove(path);
    file = CreateAt(path, kd);
  }
  void Open(int flags = 2) {
    CloseAll();
    file = OpenAt(path, flags);
  }
  void OpenBytes(const Bytes& bytes, int flags = 2) {
    CloseAll();
    host.Put(path, bytes);
    file = OpenAt(path, flags);
  }
  virtual Bytes& Image() { return host.Bytes(path); }
  unsigned Header16(std::size_t at) { return image::Get16(Image(), at); }

  // The answer of a call on `file`, or the words of its failure.
  std::string Said(int answer) const {
    return answer == -1 ? ErrorText(file) : std::to_string(answer);
  }
  std::string Inserting(const Bytes& record) const { return Said(Insert(file, record)); }
  // Also if the call changed nothing.
  std::string Refusing(const Bytes& record) {
    const Bytes before = Image();
    std::string said = Inserting(record);
    return Image() == before ? said : said + ", and changed the file";
  }
  void Fill(const std::vector<Bytes>& records) {
    for (const Bytes& record : records) EXPECT_EQ(Inserting(record), "0");
  }

  // Asserts that the file is in order, byte by byte, and gives what it holds.
  image::Findings Sound(bool leaksAllowed = false) {
    image::Findings found = image::Examine(Image());
    EXPECT_EQ(found.damage, "");
    const StoreReport report = CheckStore(path);
    EXPECT_EQ(report.state, StoreState::Sound) << report.failure << Told(report.findings);
    EXPECT_EQ(report.records, found.records.size());
    if (!leaksAllowed) {
      EXPECT_EQ(found.leaked, 0U) << "pages are lost";
      EXPECT_EQ(report.leaks, 0U);
      EXPECT_EQ(found.freePagesShort, 0);
    }
    return found;
  }

  MemoryHost host;
  std::string path = "/m/store.udb";
  int file = -1;
  std::string failure;
};
