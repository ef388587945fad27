// SQLite: one table without rowid in write-ahead-log mode; each statement is its own transaction.
#include <sqlite3.h>

#include "peers/peers.h"

namespace bench {
namespace {

class Sqlite final : public Engine {
 public:
  explicit Sqlite(const std::string& dir) {
    Check(sqlite3_open((dir + "/kv.sqlite").c_str(), &db), "open");
    Run("PRAGMA journal_mode=WAL");
    Run("PRAGMA synchronous=OFF");
    Run("PRAGMA cache_size=-65536");
    Run("CREATE TABLE IF NOT EXISTS kv(k BLOB PRIMARY KEY, v BLOB) WITHOUT ROWID");
    insert = Prepare("INSERT OR IGNORE INTO kv VALUES(?1, ?2)");
    update = Prepare("UPDATE kv SET v = ?2 WHERE k = ?1");
    get = Prepare("SELECT v FROM kv WHERE k = ?1");
    erase = Prepare("DELETE FROM kv WHERE k = ?1");
    scan = Prepare("SELECT k, v FROM kv ORDER BY k");
  }
  ~Sqlite() override {
    for (sqlite3_stmt* statement : {insert, update, get, erase, scan}) sqlite3_finalize(statement);
    sqlite3_close(db);
  }

  bool Insert(std::string_view key, std::string_view value) override {
    Bind(insert, 2, value);
    return Change(insert, key);
  }
  bool Update(std::string_view key, std::string_view value) override {
    Bind(update, 2, value);
    return Change(update, key);
  }
  bool Erase(std::string_view key) override { return Change(erase, key); }
  bool Get(std::string_view key, std::string& value) override {
    Bind(get, 1, key);
    const int code = sqlite3_step(get);
    if (code == SQLITE_ROW) value.assign(Column(get, 0));
    sqlite3_reset(get);
    if (code != SQLITE_ROW && code != SQLITE_DONE) Check(code, "get");
    return code == SQLITE_ROW;
  }
  void Scan(const Visitor& visit) override {
    int code = 0;
    while ((code = sqlite3_step(scan)) == SQLITE_ROW) visit(Column(scan, 0), Column(scan, 1));
    sqlite3_reset(scan);
    if (code != SQLITE_DONE) Check(code, "scan");
  }

 private:
  void Check(int code, const char* what) {
    if (code != SQLITE_OK) {
      throw Failure(std::string("SQLite: ") + what + ": " + sqlite3_errmsg(db));
    }
  }
  void Run(const char* sql) { Check(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), sql); }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr), sql);
    return statement;
  }
  // The bytes stay the caller's; they outlive the step that follows.
  void Bind(sqlite3_stmt* statement, int place, std::string_view text) {
    Check(sqlite3_bind_blob(statement, place, text.data(), static_cast<int>(text.size()),
                            SQLITE_STATIC),
          "bind");
  }
  static std::string_view Column(sqlite3_stmt* statement, int column) {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement, column));
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
  }
  bool Change(sqlite3_stmt* statement, std::string_view key) {
    Bind(statement, 1, key);
    const int code = sqlite3_step(statement);
    sqlite3_reset(statement);
    if (code != SQLITE_DONE) Check(code, "change");
    return sqlite3_changes(db) == 1;
  }

  sqlite3* db = nullptr;
  sqlite3_stmt* insert = nullptr;
  sqlite3_stmt* update = nullptr;
  sqlite3_stmt* get = nullptr;
  sqlite3_stmt* erase = nullptr;
  sqlite3_stmt* scan = nullptr;
};

}  // namespace

void AddSqlite(std::vector<Contender>& list) {
  list.push_back({"SQLite", "WAL, synchronous=OFF, without rowid, cache 64 MB", false, true,
                  [](const std::string& dir) { return std::make_unique<Sqlite>(dir); },
                  "kv.sqlite"});
}

}  // namespace bench
