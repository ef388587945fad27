// Walks over a store file that is changed under way.
#include "maps/stdcursor.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "maps/stdmapfixture.h"
#include "store/udb.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class StdCursorTest : public StdMapFixture {
 protected:
  using Cursor = std::unique_ptr<MapCursor>;

  static Cursor From(PersistentMap* map, std::string const& key = "") {
    return Cursor(map->create_cursor(BytesFrom(key), -1));
  }
  static std::string Next(Cursor const& cursor) {
    DataTransfer key, record;
    return cursor->getnext(key, record) ? TextOf(record) : "end";
  }
  static std::vector<std::string> Rest(Cursor const& cursor) {
    std::vector<std::string> records;
    DataTransfer key, record;
    while (cursor->getnext(key, record)) {
      EXPECT_EQ(TextOf(key), TextOf(record).substr(0, TextOf(record).find(' ')));
      records.push_back(TextOf(record));
    }
    return records;
  }
};

TEST_F(StdCursorTest, CursorStartsAtOrAfterItsKeyAndLeavesTheMatchModeAsItWas) {
  PersistentMap* const map = CreateWords({"b 1", "d 2", "f 3"});
  EXPECT_THAT(Rest(From(map)), ElementsAre("b 1", "d 2", "f 3"));
  EXPECT_THAT(Rest(From(map, "d")), ElementsAre("d 2", "f 3"));
  EXPECT_THAT(Rest(From(map, "c ")), ElementsAre("d 2", "f 3"));
  for (char const* const nowhere : {"g", "two words"}) {
    Cursor const none = From(map, nowhere);
    EXPECT_EQ(map->get_err_level(), 0);  // and no words, not even for a bad key
    EXPECT_TRUE(none->is_valid());
    EXPECT_TRUE(none->empty());
    EXPECT_THAT(Rest(none), IsEmpty());
  }
  EXPECT_FALSE(map->find(BytesFrom("c")));
  map->set_exact_match(false);
  EXPECT_THAT(Rest(From(map, "e")), ElementsAre("f 3"));
  EXPECT_TRUE(map->find(BytesFrom("c")));
}

TEST_F(StdCursorTest, EmptyFileGivesAnEmptyCursor) {
  PersistentMap* const map = CreateWords({});
  Cursor const cursor = From(map);
  ASSERT_NE(cursor, nullptr);
  EXPECT_TRUE(cursor->empty());
  EXPECT_EQ(Next(cursor), "end");
}

TEST_F(StdCursorTest, TwoCursorsAndTheFileItselfAreWalkedAtOnce) {
  PersistentMap* const map = CreateWords({"a 1", "b 2", "c 3", "d 4"});
  Cursor const first = From(map), second = From(map, "b");
  DataTransfer key, record;
  EXPECT_EQ(Next(first), "a 1");
  EXPECT_EQ(Next(second), "b 2");
  map->rewind();
  EXPECT_EQ(Next(first), "b 2");
  map->find(BytesFrom("d"));
  EXPECT_THAT(Rest(second), ElementsAre("c 3", "d 4"));
  EXPECT_THAT(Rest(first), ElementsAre("c 3", "d 4"));
}

TEST_F(StdCursorTest, CursorHandsOutErasedRecordOnceThenGoesOnByKey) {
  PersistentMap* const map = CreateWords({"a 1", "b 2", "c 3", "d 4", "e 5"});
  Cursor const cursor = From(map);
  EXPECT_EQ(Next(cursor), "a 1");
  EXPECT_TRUE(map->erase(BytesFrom("b")));
  EXPECT_EQ(Next(cursor), "b 2");
  // The search for "b" ended on "c", and the walk goes on behind that.
  EXPECT_EQ(Next(cursor), "d 4");
  EXPECT_EQ(Next(cursor), "e 5");
  EXPECT_EQ(Next(cursor), "end");
}

TEST_F(StdCursorTest, RecordsMayBeErasedAsTheyAreHandedOut) {
  PersistentMap* const map = Create("numbers", IndexFile::GetKDForType(IndexFile::KD_INT0));
  constexpr int many = 700;  // leaves are split, and freed again under the walk
  for (int n = -many; n < many; ++n) {
    DataTransfer key(static_cast<void const*>(&n), sizeof n);
    DataTransfer record = key;
    std::string const filler(static_cast<std::size_t>(40 + (n & 63)), 'x');
    record.AppendData(filler.c_str());
    ASSERT_TRUE(map->put(key, record, false));
  }
  Cursor const cursor = From(map);
  DataTransfer key, record;
  for (int n = -many; n < many; ++n) {
    ASSERT_TRUE(cursor->getnext(key, record)) << n;
    int found = 0;
    key.GetData(static_cast<void*>(&found), sizeof found);
    ASSERT_EQ(found, n);
    ASSERT_TRUE(map->erase(key));
  }
  EXPECT_EQ(map->size(), 0);
  EXPECT_EQ(Next(cursor), "end");
}

