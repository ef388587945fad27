// What every map does, whatever is beneath it: the frame around its operations, its state, its
// cursors, copying. On a naive map in memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include <kvorlib/messages.h>

#include "maps/memorymap.h"

namespace {

using ::testing::ElementsAre;

struct Listener : ProcessMess {
  bool Progress(int done, int total) override {
    EXPECT_EQ(done, -1);
    EXPECT_EQ(total, -1);
    return ++steps < patience;
  }
  int steps = 0;
  int patience = 1'000'000;
};

class PersistentMapTest : public ::testing::Test {
 protected:
  PersistentMapTest() { store.records = {{"a", "1"}, {"b", "2"}, {"c", "3"}}; }

  std::vector<std::string> Walk(MapCursor& cursor) {
    std::vector<std::string> keys;
    DataTransfer key, record;
    while (cursor.getnext(key, record)) keys.push_back(TextOf(key));
    return keys;
  }

  MemoryFactory factory;
  MemoryStore& store = factory.stores["words"];
  std::unique_ptr<PersistentMap> map{factory.open_map("memory://words", false, nullptr)};
  DataTransfer key = BytesFrom("a");
  DataTransfer record;
};

TEST_F(PersistentMapTest, WhatIsThrownBecomesAStateThatTheNextOperationClears) {
  struct {
    std::function<void()> thrown;
    int level;
    char const* words;
  } const cases[] = {
      {[] { throw ErrBuf("bad luck", 2); }, 2, "bad luck"},
      {[] { throw ErrBuf("no such key can be", 1); }, 1, "no such key can be"},
      {[] { throw std::runtime_error("lost"); }, 2, "General error"},
      {[] { throw 7; }, 2, "General error"},
  };
  for (auto const& c : cases) {
    store.before = c.thrown;
    EXPECT_FALSE(map->get(key, record));
    EXPECT_EQ(map->get_err_level(), c.level);
    EXPECT_EQ(map->get_err_mess(), c.words);
    EXPECT_EQ(map->has_error(), c.level == 2);
    EXPECT_EQ(map->size(), -1);
    EXPECT_EQ(map->create_cursor({}, -1), nullptr);
    store.before = [] {};
    EXPECT_EQ(map->size(), 3);
    EXPECT_EQ(map->get_err_level(), 0);
    EXPECT_EQ(map->get_err_mess(), "");
  }
}

TEST_F(PersistentMapTest, UnusableMapRefusesEverythingAndRepeatsItsWords) {
  store.before = [] { throw ErrBuf("burnt", 3); };
  EXPECT_FALSE(map->find(key));
  store.before = [] { ADD_FAILURE() << "an operation got through"; };
  std::vector<DataTransfer> keys;
  EXPECT_FALSE(map->find(key) || map->get(key, record) || map->getnext(key, record) ||
               map->rewind() || map->put(key, record, true) || map->update(key, record) ||
               map->erase(key) || map->clear() || map->get_index_map(keys) ||
               map->copy(nullptr, nullptr) || map->set_exact_match(true) ||
               map->extra_command(1, nullptr, true));
  EXPECT_EQ(map->size(), -1);
  map->set_state(2, "told from above");
  EXPECT_EQ(map->get_err_mess(), "burnt");
  EXPECT_FALSE(map->is_usable());
  EXPECT_TRUE(keys.empty());
}

TEST_F(PersistentMapTest, MatchModeIsRememberedEvenIfTheMapRefusesIt) {
  store.before = [] { throw 1; };
  EXPECT_FALSE(map->set_exact_match(false));
  EXPECT_FALSE(map->get_exact_match());
}

TEST_F(PersistentMapTest, QueryAsksTheFactoryAndAnUnknownCommandLeavesTheLevel) {
  EXPECT_TRUE(map->extra_command(1, nullptr, true));
  EXPECT_TRUE(map->extra_command(6, nullptr, true));
  EXPECT_FALSE(map->extra_command(2, nullptr, true));
  EXPECT_FALSE(map->extra_command(2, nullptr, false));
  EXPECT_EQ(map->get_err_mess(), "Extra command not supported");
  EXPECT_EQ(map->get_err_level(), 0);
}

TEST_F(PersistentMapTest, IndexMapAnswersFalseOnSuccessAndEndsInOneEmptyElement) {
  std::vector<DataTransfer> keys;
  EXPECT_FALSE(map->get_index_map(keys));
  ASSERT_EQ(keys.size(), 4U);
  EXPECT_EQ(TextOf(keys[0]) + TextOf(keys[1]) + TextOf(keys[2]), "abc");
  EXPECT_EQ(keys[3].Size(), 0);

  store.records.clear();
  keys.clear();
  EXPECT_FALSE(map->get_index_map(keys));
  ASSERT_EQ(keys.size(), 1U);
  EXPECT_EQ(keys[0].Size(), 0);
}

TEST_F(PersistentMapTest, CopyCountsPresentKeysAsRefusedAndStopsAtThe51st) {
  for (int const present : {50, 51}) {
    MemoryStore& from = factory.stores["from" + std::to_string(present)];
    store.records.clear();
    for (int i = 0; i < 60; ++i) {
      std::string const name = "ключ" + std::to_string(100 + i);
      from.records[name] = "new";
      if (i < present) store.records[name] = "old";
    }
    std::unique_ptr<PersistentMap> const source(
        factory.open_map(("memory://from" + std::to_string(present)).c_str(), true, nullptr));
    std::unique_ptr<MapCursor> const all(source->create_cursor({}, -1));
    Listener heard;
    EXPECT_EQ(map->copy(all.get(), &heard), present == 50);
    EXPECT_EQ(store.records.size(), present == 50 ? 60U : 51U);
    EXPECT_EQ(store.records["ключ100"], "old");
    EXPECT_EQ(heard.steps, present == 50 ? 60 : 50);
    // Such a refusal has no words of its own.
    EXPECT_TRUE(heard.GetMessages().starts_with(u"Table: memory://words Key: ключ100 \r\nTable: "));
  }
}

TEST_F(PersistentMapTest, CopyReportsAFailureThatStandsAtItsEndAndObeysTheHostsNo) {
  MemoryStore& from = factory.stores["from"];
  from.records = {{"x", "1"}, {"y", "2"}};
  std::unique_ptr<PersistentMap> const source(factory.open_map("memory://from", true, nullptr));

  std::unique_ptr<MapCursor> all(source->create_cursor({}, -1));
  Listener impatient;
  impatient.patience = 1;
  EXPECT_TRUE(map->copy(all.get(), &impatient));
  EXPECT_EQ(map->size(), 4);

  all.reset(source->create_cursor(BytesFrom("y"), -1));
  store.before = [] { throw ErrBuf("full", 2); };
  Listener heard;
  EXPECT_FALSE(map->copy(all.get(), &heard));
  EXPECT_EQ(heard.GetMessages(),
            u"Table: memory://words Key: y full\r\nTable: memory://words full\r\n");
}

TEST_F(PersistentMapTest, CursorsAndMapsMayDieInAnyOrder) {
  std::unique_ptr<MapCursor> const outlives(map->create_cursor({}, -1));
  std::unique_ptr<MapCursor> dropped(map->create_cursor({}, -1));
  std::unique_ptr<MapCursor> const closed(map->create_cursor({}, -1));
  closed->close();
  EXPECT_FALSE(closed->is_valid());
  closed->close();
  dropped.reset();
  EXPECT_EQ(Walk(*outlives).size(), 3U);
  std::unique_ptr<MapCursor> const fresh(map->create_cursor(BytesFrom("b"), -1));
  map.reset();
  for (auto* cursor : {outlives.get(), fresh.get(), closed.get()}) {
    EXPECT_FALSE(cursor->is_valid());
    EXPECT_FALSE(cursor->getnext(key, record));
    cursor->close();
  }
}

TEST_F(PersistentMapTest, KeyArrayReadsKeysUpToTheirFirstZeroAsUtf8) {
  store.records = {{"кот", ""}, {std::string("cat\0x", 5), ""}};
  std::unique_ptr<MapCursor> const cursor(map->create_cursor({}, -1));
  std::list<std::u16string> keys = {u"before"};
  EXPECT_TRUE(cursor->getkeyarray(keys));
  EXPECT_THAT(keys, ElementsAre(u"before", u"cat", u"кот"));
}

}  // namespace
