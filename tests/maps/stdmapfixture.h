// Store files as maps, for the tests of the standard map and its cursor.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include <kvorlib/indexfile.h>

#include "maps/maps.h"
#include "maps/memorymap.h"
#include "support/tempfolder.h"

class StdMapFixture : public ::testing::Test {
 protected:
  ~StdMapFixture() override { udbShutDown(); }

  PersistentMap* Create(std::string const& name, KEYDESCR kd) {
    PersistentMap* const made = maps::CreateMap(folder.Path(name).c_str(), 0, &kd);
    EXPECT_EQ(made->get_err_level(), 0) << made->get_err_mess();
    return made;
  }
  // Text up to the first blank, from the first byte.
  PersistentMap* CreateWords(std::initializer_list<char const*> records) {
    PersistentMap* const made = Create("words", IndexFile::GetKDForType(IndexFile::KD_TEXT0));
    for (std::string const record : records) {
      EXPECT_TRUE(
          made->put(BytesFrom(record.substr(0, record.find(' '))), BytesFrom(record), false))
          << record << ": " << made->get_err_mess();
    }
    return made;
  }

  TempFolder folder;
};
