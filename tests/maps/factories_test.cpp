// Which factory serves a URI, who owns a map and for how long, copying by URI.
#include <gtest/gtest.h>

#include <kvorlib/indexfile.h>
#include <kvorlib/messages.h>

#include "maps/library.h"
#include "maps/maps.h"
#include "maps/memorymap.h"
#include "support/tempfolder.h"

namespace {

using namespace maps;

constexpr char const* words = "memory://words";
constexpr char const* copied = "memory://copied";

struct Listener : ProcessMess {
  bool Progress(int, int) override { return true; }
};

class FactoriesTest : public ::testing::Test {
 protected:
  FactoriesTest() {
    factory.stores["words"].records = {{"a", "1"}, {"b", "2"}};
    EXPECT_EQ(MemoryMap::alive, 0);
  }
  ~FactoriesTest() override {
    udbShutDown();
    EXPECT_EQ(MemoryMap::alive, 0);
    TheLibrary().stdPrefix = "std://";
  }

  MemoryFactory factory;
  MapFactory* const standard = &TheLibrary().standard;
  KEYDESCR kd = IndexFile::GetKDForType(IndexFile::KD_TEXT0);
};

TEST_F(FactoriesTest, PrefixChoosesTheFactoryAndAnUnknownOneFallsBack) {
  struct {
    char const* stdPrefix;
    char const* uri;
    MapFactory* served;
  } const cases[] = {
      {"std://", "words", standard},
      {"std://", "", standard},
      {"std://", "std://words", standard},
      {"std://", words, &factory},
      {"std://", "memory:/words", standard},
      {"std://", "unknown://words", standard},
      {"std://", "folder/memory://words", standard},  // the scheme is the text before
      {"memory://", "words", &factory},
      {"memory://", "unknown://words", &factory},
      {"memory://", "std://words", standard},
      {"unknown://", "words", nullptr},
      {"unknown://", "other://words", nullptr},
      {"unknown://", words, &factory},
      // Prefixes that are none must not send the search in circles.
      {"nonsense", "words", nullptr},
      {"a://b", "a://c", nullptr},
      {"a://b", "words", nullptr},
  };
  for (auto const& c : cases) {
    TheLibrary().stdPrefix = c.stdPrefix;
    EXPECT_EQ(FindFactory(c.uri), c.served) << c.stdPrefix << " " << c.uri;
  }
}

TEST_F(FactoriesTest, LastHolderDestroysTheMap) {
  PersistentMap* const map = OpenMap(words, false, &kd);
  map->add_ref();
  EXPECT_TRUE(CloseMap(map));
  EXPECT_TRUE(IsOpenMap(map));
  EXPECT_EQ(MemoryMap::alive, 1);
  EXPECT_TRUE(CloseMap(map));
  EXPECT_FALSE(IsOpenMap(map));
  EXPECT_EQ(MemoryMap::alive, 0);
  EXPECT_FALSE(CloseMap(map));
}

TEST_F(FactoriesTest, MapThatCannotBeOpenedDoesNotCountAsOpenButIsFreedWhenItsHolderLetsGo) {
  PersistentMap* const map = OpenMap("memory://missing", false, &kd);
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(map->get_err_mess(), "no such store");
  EXPECT_FALSE(IsOpenMap(map));
  EXPECT_FALSE(CloseMap(map));
  EXPECT_EQ(MemoryMap::alive, 0);

  PersistentMap* const present = CreateMap(words, 0, &kd);
  ASSERT_EQ(present->get_err_level(), 3);
  EXPECT_TRUE(CloseMap(present));
  EXPECT_EQ(MemoryMap::alive, 0);
}

TEST_F(FactoriesTest, EveryMapHasANumberOfItsOwn) {
  PersistentMap* const first = OpenMap(words, false, &kd);
  std::uint64_t const number = MapNumber(first);
  CloseMap(first);
  EXPECT_EQ(MapNumber(first), 0U);
  PersistentMap* const second = OpenMap(words, false, &kd);  // most likely at the same address
  EXPECT_NE(MapNumber(second), number);
}

TEST_F(FactoriesTest, FactoryThatLeavesTakesItsMapsAlongAndNoOthers) {
  PersistentMap* survivor = OpenMap(words, false, &kd);
  {
    MemoryFactory guest("guest://");
    EXPECT_EQ(FindFactory("guest://x"), &guest);
    CreateMap("guest://x", 0, &kd)->add_ref();
    CreateMap("guest://y", 0, &kd);
    EXPECT_EQ(MemoryMap::alive, 3);
  }
  EXPECT_EQ(MemoryMap::alive, 1);
  EXPECT_TRUE(IsOpenMap(survivor));
  EXPECT_EQ(FindFactory("guest://x"), standard);
}

TEST_F(FactoriesTest, SystemCommandVisitsThoseWhoKnowItOrServeThePrefix) {
  std::uint32_t longest = 0;
  EXPECT_TRUE(RunSystemCommand(6, &longest, nullptr));
  EXPECT_EQ(longest, 0xFFFFFFU);
  longest = 0;
  EXPECT_TRUE(RunSystemCommand(6, &longest, "memory://"));
  EXPECT_EQ(longest, 0xFFFFFFU);
  EXPECT_FALSE(RunSystemCommand(1, &longest, nullptr));  // a command of maps, not of factories
  EXPECT_FALSE(RunSystemCommand(5, &longest, "std://"));
  EXPECT_TRUE(RunSystemCommand(5, &longest, nullptr));  // nobody knows it: nobody refuses
  EXPECT_TRUE(RunSystemCommand(6, &longest, "unknown://"));
  std::vector<ArchiveRecord> archive;
  EXPECT_FALSE(factory.get_archive_records(u"x", archive));
  EXPECT_TRUE(factory.spare_one(nullptr) && factory.spare_two(nullptr, nullptr) &&
              factory.spare_three());
}

TEST_F(FactoriesTest, CopyNeedsPrefixesOnBothSides) {
  Listener heard;
  EXPECT_EQ(CopyMap("copied", words, &heard, 0, &kd), nullptr);
  EXPECT_EQ(CopyMap(copied, "words", nullptr, 0, &kd), nullptr);
  EXPECT_EQ(heard.GetMessages(), u"Source and target names should have prefixes\r\n");
}

TEST_F(FactoriesTest, CopyCreatesAMissingTargetAndClearsAPresentOne) {
  for (int round = 0; round < 2; ++round) {
    PersistentMap* const target = CopyMap(copied, words, nullptr, 0, &kd);
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target->get_err_level(), 0) << target->get_err_mess();
    EXPECT_EQ(factory.stores["copied"].records, factory.stores["words"].records);
    EXPECT_EQ(MemoryMap::alive, 1);
    factory.stores["copied"].records["z"] = "stale";
    EXPECT_TRUE(CloseMap(target));
  }
}