TEST_F(StdCursorTest, RecordsPutInFrontAndBehindMoveNothingOutOfTheWalk) {
  PersistentMap* const map = CreateWords({"k 1", "m 2", "o 3"});
  Cursor const cursor = From(map);
  map->put(BytesFrom("a"), BytesFrom("a 0"), false);
  EXPECT_EQ(Next(cursor), "k 1");
  map->put(BytesFrom("l"), BytesFrom("l " + std::string(2000, 'x')), false);
  map->put(BytesFrom("n"), BytesFrom("n " + std::string(2000, 'x')), false);
  EXPECT_EQ(Next(cursor), "m 2");  // read before "l" was there
  EXPECT_EQ(Next(cursor).front(), 'n');
  EXPECT_THAT(Rest(cursor), ElementsAre("o 3"));
}

TEST_F(StdCursorTest, RecordWithoutAWholeKeyEndsTheWalkAsAFailureThatNobodyHasToCatch) {
  // Four bytes of key and nothing else: the store takes such a record, the map never gives it out.
  PersistentMap* const map = Create("numbers", KEYDESCR{1, 4, 0});
  EXPECT_TRUE(map->put(BytesFrom("aaaa"), BytesFrom("aaaa-"), false));
  EXPECT_TRUE(map->put(BytesFrom("bbbb"), BytesFrom("bbbb-"), false));
  Cursor const cursor = From(map);
  Cursor const behind = From(map, "bbbb");
  std::string failure;
  int const file = udbOpen(folder.Path("numbers").c_str(), 2, failure);
  auto const* const bare = reinterpret_cast<unsigned char const*>("bbbb");
  ASSERT_EQ(udbUpdate(file, {bare, 4}, bare, 4), 0) << failure;
  udbClose(file);
  EXPECT_EQ(Next(cursor), "aaaa-");
  EXPECT_TRUE(cursor->empty());
  EXPECT_EQ(map->get_err_mess(), "Record doesn't contain key");
  EXPECT_EQ(map->get_err_level(), 2);
  EXPECT_EQ(Next(cursor), "end");
  EXPECT_EQ(Next(behind), "bbbb-");
  EXPECT_EQ(From(map, "bbbb"), nullptr);
  EXPECT_EQ(map->get_err_mess(), "Record doesn't contain key");
  EXPECT_FALSE(map->find(BytesFrom("abbb")));  // the match mode is the exact one again
  std::vector<DataTransfer> keys;
  EXPECT_TRUE(map->get_index_map(keys)) << "a walk that failed answers true";
}

TEST_F(StdCursorTest, UnreadableFirstRecordIsAFailureFromTheBeginningAndFromAKeyAlike) {
  maps::CloseMap(CreateWords({"a 1", "b damaged", "c 3"}));
  std::fstream file(folder.Path("words"), std::ios::in | std::ios::out | std::ios::binary);
  std::string const bytes(std::istreambuf_iterator<char>(file), {});
  file.seekp(static_cast<std::streamoff>(bytes.find("damaged")));
  file << "D";
  file.close();
  PersistentMap* const map = maps::OpenMap(folder.Path("words").c_str(), false, nullptr);
  for (int round = 0; round < 2; ++round) {
    Cursor const cursor = From(map, round == 0 ? "b" : "");
    ASSERT_NE(cursor, nullptr);
    EXPECT_TRUE(cursor->empty());
    EXPECT_EQ(map->get_err_level(), 2);
    EXPECT_EQ(map->get_err_mess(), "CHECKSUM ERROR");
    EXPECT_FALSE(map->find(BytesFrom("B")));  // the match mode is the exact one again
    map->erase(BytesFrom("a"));
  }
}

TEST_F(StdCursorTest, CursorOutlivesItsMap) {
  PersistentMap* const map = CreateWords({"a 1", "b 2"});
  Cursor const cursor = From(map);
  EXPECT_TRUE(maps::CloseMap(map));
  EXPECT_FALSE(cursor->is_valid());
  EXPECT_EQ(Next(cursor), "end");
}

}  // namespace
