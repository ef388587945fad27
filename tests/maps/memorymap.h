// A naive map in memory, written against the public headers alone as a plug-in would be, and its
// factory. It can be told to fail, and counts how many of its maps are alive.
#pragma once

#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <kvorlib/errors.h>
#include <kvorlib/mapfactory.h>
#include <kvorlib/persistentmap.h>

inline std::string TextOf(DataTransfer const& value) {
  std::string text;
  value.GetData(text);
  return text;
}

inline DataTransfer BytesFrom(std::string const& text) {
  return {static_cast<void const*>(text.data()), static_cast<int>(text.size())};
}

struct MemoryStore {
  std::map<std::string, std::string> records;
  KEYDESCR kd;
  bool clearable = true;
  std::function<void()> before = [] {};  // runs at the start of each operation; may throw
};

class MemoryMap : public PersistentMap {
 public:
  MemoryMap(MapFactory* maker, char const* name, MemoryStore* kept)
      : PersistentMap(maker, name), store(kept) {
    ++alive;
    if (store == nullptr) set_state(3, "no such store");
  }
  ~MemoryMap() override { --alive; }

  inline static int alive = 0;

 protected:
  bool _find(DataTransfer const& key) override {
    store->before();
    return Done(Search(key) != store->records.end());
  }
  bool _get(DataTransfer const& key, DataTransfer& record) override {
    store->before();
    auto const at = Search(key);
    if (at == store->records.end()) return Done(false);
    last = at->first;
    record = BytesFrom(at->second);
    return true;
  }
  bool _getnext(DataTransfer& key, DataTransfer& record) override {
    store->before();
    auto const at = last ? store->records.upper_bound(*last) : store->records.begin();
    if (at == store->records.end()) return Done(false);
    last = at->first;
    key = BytesFrom(at->first);
    record = BytesFrom(at->second);
    return true;
  }
  bool _rewind() override {
    store->before();
    last.reset();
    return true;
  }
  bool _put(DataTransfer const& key, DataTransfer const& record, bool overwrite) override {
    store->before();
    if (!overwrite && store->records.contains(TextOf(key))) return Done(false);
    store->records[TextOf(key)] = TextOf(record);
    return true;
  }
  bool _update(DataTransfer const& key, DataTransfer const& record) override {
    store->before();
    auto const at = store->records.find(TextOf(key));
    if (at == store->records.end()) return Done(false);
    at->second = TextOf(record);
    return true;
  }
  bool _set_exact_match(bool /*exact*/) override {
    store->before();
    return true;
  }
  bool _erase(DataTransfer const& key) override {
    store->before();
    return Done(store->records.erase(TextOf(key)) == 1);
  }
  bool _clear() override {
    store->before();
    if (!store->clearable) throw ErrBuf("held by somebody", 2);
    store->records.clear();
    return true;
  }
  long _size() override {
    store->before();
    return static_cast<long>(store->records.size());
  }
  bool _extra_command(int cmd, void* arg) override {
    if (cmd != 1) return PersistentMap::_extra_command(cmd, arg);
    std::memcpy(arg, &store->kd, sizeof store->kd);
    return true;
  }
  bool _get_position(DataTransfer& /*position*/, std::string& key) override {
    key = last.value_or("");
    return last.has_value();
  }
  bool _set_position(DataTransfer const& /*position*/, std::string const& key) override {
    last = key;
    return true;
  }
  MapCursor* _create_cursor(DataTransfer const& key, int count) override;
  MapCursor* _create_cursor() override { return _create_cursor(DataTransfer(), -1); }

 private:
  friend class MemoryCursor;

  std::map<std::string, std::string>::iterator Search(DataTransfer const& key) const {
    return get_exact_match() ? store->records.find(TextOf(key))
                             : store->records.lower_bound(TextOf(key));
  }
  bool Done(bool done) {
    errLevel = done ? 0 : 1;
    return done;
  }

  MemoryStore* store;
  std::optional<std::string> last;
};

class MemoryCursor : public MapCursor {
 public:
  MemoryCursor(MemoryMap* walked, std::string from) : MapCursor(walked), next(std::move(from)) {}
  // Does not close: a cursor of a careless plug-in.

  bool getnext(DataTransfer& key, DataTransfer& record) override {
    if (empty()) return false;
    Store().before();
    auto const at = Store().records.lower_bound(next);
    key = BytesFrom(at->first);
    record = BytesFrom(at->second);
    next = at->first + '\0';
    return true;
  }
  bool empty() override {
    return map == nullptr || Store().records.lower_bound(next) == Store().records.end();
  }
  bool is_valid() override { return map != nullptr; }
  bool detach() override {
    map = nullptr;
    return true;
  }

 private:
  MemoryStore& Store() const { return *static_cast<MemoryMap*>(map)->store; }

  std::string next;
};

inline MapCursor* MemoryMap::_create_cursor(DataTransfer const& key, int /*count*/) {
  store->before();
  return new MemoryCursor(this, TextOf(key));
}

class MemoryFactory : public StaticMapFactory {
 public:
  explicit MemoryFactory(std::string served = "memory://") : prefix(std::move(served)) {}
  ~MemoryFactory() override { leave_chain(); }

  bool is_valid_command(int cmd) override { return cmd == 1 || MapFactory::is_valid_command(cmd); }
  bool match_prefix(char const* text) override { return prefix == text; }
  PersistentMap* open_map(char const* uri, bool /*readOnly*/, KEYDESCR* /*kd*/) override {
    auto const at = stores.find(PathIn(uri));
    return new MemoryMap(this, uri, at != stores.end() ? &at->second : nullptr);
  }
  PersistentMap* create_map(char const* uri, int /*flag*/, KEYDESCR* kd) override {
    auto const [at, made] = stores.try_emplace(PathIn(uri));
    if (made) at->second.kd = *kd;
    return new MemoryMap(this, uri, made ? &at->second : nullptr);
  }

  std::map<std::string, MemoryStore> stores;

 private:
  static std::string PathIn(std::string const& uri) { return uri.substr(uri.find("://") + 3); }

  std::string prefix;
};
