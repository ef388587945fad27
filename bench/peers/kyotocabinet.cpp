// Kyoto Cabinet's file tree: a B+ tree over a hash file. Pages are kept in the process until they
// are pushed out or the file is closed.
#include <kchashdb.h>

#include "peers/peers.h"

namespace bench {
namespace {

class KyotoCabinet final : public Engine {
 public:
  explicit KyotoCabinet(const std::string& dir) {
    using Db = kyotocabinet::TreeDB;
    if (!db.open(dir + "/kv.kct", Db::OWRITER | Db::OCREATE | Db::OTRYLOCK)) Fail("open");
  }
  ~KyotoCabinet() override { db.close(); }

  bool Insert(std::string_view key, std::string_view value) override {
    return db.add(key.data(), key.size(), value.data(), value.size()) ||
           Answer(kyotocabinet::BasicDB::Error::DUPREC, "insert");
  }
  bool Update(std::string_view key, std::string_view value) override {
    return db.replace(key.data(), key.size(), value.data(), value.size()) || Absent("update");
  }
  bool Get(std::string_view key, std::string& value) override {
    std::size_t size = 0;
    const std::unique_ptr<char[]> found(db.get(key.data(), key.size(), &size));
    if (!found) return Absent("get");
    value.assign(found.get(), size);
    return true;
  }
  bool Erase(std::string_view key) override {
    return db.remove(key.data(), key.size()) || Absent("erase");
  }
  void Scan(const Visitor& visit) override {
    const std::unique_ptr<kyotocabinet::TreeDB::Cursor> cursor(db.cursor());
    if (!cursor->jump()) {
      Absent("scan");
      return;
    }
    std::size_t keySize = 0;
    std::size_t valueSize = 0;
    const char* value = nullptr;
    // Key and value come in one block.
    while (char* key = cursor->get(&keySize, &value, &valueSize, true)) {
      const std::unique_ptr<char[]> block(key);
      visit({key, keySize}, {value, valueSize});
    }
    Absent("scan");
  }

 private:
  [[noreturn]] void Fail(const char* what) {
    throw Failure(std::string("Kyoto Cabinet: ") + what + ": " + db.error().message());
  }
  bool Answer(kyotocabinet::BasicDB::Error::Code negative, const char* what) {
    if (db.error().code() != negative) Fail(what);
    return false;
  }
  bool Absent(const char* what) { return Answer(kyotocabinet::BasicDB::Error::NOREC, what); }

  kyotocabinet::TreeDB db;
};

}  // namespace

void AddKyotoCabinet(std::vector<Contender>& list) {
  list.push_back({"Kyoto Cabinet", "TreeDB, page cache 64 MB", false, true,
                  [](const std::string& dir) { return std::make_unique<KyotoCabinet>(dir); },
                  "kv.kct"});
}

}  // namespace bench
