// The map on a store file: what keys and records must be like, and what becomes of the store's
// answers; walks over a file that is changed under way.
#include "maps/stdmap.h"

#include <gtest/gtest.h>

#include <memory>

#include <kvorlib/mapfactory.h>

#include "maps/maps.h"
#include "maps/values.h"
#include "store/udb.h"
#include "support/tempfolder.h"

namespace {

class StdMapTest : public ::testing::Test {
 protected:
  using Cursor = std::unique_ptr<MapCursor>;

  ~StdMapTest() override { udbShutDown(); }

  PersistentMap* Create(std::string const& name, KEYDESCR kd) {
    PersistentMap* const made = maps::CreateMap(folder.Path(name).c_str(), 0, &kd);
    EXPECT_EQ(StateOf(*made), "0 ");
    return made;
  }
  // Text up to the first blank, from the first byte.
  PersistentMap* CreateWords(std::initializer_list<std::string> records) {
    PersistentMap* const made = Create("words", {4, ' ', 0});
    for (std::string const& record : records) {
      made->put(BytesFrom(record.substr(0, record.find(' '))), BytesFrom(record), false);
      EXPECT_EQ(StateOf(*made), "0 ") << record;
    }
    return made;
  }
  static Cursor From(PersistentMap* map, std::string const& key = "") {
    return Cursor(map->create_cursor(BytesFrom(key), -1));
  }
  // Up to so many records, each with a comma behind it.
  static std::string Next(Cursor const& cursor, int most = 1) {
    std::string records;
    DataTransfer key, record;
    while (most-- > 0 && cursor->getnext(key, record)) {
      EXPECT_TRUE(TextOf(record).starts_with(TextOf(key)));
      records += TextOf(record) + ',';
    }
    EXPECT_EQ(cursor->empty(), most >= 0);
    return records;
  }
  static std::string Rest(Cursor const& cursor) { return Next(cursor, 9); }

