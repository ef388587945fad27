// LMDB: a copy-on-write B+ tree in a shared mapping. No sync; with and without a writable mapping.
#include <lmdb.h>

#include <utility>

#include "peers/peers.h"

namespace bench {
namespace {

constexpr std::size_t mapSize = std::size_t{4} << 30;

void Check(int code, const char* what) {
  if (code != MDB_SUCCESS) throw Failure(std::string("LMDB: ") + what + ": " + mdb_strerror(code));
}

MDB_val Bytes(std::string_view text) { return {text.size(), const_cast<char*>(text.data())}; }
std::string_view Text(const MDB_val& value) {
  return {static_cast<const char*>(value.mv_data), value.mv_size};
}

class Lmdb final : public Engine {
 public:
  Lmdb(const std::string& dir, unsigned flags) {
    Check(mdb_env_create(&env), "create");
    Check(mdb_env_set_mapsize(env, mapSize), "map size");
    Check(mdb_env_open(env, dir.c_str(), MDB_NOSYNC | flags, 0644), "open");
    MDB_txn* txn = nullptr;
    Check(mdb_txn_begin(env, nullptr, 0, &txn), "begin");
    Check(mdb_dbi_open(txn, nullptr, MDB_CREATE, &dbi), "database");
    Check(mdb_txn_commit(txn), "commit");
    // One reader's slot for the whole life; each read renews it, and so sees the latest commit.
    Check(mdb_txn_begin(env, nullptr, MDB_RDONLY, &reader), "begin");
    mdb_txn_reset(reader);
  }
  ~Lmdb() override {
    mdb_txn_abort(reader);
    mdb_env_close(env);
  }

  bool Insert(std::string_view key, std::string_view value) override {
    return Put(key, value, MDB_NOOVERWRITE);
  }
  bool Update(std::string_view key, std::string_view value) override { return Put(key, value, 0); }
  bool Get(std::string_view key, std::string& value) override {
    Check(mdb_txn_renew(reader), "renew");
    MDB_val k = Bytes(key);
    MDB_val v;
    const int code = mdb_get(reader, dbi, &k, &v);
    if (code == MDB_SUCCESS) value.assign(Text(v));
    mdb_txn_reset(reader);
    if (code != MDB_NOTFOUND) Check(code, "get");
    return code == MDB_SUCCESS;
  }
  bool Erase(std::string_view key) override {
    MDB_txn* txn = nullptr;
    Check(mdb_txn_begin(env, nullptr, 0, &txn), "begin");
    MDB_val k = Bytes(key);
    const int code = mdb_del(txn, dbi, &k, nullptr);
    if (code != MDB_NOTFOUND) Check(code, "erase");
    Check(mdb_txn_commit(txn), "commit");
    return code == MDB_SUCCESS;
  }
  void Scan(const Visitor& visit) override {
    Check(mdb_txn_renew(reader), "renew");
    MDB_cursor* cursor = nullptr;
    Check(mdb_cursor_open(reader, dbi, &cursor), "cursor");
    MDB_val k;
    MDB_val v;
    int code = 0;
    while ((code = mdb_cursor_get(cursor, &k, &v, MDB_NEXT)) == MDB_SUCCESS) {
      visit(Text(k), Text(v));
    }
    mdb_cursor_close(cursor);
    mdb_txn_reset(reader);
    if (code != MDB_NOTFOUND) Check(code, "scan");
  }

 private:
  bool Put(std::string_view key, std::string_view value, unsigned flags) {
    MDB_txn* txn = nullptr;
    Check(mdb_txn_begin(env, nullptr, 0, &txn), "begin");
    MDB_val k = Bytes(key);
    MDB_val v = Bytes(value);
    const int code = mdb_put(txn, dbi, &k, &v, flags);
    if (code != MDB_KEYEXIST) Check(code, "put");
    Check(mdb_txn_commit(txn), "commit");
    return code == MDB_SUCCESS;
  }

  MDB_env* env = nullptr;
  MDB_dbi dbi = 0;
  MDB_txn* reader = nullptr;
};

}  // namespace

void AddLmdb(std::vector<Contender>& list) {
  list.push_back({"LMDB", "MDB_NOSYNC", false, true,
                  [](const std::string& dir) { return std::make_unique<Lmdb>(dir, 0U); },
                  "data.mdb"});
  list.push_back({"LMDB writemap", "MDB_NOSYNC, MDB_WRITEMAP", false, true,
                  [](const std::string& dir) { return std::make_unique<Lmdb>(dir, MDB_WRITEMAP); },
                  "data.mdb"});
}

}  // namespace bench
