// Keyed files in a folder of the test's own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <kvorlib/kvorlib.h>

#include "maps/maps.h"
#include "maps/values.h"
#include "support/tempfolder.h"

class KeyedFixture : public ::testing::Test, protected TempFolder {
 protected:
  // With a layout that need not be a standard one.
  void CreateAs(KEYDESCR kd, IndexFile& file) {
    std::string const path = Path(std::to_string(++files));
    maps::CloseMap(maps::CreateMap(path.c_str(), 0, &kd));
    ASSERT_TRUE(file.Open(path.c_str(), false));
  }
  // Words with their translations: text up to the first blank is the key, a comma parts records.
  void CreateWords(IndexFile& file, std::string const& records) {
    ASSERT_TRUE(file.Create(Path("words").c_str(), IndexFile::KD_TEXT0));
    Fill(file, records);
  }
  static void Fill(IndexFile& file, std::string const& records) {
    ASSERT_TRUE(file.Clear());
    std::istringstream stream(records);
    for (std::string record; std::getline(stream, record, ',');) ASSERT_TRUE(file.Put(record));
  }
  // The records that are left, a comma behind each.
  static std::string Rest(RecordPool& pool) {
    std::string record, key, all;
    while (pool.GetNext(record, key)) all += record.c_str() + std::string(",");
    return all;
  }
  static std::string Stored(IndexFile const& file) {
    RecordPool pool;
    file.GetPool(pool);
    return Rest(pool);
  }
  static std::string StateOf(IndexFile const& file) { return ::StateOf(*file.GetIndHandle()); }

 private:
  int files = 0;
};