TEST_F(FactoriesTest, CopyThatFailsLeavesTheTargetOpenInAStateOfError) {
  PersistentMap* target = CopyMap(copied, "memory://missing", nullptr, 0, &kd);
  ASSERT_NE(target, nullptr);
  EXPECT_TRUE(IsOpenMap(target));
  EXPECT_EQ(target->get_err_mess(), "Copy error");
  EXPECT_EQ(target->get_err_level(), 2);
  EXPECT_EQ(MemoryMap::alive, 1);
  EXPECT_TRUE(CloseMap(target));

  // The target took all it got, and yet the source broke off in the middle.
  int calls = 0;
  factory.stores["words"].before = [&] {
    if (++calls > 2) throw ErrBuf("unreadable", 2);
  };
  target = CopyMap(copied, words, nullptr, 0, &kd);
  EXPECT_TRUE(target->has_error());
  EXPECT_EQ(factory.stores["copied"].records.size(), 1U);
}

TEST_F(FactoriesTest, TargetThatCannotBeClearedIsReportedAndCreatedAnew) {
  factory.stores["copied"].clearable = false;
  Listener heard;
  PersistentMap* const target = CopyMap(copied, words, &heard, 0, &kd);
  EXPECT_EQ(heard.GetMessages(), u"Cannot clear target file memory://copied\r\n");
  ASSERT_NE(target, nullptr);
  EXPECT_EQ(target->get_err_level(), 3);  // the factory will not create what is there
  EXPECT_EQ(MemoryMap::alive, 1);
  EXPECT_TRUE(CloseMap(target));
}

TEST_F(FactoriesTest, HostThatThrowsFromItsReportLeavesNoMapBehind) {
  struct Thrower : ProcessMess {
    bool Progress(int, int) override { throw 1; }
  } thrower;
  PersistentMap* const target = CopyMap(copied, words, &thrower, 0, &kd);
  ASSERT_NE(target, nullptr);
  EXPECT_EQ(target->get_err_mess(), "Copy error");
  EXPECT_EQ(MemoryMap::alive, 1);
}

TEST_F(FactoriesTest, UnknownSchemeOpensAStoreFileAtThePathBehindIt) {
  TempFolder folder;
  std::string const path = folder.Path("слова");
  EXPECT_TRUE(CloseMap(CreateMap(path.c_str(), 0, &kd)));
  for (std::string const prefix : {"", "std://", "unknown://"}) {
    PersistentMap* const map = OpenMap((prefix + path).c_str(), true, &kd);
    EXPECT_EQ(map->get_err_level(), 0) << prefix;
    EXPECT_EQ(map->get_uri(), prefix + path);
    CloseMap(map);
  }
}

}  // namespace