  TempFolder folder;
};

TEST_F(StdMapTest, TextKeyMayEndInItsStopSymbolOrAZeroAndABadOneIsANoToFindAndElseAFailure) {
  std::string const longest(126, 'k');
  PersistentMap* const text = CreateWords({"кот cat", longest + " x"});
  PersistentMap* const fixed = Create("fixed", {1, 4, 0});
  struct {
    PersistentMap* map;
    std::string key;
    std::string found;
  } const cases[] = {
      {text, "кот", "0 "},
      {text, "кот ", "0 "},
      {text, "кот" + Zero, "0 "},
      {text, "ко", "1 "},
      {text, longest + ' ', "0 "},
      {text, longest + 'k', "2 WRONG KEY"},  // passes the check, and the store refuses it
      {text, longest + "kk", "1 Key too long"},
      {text, "a b", "1 Stop symbol inside key"},
      {text, "a " + Zero, "1 Stop symbol inside key"},
      {fixed, "abcd" + Zero, "1 Wrong binary key size"},
  };
  for (auto const& [map, key, found] : cases) {
    DataTransfer record;
    EXPECT_EQ(map->find(BytesFrom(key)), found == "0 ");
    EXPECT_EQ(StateOf(*map), found) << key;
    std::string const got = found.size() > 2 ? '2' + found.substr(1) : found;
    EXPECT_EQ(map->get(BytesFrom(key), record), got == "0 ");
    EXPECT_EQ(StateOf(*map), got) << key;
    EXPECT_TRUE(got == "0 " || !map->erase(BytesFrom(key)));
    EXPECT_EQ(StateOf(*map), got) << key;
  }
}

TEST_F(StdMapTest, RecordIsStoredOnlyUnderItsOwnBareKey) {
  PersistentMap* const text = Create("text", {4, ' ', 2});
  PersistentMap* const fixed = Create("fixed", {3, 2, 1});
  auto const put = [](PersistentMap* map, std::string const& key, std::string const& record) {
    bool const stored = map->put(BytesFrom(key), BytesFrom(record), true);
    std::string state = StateOf(*map);
    EXPECT_EQ(map->size(), stored ? 1 : 0);
    EXPECT_TRUE(map->clear());
    return state;
  };
  EXPECT_EQ(put(text, "cat", "01cat "), "0 ");
  EXPECT_EQ(put(text, "", "01 x"), "0 ");
  EXPECT_EQ(put(text, "cat ", "01cat x"), "2 Record don't contain key");
  EXPECT_EQ(put(text, "c t", "01cat x"), "2 Record don't contain key");  // before it is bad
  EXPECT_EQ(put(text, "ca", "01cat x"), "2 Record don't contain key");
  EXPECT_EQ(put(text, "cat", "01cat"), "2 Record contains a wrong key");
  EXPECT_EQ(put(text, "cat", "01"), "2 Record doesn't contain key");
  EXPECT_EQ(put(fixed, "ab", "-ab-"), "0 ");
  EXPECT_EQ(put(fixed, "ab", "-ab"), "2 Record doesn't contain key");  // nothing behind the key
  std::string const huge = "01cat " + std::string(udbMaxRecord - 6, 'x');
  EXPECT_EQ(put(text, "cat", huge), "2 WRONG RECORD LENGTH");
  EXPECT_EQ(put(text, "cat", huge + 'x'), "2 Too long record");
  EXPECT_FALSE(text->update(BytesFrom("cat "), BytesFrom("01cat x")));
  EXPECT_EQ(StateOf(*text), "2 Record don't contain key");
}

TEST_F(StdMapTest, PathStandsBehindAnySchemeAndOnlyAFailureToOpenMakesTheMapUnusable) {
  maps::CloseMap(CreateWords({"cat 1"}));
  for (std::string const prefix : {"", "std://", "unknown://"}) {
    PersistentMap* const map =
        maps::OpenMap((prefix + folder.Path("words")).c_str(), true, nullptr);
    EXPECT_FALSE(map->put(BytesFrom("dog"), BytesFrom("dog 1"), false));
    EXPECT_EQ(StateOf(*map), "2 SYSTEM ERROR") << "it was opened for reading only";
    EXPECT_TRUE(map->find(BytesFrom("cat")));
    EXPECT_FALSE(map->extra_command(3, nullptr, false));
    EXPECT_EQ(StateOf(*map), "2 Command not supported");
    maps::CloseMap(map);
    std::string const atLimit = folder.Path(std::string(127 - folder.Path("").size(), 'n'));
    for (std::string const& path : {std::string(), atLimit})
      EXPECT_EQ(StateOf(*maps::CreateMap((prefix + path).c_str(), 0, nullptr)),
                "3 Wrong file name");
  }
  EXPECT_EQ(StateOf(*maps::CreateMap(folder.Path("new").c_str(), 0, nullptr)), "3 WRONG KEY");
}

TEST_F(StdMapTest, CursorStartsAtOrAfterItsKeyAndLeavesTheMatchModeAsItWas) {
  PersistentMap* const map = CreateWords({"b 1", "d 2", "f 3"});
  EXPECT_EQ(Rest(From(map)), "b 1,d 2,f 3,");
  EXPECT_EQ(Rest(From(map, "c ")), "d 2,f 3,");
  for (char const* const nowhere : {"g", "two words"}) {
    EXPECT_EQ(Rest(From(map, nowhere)), "");
    EXPECT_EQ(StateOf(*map), "0 ");  // no words, not even for a bad key
  }
  EXPECT_FALSE(map->find(BytesFrom("c")));
  map->set_exact_match(false);
  EXPECT_EQ(Rest(From(map, "e")), "f 3,");
  EXPECT_TRUE(map->find(BytesFrom("c")) && map->clear());
  EXPECT_EQ(Rest(From(map)), "");
}

TEST_F(StdMapTest, TwoCursorsWalkAtOnceAndHandOutAnErasedRecordOnceThenGoOnByKey) {
  PersistentMap* const map = CreateWords({"a 1", "b 2", "c 3", "d 4", "e 5", "f 6"});
  Cursor const first = From(map), second = From(map, "b");
  EXPECT_EQ(Next(first), "a 1,");
  EXPECT_EQ(Next(second, 2), "b 2,c 3,");
  // The search for "b" ends on "c", and the walk goes on behind that.
  EXPECT_TRUE(map->erase(BytesFrom("a")) && map->erase(BytesFrom("b")) && map->rewind());
  EXPECT_EQ(Next(first, 2), "b 2,d 4,");
  EXPECT_TRUE(map->erase(BytesFrom("c")) && map->find(BytesFrom("f")));
  EXPECT_EQ(Rest(second), "d 4,e 5,f 6,");
  EXPECT_EQ(Rest(first), "e 5,f 6,");
}

TEST_F(StdMapTest, RecordWithoutAWholeKeyEndsTheWalkAsAFailureThatNobodyHasToCatch) {
  // Four bytes of key and nothing else: the store takes such a record, the map never gives it out.
  PersistentMap* const map = Create("fixed", {1, 4, 0});
  for (std::string const key : {"aaaa", "bbbb"}) map->put(BytesFrom(key), BytesFrom(key + '-'), 0);
  Cursor const cursor = From(map), behind = From(map, "bbbb");
  std::string failure;
  int const file = udbOpen(folder.Path("fixed").c_str(), 2, failure);
  auto const* const bare = reinterpret_cast<unsigned char const*>("bbbb");
  ASSERT_EQ(udbUpdate(file, {bare, 4}, bare, 4), 0) << failure;
  udbClose(file);
  EXPECT_EQ(Rest(cursor), "aaaa-,");
  EXPECT_EQ(StateOf(*map), "2 Record doesn't contain key");
  EXPECT_EQ(Rest(behind), "bbbb-,");  // it was read ahead
  EXPECT_EQ(From(map, "bbbb"), nullptr);
  EXPECT_EQ(StateOf(*map), "2 Record doesn't contain key");
  std::vector<DataTransfer> keys;
  EXPECT_TRUE(map->get_index_map(keys)) << "a walk that failed answers true";
}

}  // namespace
