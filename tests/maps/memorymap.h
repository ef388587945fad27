// A naive map in memory, written against the public headers alone as a plug-in would be, and its
// factory. It can be told to fail, and counts how many of its maps are alive. It does what copying
// and walking need; its other operations do nothing, and succeed.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include <kvorlib/mapfactory.h>
#include <kvorlib/persistentmap.h>

#include "maps/values.h"

using Records = std::map<std::string, std::string>;

struct MemoryStore {
  Records records;
  std::function<void()> before = [] {};  // runs at the start of each operation; may throw
};

// Does not close itself: a cursor of a careless plug-in.
class MemoryCursor : public MapCursor {
 public:
  MemoryCursor(PersistentMap* walked, Records const& records)
      : MapCursor(walked), next(records.begin()), end(records.end()) {}

  bool getnext(DataTransfer& key, DataTransfer& record) override {
    if (empty() || !map->rewind()) return false;  // so that a step may fail, too
    key = BytesFrom(next->first);
    record = BytesFrom(next->second);
    ++next;
    return true;
  }
  bool empty() override { return map == nullptr || next == end; }
  bool is_valid() override { return map != nullptr; }
  bool detach() override { return map = nullptr, true; }

 private:
  Records::const_iterator next, end;
};

class MemoryMap : public PersistentMap {
 public:
  MemoryMap(MapFactory* maker, std::string const& name, MemoryStore* kept)
      : PersistentMap(maker, name), store(kept) {
    ++alive;
    if (store == nullptr) set_state(3, "no such store");
  }
  ~MemoryMap() override { --alive; }

  inline static int alive = 0;

 protected:
  void reset_state() override {
    PersistentMap::reset_state();
    store->before();
  }
  bool _find(DataTransfer const&) override { return true; }
  bool _get(DataTransfer const&, DataTransfer&) override { return true; }
  bool _getnext(DataTransfer&, DataTransfer&) override { return true; }
  bool _rewind() override { return true; }
  bool _put(DataTransfer const& key, DataTransfer const& record, bool overwrite) override {
    auto const [at, isNew] = store->records.emplace(TextOf(key), TextOf(record));
    if (overwrite) at->second = TextOf(record);
    errLevel = isNew || overwrite ? 0 : 1;
    return errLevel == 0;
  }
  bool _update(DataTransfer const&, DataTransfer const&) override { return true; }
  bool _set_exact_match(bool) override { return true; }
  bool _erase(DataTransfer const&) override { return true; }
  bool _clear() override { return store->records.clear(), true; }
  long _size() override { return static_cast<long>(store->records.size()); }
  bool _get_position(DataTransfer&, std::string&) override { return false; }
  bool _set_position(DataTransfer const&, std::string const&) override { return false; }
  MapCursor* _create_cursor(DataTransfer const&, int) override { return _create_cursor(); }
  MapCursor* _create_cursor() override {
    reset_state();
    return new MemoryCursor(this, store->records);
  }

 private:
  MemoryStore* store;
};

class MemoryFactory : public StaticMapFactory {
 public:
  explicit MemoryFactory(std::string served) : prefix(std::move(served)) {}
  ~MemoryFactory() override { leave_chain(); }

  bool match_prefix(char const* text) override { return prefix == text; }
  PersistentMap* open_map(char const* uri, bool, KEYDESCR*) override {
    return new MemoryMap(this, uri, stores.contains(uri) ? &stores[uri] : nullptr);
  }
  PersistentMap* create_map(char const* uri, int, KEYDESCR*) override {
    return new MemoryMap(this, uri, stores.contains(uri) ? nullptr : &stores[uri]);
  }

  std::map<std::string, MemoryStore> stores;  // by URI

 private:
  std::string prefix;
};
