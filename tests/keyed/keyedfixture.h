// Keyed files in a folder of the test's own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <kvorlib/kvorlib.h>

#include "maps/values.h"
#include "support/tempfolder.h"

class KeyedFixture : public ::testing::Test {
 protected:
  std::string Path(std::string const& name) const { return folder.Path(name); }
  std::u16string WidePath(std::string const& name) const { return A2U(Path(name), 65001); }

  // Words with their translations: text up to the first blank is the key.
  void CreateWords(IndexFile& file, std::initializer_list<char const*> records) {
    ASSERT_TRUE(file.Create(Path("words").c_str(), IndexFile::KD_TEXT0));
    for (std::string const record : records) ASSERT_TRUE(file.Put(record)) << record;
  }

  TempFolder folder;
};
