// Keyed files in a folder of the test's own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <kvorlib/kvorlib.h>

#include "maps/values.h"
#include "support/tempfolder.h"

class KeyedFixture : public ::testing::Test, protected TempFolder {
 protected:
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
  // All records as texts, a comma behind each.
  static std::string Stored(IndexFile const& file) {
    RecordPool pool;
    std::string record, key, all;
    for (file.GetPool(pool); pool.GetNext(record, key);) all += record.c_str() + std::string(",");
    return all;
  }
};
