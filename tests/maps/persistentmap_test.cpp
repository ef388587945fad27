// What every map does, whatever is beneath it: the frame around its operations, its state, its
// cursors, copying; and which factory serves a URI, who owns a map and for how long. On a naive map
// in memory.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include <kvorlib/errors.h>
#include <kvorlib/messages.h>

#include "maps/library.h"
#include "maps/maps.h"
#include "maps/memorymap.h"

namespace {

using namespace maps;

constexpr char const* words = "memory://words";
constexpr char const* copied = "memory://copied";
constexpr char const* missing = "memory://missing";

struct Listener : ProcessMess {
  bool Progress(int done, int total) override { return ++steps < patience && done + total == -2; }
  int steps = 0, patience = 1000;
};

std::function<void()> FailsFromCall(int nth) {
  return [nth]() mutable {
    if (--nth <= 0) throw ErrBuf("full", 2);
  };
}

class PersistentMapTest : public ::testing::Test {
 protected:
  ~PersistentMapTest() override {
    udbShutDown();
    EXPECT_EQ(MemoryMap::alive, 0);
    TheLibrary().stdPrefix = "std://";
  }

  MemoryFactory factory{"memory://"};
  std::map<std::string, MemoryStore>& stores = factory.stores;
  MemoryStore& store = stores[words] = {{{"a", "1"}, {"b", "2"}, {"c", "3"}}};
  PersistentMap* const map = OpenMap(words, false, nullptr);
  DataTransfer key, record;
};

TEST_F(PersistentMapTest, WhatIsThrownBecomesAStateThatTheNextOperationClears) {
  auto const stateAfter = [&](std::function<void()> const& thrown) {
    store.before = thrown;
    EXPECT_TRUE(map->create_cursor({}, -1) == nullptr && map->size() == -1);
    EXPECT_FALSE(map->set_exact_match(false));
    EXPECT_FALSE(map->get_exact_match()) << "the mode is kept even if it was refused";
    std::string state = StateOf(*map);
    store.before = [] {};
    EXPECT_EQ(map->size(), 3);
    return state + ", " + StateOf(*map);
  };
  EXPECT_EQ(stateAfter([] { throw ErrBuf("no such key", 1); }), "1 no such key, 0 ");
  EXPECT_EQ(stateAfter([] { throw std::runtime_error("lost"); }), "2 General error, 0 ");
  EXPECT_TRUE(map->extra_command(6, nullptr, true));  // a query is for the factory to answer
  EXPECT_FALSE(map->extra_command(6, nullptr, false));
  EXPECT_EQ(StateOf(*map), "0 Extra command not supported");
}

TEST_F(PersistentMapTest, UnusableMapRefusesEverythingAndRepeatsItsWords) {
  store.before = [] { throw ErrBuf("burnt", 3); };
  EXPECT_FALSE(map->find(key));
  store.before = [] { ADD_FAILURE() << "an operation got through"; };
  std::vector<DataTransfer> keys;
  EXPECT_FALSE(map->find(key) || map->get(key, record) || map->getnext(key, record) ||
               map->rewind() || map->put(key, record, true) || map->update(key, record) ||
               map->erase(key) || map->clear() || map->get_index_map(keys) ||
               map->copy(nullptr, nullptr) || map->set_exact_match(true) || map->size() != -1 ||
               map->extra_command(6, nullptr, true) || map->create_cursor(key, -1) != nullptr);
  map->set_state(2, "told from above");
  EXPECT_EQ(StateOf(*map), "3 burnt");
}

TEST_F(PersistentMapTest, IndexMapAnswersFalseOnSuccessAndEndsInOneEmptyElement) {
  for (std::size_t const present : {3, 0}) {
    std::vector<DataTransfer> keys;
    EXPECT_FALSE(map->get_index_map(keys));
    ASSERT_EQ(keys.size(), present + 1);
    EXPECT_EQ(TextOf(keys.front()) + TextOf(keys.back()), present == 3 ? "a" : "");
    store.records.clear();
  }
}

TEST_F(PersistentMapTest, CursorsAndMapsMayDieInAnyOrder) {
  std::unique_ptr<MapCursor>(map->create_cursor({}, -1)).reset();
  std::unique_ptr<MapCursor> const closed(map->create_cursor({}, -1));
  std::unique_ptr<MapCursor> const outlives(map->create_cursor({}, -1));
  closed->close();
  EXPECT_FALSE(closed->is_valid());
  CloseMap(map);
  for (auto const* cursor : {&closed, &outlives}) {
    EXPECT_FALSE((*cursor)->is_valid() || (*cursor)->getnext(key, record));
    (*cursor)->close();
  }
}

TEST_F(PersistentMapTest, CopyStopsAtThe51stRefusalAndAtTheHostsNoAndReportsEachFailure) {
  Records many;
  for (int i = 100; i < 160; ++i) many["ключ" + std::to_string(i)];
  stores["memory://from"].records = many;
  store.records = {many.begin(), many.find("ключ151")};
  PersistentMap* const source = OpenMap("memory://from", true, nullptr);
  Listener patient, impatient, failing;
  impatient.patience = failing.patience = 1;
  auto const copy = [&](Listener& heard) {
    std::unique_ptr<MapCursor> const walk(source->create_cursor({}, -1));
    return map->copy(walk.get(), &heard);
  };
  EXPECT_FALSE(copy(patient));
  EXPECT_EQ(store.records.size(), 51U);
  EXPECT_EQ(patient.steps, 50);
  // Such a refusal has no words of its own.
  EXPECT_TRUE(patient.GetMessages().starts_with(u"Table: memory://words Key: ключ100 \r\nTable: "));
  store.records.clear();
  EXPECT_TRUE(copy(impatient));
  EXPECT_EQ(map->size(), 1);
  store.before = FailsFromCall(2);
  EXPECT_FALSE(copy(failing));
  EXPECT_EQ(failing.GetMessages(),
            u"Table: memory://words Key: ключ100 full\r\nTable: memory://words full\r\n");
}

TEST_F(PersistentMapTest, PrefixChoosesTheFactoryAndAnUnknownOneFallsBack) {
  MapFactory* const standard = &TheLibrary().standard;
  auto const serving = [](char const* uri, char const* stdPrefix) {
    TheLibrary().stdPrefix = stdPrefix;
    return FindFactory(uri);
  };
  EXPECT_EQ(serving("unknown://words", "std://"), standard);
  EXPECT_EQ(serving("folder/memory://words", "std://"), standard);  // the scheme is the text before
  EXPECT_EQ(serving("words", "memory://"), &factory);
  EXPECT_EQ(serving("unknown://words", "memory://"), &factory);
  // Prefixes that are none must not send the search in circles.
  for (char const* const none : {"unknown://", "nonsense", "a://b"})
    EXPECT_EQ(serving("a://words", none), nullptr) << none;
  EXPECT_EQ(serving("words", "nonsense"), nullptr);
}

TEST_F(PersistentMapTest, MapLivesUntilItsLastHolderOrItsFactoryGoes) {
  map->add_ref();
  EXPECT_TRUE(CloseMap(map) && IsOpenMap(map) && CloseMap(map));
  EXPECT_FALSE(IsOpenMap(map) || CloseMap(map));
  PersistentMap* const unusable = OpenMap(missing, false, nullptr);
  EXPECT_FALSE(unusable->is_usable() || IsOpenMap(unusable) || CloseMap(unusable));
  EXPECT_TRUE(CloseMap(CreateMap(words, 0, nullptr))) << "one that cannot be created counts";
  EXPECT_EQ(MemoryMap::alive, 0);
  PersistentMap* const survivor = OpenMap(words, false, nullptr);
  {
    MemoryFactory guest("guest://");
    CreateMap("guest://x", 0, nullptr)->add_ref();
    CreateMap("guest://y", 0, nullptr);
    EXPECT_EQ(MemoryMap::alive, 3);
  }
  EXPECT_TRUE(MemoryMap::alive == 1 && IsOpenMap(survivor));
  EXPECT_EQ(FindFactory("guest://x"), &TheLibrary().standard);
}

TEST_F(PersistentMapTest, CopyByUriTellsByTheTargetsStateWhatBecameOfIt) {
  Listener heard;
  auto const copy = [&](char const* source, char const* target) {
    PersistentMap* const made = CopyMap(target, source, &heard, 0, nullptr);
    EXPECT_EQ(MemoryMap::alive, made != nullptr ? 2 : 1) << "a map was left behind";
    std::string const state = made != nullptr ? StateOf(*made) : "no map";
    EXPECT_EQ(CloseMap(made), made != nullptr);
    return state + ", " + std::to_string(stores[copied].records.size());
  };
  EXPECT_EQ(copy(words, "copied") + copy("words", copied), "no map, 0no map, 0");
  stores.erase(copied);
  EXPECT_EQ(copy(words, copied), "0 , 3");
  stores[copied].records["z"] = "stale";
  EXPECT_EQ(copy(words, copied), "0 , 3");
  EXPECT_EQ(copy(missing, copied), "2 Copy error, 0");
  // The target takes all it gets, and yet the source breaks off in the middle.
  store.before = FailsFromCall(3);
  EXPECT_EQ(copy(words, copied), "2 Copy error, 1");
  // It is created anew, but the factory will not create what is there.
  stores[copied].before = FailsFromCall(1);
  EXPECT_EQ(copy(words, copied), "3 no such store, 1");
  EXPECT_EQ(heard.GetMessages(),
            u"Source and target names should have prefixes\r\n"
            u"Source and target names should have prefixes\r\n"
            u"Cannot clear target file memory://copied\r\n");
}

}  // namespace
