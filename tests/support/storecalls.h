// The store's calls on strings, for tests, and the frame of a test on files in memory.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "store/openfiles.h"
#include "store/udb.h"
#include "support/memoryhost.h"
#include "support/storeimage.h"

inline UdbKey AsKey(const std::string& key) {
  return {reinterpret_cast<const unsigned char*>(key.data()), key.size()};
}
inline int Insert(int file, const std::string& record) {
  return udbInsert(file, reinterpret_cast<const unsigned char*>(record.data()),
                   static_cast<std::uint32_t>(record.size()));
}
inline int Update(int file, const std::string& key, const std::string& record) {
  return udbUpdate(file, AsKey(key), reinterpret_cast<const unsigned char*>(record.data()),
                   static_cast<std::uint32_t>(record.size()));
}
inline int Erase(int file, const std::string& key) { return udbErase(file, AsKey(key)); }
inline int Find(int file, const std::string& key) { return udbFind(file, AsKey(key)); }
inline int Get(int file, const std::string& key, std::string& record) {
  DataTransfer data;
  const int answer = udbGet(file, AsKey(key), data);
  if (answer == 0) data.GetData(record);
  return answer;
}
inline int GetNext(int file, std::string& record) {
  DataTransfer data;
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
inline std::vector<std::string> Walk(int file) {
  std::vector<std::string> records;
  EXPECT_EQ(udbRewind(file), 0);
  std::string record;
  int answer;
  while ((answer = GetNext(file, record)) == 0 && records.size() < 1000000) {
    records.push_back(record);
  }
  EXPECT_EQ(answer, 1) << ErrorText(file);
  return records;
}

// A text key up to the first blank at the start of the record.
inline const KEYDESCR Words{4, ' ', 0};

// "key " and filler that depends on the key and the seed, `length` bytes in all.
inline std::string Record(const std::string& key, std::size_t length, unsigned seed = 1) {
  std::string record = key + ' ';
  unsigned state = seed * 2654435761U + static_cast<unsigned>(std::hash<std::string>()(key));
  while (record.size() < length) {
    state = state * 1664525U + 1013904223U;
    record += static_cast<char>(state >> 24);
  }
  return record;
}

class StoreTest : public ::testing::Test {
 protected:
  StoreTest() {
    store::SetHost(&host);
    udbInit();
    // A free entry keeps the header of the file that it held last.
    for (int file = 0; file < udbMaxFiles; ++file) udbEntry(file).header = {};
  }
  ~StoreTest() override {
    CloseAll();
    EXPECT_EQ(host.FilesOpen(), 0);
    EXPECT_EQ(host.LocksHeld(), 0);
    store::SetHost(nullptr);
  }
  void CloseAll() {
    host.Heal();
    for (int file = 0; file < udbMaxFiles; ++file) udbClose(file);
  }

  int Create(const std::string& path, const KEYDESCR& kd = Words) {
    failure.clear();
    const int file = udbCreate(path.c_str(), kd, failure);
    EXPECT_GE(file, 0) << path << ": " << failure;
    return file;
  }
  int Open(const std::string& path, int flags = 2) {
    failure.clear();
    const int file = udbOpen(path.c_str(), flags, failure);
    EXPECT_GE(file, 0) << path << ": " << failure;
    return file;
  }
  int OpenBytes(const std::string& path, const std::string& bytes, int flags = 2) {
    host.Put(path, bytes);
    return Open(path, flags);
  }
  // Asserts that the file is in order, byte by byte, and gives what it holds.
  image::Findings Sound(const std::string& path, bool leaksAllowed = false) {
    image::Findings found = image::Examine(host.Bytes(path));
    EXPECT_EQ(image::Damage(found), "");
    if (!leaksAllowed) {
      EXPECT_TRUE(found.leaked.empty()) << found.leaked.size() << " pages leaked";
      EXPECT_EQ(found.freePagesShort, 0);
    }
    return found;
  }

  MemoryHost host;
  std::string failure;
};
