// The map on a store file: what keys and records must be like, and what becomes of the store's
// answers.
#include "maps/stdmap.h"

#include <fstream>

#include "maps/stdmapfixture.h"
#include "store/udb.h"

namespace {

using StdMapTest = StdMapFixture;

std::string const zero(1, '\0');

TEST_F(StdMapTest, TextKeyIsTheSameBareWithItsStopSymbolAndWithAZero) {
  PersistentMap* const map = CreateWords({"кот cat", "пёс dog"});
  DataTransfer record;
  for (std::string const& tail : {std::string(), std::string(" "), zero}) {
    EXPECT_TRUE(map->find(BytesFrom("кот" + tail)));
    EXPECT_TRUE(map->get(BytesFrom("пёс" + tail), record));
    EXPECT_EQ(TextOf(record), "пёс dog");
    EXPECT_FALSE(map->find(BytesFrom("ко" + tail)));
    EXPECT_EQ(map->get_err_level(), 1);
    EXPECT_EQ(map->get_err_mess(), "");
  }
  EXPECT_TRUE(map->erase(BytesFrom("кот ")));
  EXPECT_TRUE(map->erase(BytesFrom("пёс" + zero)));
  EXPECT_EQ(map->size(), 0);
}

TEST_F(StdMapTest, KeyThatCannotOccurIsANoToFindAndAFailureToTheOthers) {
  KEYDESCR const text{4, ' ', 0}, fixed{1, 4, 0}, number{0, 4, 0};
  struct {
    KEYDESCR kd;
    std::string key;
    char const* words;
  } const cases[] = {
      {text, std::string(128, 'x'), "Key too long"},
      {fixed, std::string(128, 'x'), "Key too long"},
      {text, "a b", "Stop symbol inside key"},
      {text, "a " + zero, "Stop symbol inside key"},
      {text, "  ", "Stop symbol inside key"},
      {fixed, "abc", "Wrong binary key size"},
      {fixed, "abcd" + zero, "Wrong binary key size"},
      {fixed, "", "Wrong binary key size"},
      {number, "12345", "Wrong binary key size"},
  };
  int n = 0;
  for (auto const& c : cases) {
    PersistentMap* const map = Create(std::to_string(++n), c.kd);
    DataTransfer const key = BytesFrom(c.key);
    DataTransfer record;
    EXPECT_FALSE(map->find(key));
    EXPECT_EQ(map->get_err_level(), 1) << c.words;
    EXPECT_EQ(map->get_err_mess(), c.words);
    EXPECT_FALSE(map->get(key, record));
    EXPECT_EQ(map->get_err_level(), 2) << c.words;
    EXPECT_EQ(map->get_err_mess(), c.words);
    EXPECT_FALSE(map->erase(key));
    EXPECT_EQ(map->get_err_mess(), c.words);
  }
}

TEST_F(StdMapTest, KeyOf127BytesPassesTheKeyCheckAndIsLeftToTheStore) {
  PersistentMap* const map = CreateWords({});
  std::string const longest(126, 'k');
  EXPECT_TRUE(map->put(BytesFrom(longest), BytesFrom(longest + " r"), false));
  EXPECT_TRUE(map->find(BytesFrom(longest + " ")));  // 127 with its stop symbol
  EXPECT_FALSE(map->find(BytesFrom(longest + "k")));
  EXPECT_EQ(map->get_err_mess(), "WRONG KEY");
  EXPECT_EQ(map->get_err_level(), 2);
}

TEST_F(StdMapTest, RecordIsStoredOnlyUnderItsOwnBareKey) {
  KEYDESCR const text{4, ' ', 2}, fixed{3, 2, 1}, number{0, 4, 0};
  std::string const seven("\7\0\0\0", 4);
  struct {
    KEYDESCR kd;
    std::string key;
    std::string record;
    char const* words;  // empty: it is stored
  } const cases[] = {
      {text, "cat", "01cat x", ""},
      {text, "cat", "01cat ", ""},
      {text, "", "01 x", ""},
      {text, "cat ", "01cat x", "Record don't contain key"},
      {text, "cat" + zero, "01cat x", "Record don't contain key"},
      {text, "ca", "01cat x", "Record don't contain key"},
      {text, "cat", "01cat", "Record contains a wrong key"},
      {text, "cat", "01", "Record doesn't contain key"},
      {text, "cat", "", "Record doesn't contain key"},
      {fixed, "ab", "-ab-", ""},
      {fixed, "ab", "-ab", "Record doesn't contain key"},  // nothing behind the key
      {fixed, "ac", "-ab-", "Record don't contain key"},
      {fixed, "ab" + zero, "-ab-", "Record don't contain key"},
      {number, seven, seven + "x", ""},
      {number, seven, seven, "Record doesn't contain key"},
      {text, "cat", "01cat " + std::string(udbMaxRecord, 'x'), "Too long record"},
      {text, "cat", "01cat " + std::string(udbMaxRecord - 6, 'x'), "WRONG RECORD LENGTH"},
  };
  int n = 0;
  for (auto const& c : cases) {
    PersistentMap* const map = Create(std::to_string(++n), c.kd);
    bool const stored = *c.words == '\0';
    DataTransfer const key = BytesFrom(c.key), record = BytesFrom(c.record);
    EXPECT_EQ(map->put(key, record, true), stored) << n;
    EXPECT_EQ(map->get_err_mess(), c.words) << n;
    EXPECT_EQ(map->get_err_level(), stored ? 0 : 2) << n;
    EXPECT_EQ(map->size(), stored ? 1 : 0) << n;
    if (c.record.size() < 100 && !stored) {
      EXPECT_FALSE(map->update(key, record));
      EXPECT_EQ(map->get_err_mess(), c.words) << n;
    }
  }
}

TEST_F(StdMapTest, PresentKeyIsReplacedOnlyWhenAskedFor) {
  PersistentMap* const map = CreateWords({"cat 1"});
  auto const before = maps::putCalls;
  DataTransfer const key = BytesFrom("cat");
  DataTransfer record;
  EXPECT_FALSE(map->put(key, BytesFrom("cat 2"), false));
  EXPECT_EQ(map->get_err_level(), 1);
  EXPECT_EQ(map->get_err_mess(), "");
  EXPECT_TRUE(map->get(key, record));
  EXPECT_EQ(TextOf(record), "cat 1");
  EXPECT_TRUE(map->put(key, BytesFrom("cat 3"), true));
  EXPECT_TRUE(map->update(key, BytesFrom("cat 4")));
  EXPECT_TRUE(map->get(key, record));
  EXPECT_EQ(TextOf(record), "cat 4");
  EXPECT_FALSE(map->update(BytesFrom("dog"), BytesFrom("dog 1")));
  EXPECT_EQ(map->get_err_level(), 1);
  EXPECT_EQ(maps::putCalls, before + 2);
}

TEST_F(StdMapTest, InexactLookupTakesTheNextKeyAndGetnextGivesBareKeys) {
  PersistentMap* const map = CreateWords({"a 1", "c 3", "d 4"});
  DataTransfer key, record;
  EXPECT_TRUE(map->set_exact_match(false));
  EXPECT_TRUE(map->get(BytesFrom("b"), record));
  EXPECT_EQ(TextOf(record), "c 3");
  EXPECT_TRUE(map->getnext(key, record));
  EXPECT_EQ(TextOf(key), "d");
  EXPECT_FALSE(map->getnext(key, record));
  EXPECT_EQ(map->get_err_level(), 1);
  EXPECT_FALSE(map->find(BytesFrom("e")));
  EXPECT_TRUE(map->rewind());
  EXPECT_TRUE(map->getnext(key, record));
  EXPECT_EQ(TextOf(key), "a");
}

TEST_F(StdMapTest, CommandsGiveTheLayoutAndUpgrade) {
  PersistentMap* const map = CreateWords({});
  KEYDESCR kd;
  EXPECT_TRUE(map->extra_command(1, &kd, false));
  EXPECT_EQ(kd, IndexFile::GetKDForType(IndexFile::KD_TEXT0));
  EXPECT_TRUE(map->extra_command(2, nullptr, true));
  EXPECT_FALSE(map->extra_command(3, nullptr, true));
  EXPECT_FALSE(map->extra_command(3, nullptr, false));
  EXPECT_EQ(map->get_err_mess(), "Command not supported");
  EXPECT_EQ(map->get_err_level(), 2);
}

TEST_F(StdMapTest, FileThatCannotBeHadLeavesAnUnusableMapWithTheWords) {
  KEYDESCR kd = IndexFile::GetKDForType(IndexFile::KD_TEXT0);
  std::ofstream(folder.Path("short")) << "x";
  std::ofstream(folder.Path("foreign")) << std::string(4096, 'x');
  std::string const longName = folder.Path(std::string(127 - folder.Path("").size(), 'n'));
  struct {
    std::string uri;
    bool create;
    char const* words;
  } const cases[] = {
      {folder.Path("missing"), false, "NONEXISTENT FILE"},
      {folder.Path("short"), false, "SYSTEM ERROR"},
      {folder.Path("short"), true, "SYSTEM ERROR"},
      {folder.Path("foreign"), false, "FILE CORRUPTED"},
      {folder.Path(), false, "SYSTEM ERROR"},
      {longName, false, "Wrong file name"},
      {"std://" + longName, true, "Wrong file name"},
      {"", false, "Wrong file name"},
      {"std://", true, "Wrong file name"},
      {longName.substr(0, 126), false, "NONEXISTENT FILE"},
  };
  for (auto const& c : cases) {
    PersistentMap* const map = c.create ? maps::CreateMap(c.uri.c_str(), 0, &kd)
                                        : maps::OpenMap(c.uri.c_str(), false, &kd);
    EXPECT_EQ(map->get_err_level(), 3) << c.uri;
    EXPECT_EQ(map->get_err_mess(), c.words) << c.uri;
    EXPECT_EQ(map->size(), -1);
    EXPECT_EQ(map->create_cursor({}, -1), nullptr);
    maps::CloseMap(map);
  }
  PersistentMap* const noLayout = maps::CreateMap(folder.Path("new").c_str(), 0, nullptr);
  EXPECT_EQ(noLayout->get_err_mess(), "WRONG KEY");
}

TEST_F(StdMapTest, StoreFailureIsLevelTwoAndTheMapStaysUsable) {
  maps::CloseMap(CreateWords({"cat 1"}));
  PersistentMap* const map = maps::OpenMap(folder.Path("words").c_str(), true, nullptr);
  EXPECT_FALSE(map->put(BytesFrom("dog"), BytesFrom("dog 1"), false));
  EXPECT_EQ(map->get_err_level(), 2);
  EXPECT_EQ(map->get_err_mess(), "SYSTEM ERROR");
  EXPECT_TRUE(map->find(BytesFrom("cat")));
}

}  // namespace
