// A plug-in that keeps its files in memory: "mem://words" is a table called "words", which is there
// for as long as the plug-in is loaded. It serves whichever scheme it is asked for.
//
// Nothing here goes beyond the public headers. See docs/plugins.md.
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <kvorlib/datatransfer.h>
#include <kvorlib/mapfactory.h>
#include <kvorlib/persistentmap.h>

namespace {

constexpr int KeyDescrCommand = 1;

struct Table {
  std::map<std::string, std::string> records;
  KEYDESCR layout;
};

// What a map and its cursors look at. It lives as long as the last of them: a factory may go, with
// its tables, while somebody still has a cursor.
using SharedTable = std::shared_ptr<Table>;

std::string BytesOf(DataTransfer const& value) {
  std::string bytes;
  value.GetData(bytes);
  return bytes;
}

DataTransfer Value(std::string const& bytes) {
  return {static_cast<void const*>(bytes.data()), static_cast<int>(bytes.size())};
}

// Goes by the key that was handed out last, so that records may come and go meanwhile.
class Cursor final : public MapCursor {
 public:
  Cursor(PersistentMap* walked, SharedTable walkedTable, std::string const& from)
      : MapCursor(walked), table(std::move(walkedTable)), key(from) {}
  ~Cursor() override { close(); }

  bool getnext(DataTransfer& nextKey, DataTransfer& nextRecord) override {
    auto const at = Next();
    if (!is_valid() || at == table->records.end()) return false;
    nextKey = Value(at->first);
    nextRecord = Value(at->second);
    key = at->first;
    started = true;
    return true;
  }
  bool empty() override { return !is_valid() || Next() == table->records.end(); }
  bool is_valid() override { return map != nullptr; }
  bool detach() override {
    map = nullptr;
    return true;
  }

 private:
  std::map<std::string, std::string>::const_iterator Next() const {
    return started ? table->records.upper_bound(key) : table->records.lower_bound(key);
  }

  SharedTable table;
  std::string key;
  bool started = false;
};

class Map final : public PersistentMap {
 public:
  // Without a table it says why, and can do nothing else.
  Map(MapFactory* maker, std::string const& uri, SharedTable kept, std::string const& why)
      : PersistentMap(maker, uri), table(std::move(kept)) {
    if (table == nullptr) set_state(3, why);
  }

 protected:
  // A negative answer that is no failure is level 1; reset_state has been called before each of
  // these, so that level 0 stands when nothing else is said.
  bool _find(DataTransfer const& key) override {
    DataTransfer unused;
    return _get(key, unused);
  }
  bool _get(DataTransfer const& key, DataTransfer& record) override {
    auto const wanted = Bare(key);
    auto const at = exactMatch ? table->records.find(wanted) : table->records.lower_bound(wanted);
    if (at == table->records.end()) return No();
    record = Value(at->second);
    last = at->first;
    begun = true;
    return true;
  }
  bool _getnext(DataTransfer& key, DataTransfer& record) override {
    auto const at = begun ? table->records.upper_bound(last) : table->records.begin();
    if (at == table->records.end()) return No();
    key = Value(at->first);
    record = Value(at->second);
    last = at->first;
    begun = true;
    return true;
  }
  bool _rewind() override {
    begun = false;
    return true;
  }
  bool _put(DataTransfer const& key, DataTransfer const& record, bool overwrite) override {
    auto const [at, fresh] = table->records.try_emplace(BytesOf(key), BytesOf(record));
    if (!fresh && !overwrite) return No();
    at->second = BytesOf(record);
    return true;
  }
  bool _update(DataTransfer const& key, DataTransfer const& record) override {
    auto const at = table->records.find(BytesOf(key));
    if (at == table->records.end()) return No();
    at->second = BytesOf(record);
    return true;
  }
  bool _erase(DataTransfer const& key) override {
    return table->records.erase(Bare(key)) == 1 || No();
  }
  bool _clear() override {
    table->records.clear();
    return true;
  }
  long _size() override { return static_cast<long>(table->records.size()); }
  bool _set_exact_match(bool /*exact*/) override { return true; }
  bool _extra_command(int cmd, void* arg) override {
    if (cmd != KeyDescrCommand) return PersistentMap::_extra_command(cmd, arg);
    *static_cast<KEYDESCR*>(arg) = table->layout;
    return true;
  }
  bool _get_position(DataTransfer& position, std::string& key) override {
    position = Value(begun ? "+" : "");
    key = last;
    return true;
  }
  bool _set_position(DataTransfer const& position, std::string const& key) override {
    begun = position.Size() > 0;
    last = key;
    return true;
  }
  MapCursor* _create_cursor(DataTransfer const& key, int /*count*/) override {
    return std::make_unique<Cursor>(this, table, Bare(key)).release();
  }
  MapCursor* _create_cursor() override { return _create_cursor(DataTransfer(), -1); }

 private:
  bool No() {
    errLevel = 1;
    return false;
  }
  // A text key that is looked for may come with a zero or its stop symbol at its end, and is the
  // same key without. One that is put is the record's own, and bare.
  std::string Bare(DataTransfer const& given) const {
    std::string key = BytesOf(given);
    bool const text = table->layout.IsText() && !key.empty();
    if (text && (key.back() == 0 || key.back() == static_cast<char>(table->layout.len))) {
      key.pop_back();
    }
    return key;
  }

  SharedTable table;
  std::string last;  // the key that was found or handed out last
  bool begun = false;
};

class Factory final : public StaticMapFactory {
 public:
  explicit Factory(std::string served) : prefix(std::move(served)) {}

  bool match_prefix(char const* text) override { return prefix == text; }
  bool is_valid_command(int cmd) override {
    return cmd == KeyDescrCommand || StaticMapFactory::is_valid_command(cmd);
  }
  PersistentMap* open_map(char const* uri, bool /*readOnly*/, KEYDESCR* /*kd*/) override {
    auto const at = tables.find(uri);
    return NewMap(uri, at != tables.end() ? at->second : nullptr, "No such table");
  }
  PersistentMap* create_map(char const* uri, int /*flag*/, KEYDESCR* kd) override {
    auto const [at, fresh] = tables.try_emplace(uri, nullptr);
    if (fresh) {
      at->second = std::make_shared<Table>();
      if (kd != nullptr) at->second->layout = *kd;
    }
    return NewMap(uri, fresh ? at->second : nullptr, "The table is there already");
  }

 private:
  // The list of maps takes it over.
  PersistentMap* NewMap(char const* uri, SharedTable const& table, char const* why) {
    return std::make_unique<Map>(this, uri, table, why).release();
  }

  std::string prefix;
  std::map<std::string, SharedTable> tables;  // by URI
};

}  // namespace

// The entry point. The library owns the factory from here on.
extern "C" MapFactory* GetFactory(char const* prefix) {
  return std::make_unique<Factory>(prefix).release();
}
