// Berkeley DB: a B-tree in a shared environment, in two forms. The concurrent data store shares a
// cache among processes and nothing more; the transactional one writes a log at each commit.
#include <db.h>

#include <cstring>

#include "peers/peers.h"

namespace bench {
namespace {

void Check(int code, const char* what) {
  if (code != 0) throw Failure(std::string("Berkeley DB: ") + what + ": " + db_strerror(code));
}

DBT Bytes(std::string_view text) {
  DBT bytes{};
  bytes.data = const_cast<char*>(text.data());
  bytes.size = static_cast<u_int32_t>(text.size());
  return bytes;
}
std::string_view Text(const DBT& bytes) {
  return {static_cast<const char*>(bytes.data), bytes.size};
}

constexpr u_int32_t concurrentStore = DB_INIT_CDB | DB_INIT_MPOOL;
// A process that opens the environment after another one died in it runs the recovery first.
constexpr u_int32_t transactionalStore =
    DB_INIT_TXN | DB_INIT_LOG | DB_INIT_LOCK | DB_INIT_MPOOL | DB_REGISTER | DB_RECOVER;

class BerkeleyDb final : public Engine {
 public:
  BerkeleyDb(const std::string& dir, u_int32_t subsystems) {
    const bool transactional = (subsystems & DB_INIT_TXN) != 0;
    Check(db_env_create(&env, 0), "create environment");
    Check(env->set_cachesize(env, 0, 64U << 20, 1), "cache size");
    if (transactional) {
      Check(env->set_flags(env, DB_TXN_WRITE_NOSYNC, 1), "no sync");
      Check(env->log_set_config(env, DB_LOG_AUTO_REMOVE, 1), "log removal");
      Check(env->set_lg_bsize(env, 4U << 20), "log buffer");
      Check(env->set_lg_max(env, 64U << 20), "log size");
    }
    Check(env->open(env, dir.c_str(), DB_CREATE | subsystems, 0644), "open environment");
    Check(db_create(&db, env, 0), "create");
    Check(db->open(db, nullptr, "kv.db", nullptr, DB_BTREE,
                   DB_CREATE | (transactional ? DB_AUTO_COMMIT : 0), 0644),
          "open");
    found.flags = DB_DBT_REALLOC;
  }
  ~BerkeleyDb() override {
    std::free(found.data);
    db->close(db, 0);
    env->close(env, 0);
  }

  bool Insert(std::string_view key, std::string_view value) override {
    DBT k = Bytes(key);
    DBT v = Bytes(value);
    const int code = db->put(db, nullptr, &k, &v, DB_NOOVERWRITE);
    if (code != DB_KEYEXIST) Check(code, "insert");
    return code == 0;
  }
  bool Update(std::string_view key, std::string_view value) override {
    DBT k = Bytes(key);
    DBT v = Bytes(value);
    Check(db->put(db, nullptr, &k, &v, 0), "update");
    return true;
  }
  bool Get(std::string_view key, std::string& value) override {
    DBT k = Bytes(key);
    const int code = db->get(db, nullptr, &k, &found, 0);
    if (code == 0) value.assign(Text(found));
    if (code != DB_NOTFOUND) Check(code, "get");
    return code == 0;
  }
  bool Erase(std::string_view key) override {
    DBT k = Bytes(key);
    const int code = db->del(db, nullptr, &k, 0);
    if (code != DB_NOTFOUND) Check(code, "erase");
    return code == 0;
  }
  void Scan(const Visitor& visit) override {
    DBC* cursor = nullptr;
    Check(db->cursor(db, nullptr, &cursor, 0), "cursor");
    DBT k{};
    DBT v{};
    int code = 0;
    while ((code = cursor->get(cursor, &k, &v, DB_NEXT)) == 0) visit(Text(k), Text(v));
    cursor->close(cursor);
    if (code != DB_NOTFOUND) Check(code, "scan");
  }

 private:
  DB_ENV* env = nullptr;
  DB* db = nullptr;
  DBT found{};
};

}  // namespace

void AddBerkeleyDb(std::vector<Contender>& list) {
  list.push_back(
      {"Berkeley DB", "B-tree, concurrent data store, shared cache 64 MB", false, true,
       [](const std::string& dir) { return std::make_unique<BerkeleyDb>(dir, concurrentStore); },
       "kv.db"});
  list.push_back(
      {"Berkeley DB log", "B-tree, transactions with DB_TXN_WRITE_NOSYNC, shared cache 64 MB",
       false, true,
       [](const std::string& dir) { return std::make_unique<BerkeleyDb>(dir, transactionalStore); },
       "kv.db"});
}

}  // namespace bench
