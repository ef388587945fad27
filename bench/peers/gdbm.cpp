// GDBM: a hash file for one writer at a time. Its scan goes in no order of keys.
#include <gdbm.h>

#include <cstdlib>

#include "peers/peers.h"

namespace bench {
namespace {

datum Bytes(std::string_view text) {
  return {const_cast<char*>(text.data()), static_cast<int>(text.size())};
}
std::string_view Text(const datum& bytes) {
  return {bytes.dptr, static_cast<std::size_t>(bytes.dsize)};
}

class Gdbm final : public Engine {
 public:
  explicit Gdbm(const std::string& dir)
      : file(gdbm_open((dir + "/kv.gdbm").c_str(), 0, GDBM_WRCREAT, 0644, nullptr)) {
    if (file == nullptr) throw Failure(std::string("GDBM: open: ") + gdbm_strerror(gdbm_errno));
  }
  ~Gdbm() override { gdbm_close(file); }

  bool Insert(std::string_view key, std::string_view value) override {
    const int code = gdbm_store(file, Bytes(key), Bytes(value), GDBM_INSERT);
    Check(code >= 0, "insert");
    return code == 0;
  }
  bool Update(std::string_view key, std::string_view value) override {
    Check(gdbm_store(file, Bytes(key), Bytes(value), GDBM_REPLACE) == 0, "update");
    return true;
  }
  bool Get(std::string_view key, std::string& value) override {
    const datum found = gdbm_fetch(file, Bytes(key));
    if (found.dptr == nullptr) return Absent("get");
    value.assign(Text(found));
    std::free(found.dptr);
    return true;
  }
  bool Erase(std::string_view key) override {
    return gdbm_delete(file, Bytes(key)) == 0 || Absent("erase");
  }
  void Scan(const Visitor& visit) override {
    datum key = gdbm_firstkey(file);
    while (key.dptr != nullptr) {
      const datum value = gdbm_fetch(file, key);
      Check(value.dptr != nullptr, "scan");
      visit(Text(key), Text(value));
      std::free(value.dptr);
      const datum next = gdbm_nextkey(file, key);
      std::free(key.dptr);
      key = next;
    }
    Absent("scan");
  }

 private:
  void Check(bool good, const char* what) {
    if (!good) throw Failure(std::string("GDBM: ") + what + ": " + gdbm_db_strerror(file));
  }
  bool Absent(const char* what) {
    Check(gdbm_errno == GDBM_ITEM_NOT_FOUND, what);
    return false;
  }

  GDBM_FILE file;
};

}  // namespace

void AddGdbm(std::vector<Contender>& list) {
  list.push_back({"GDBM", "hash file", false, false,
                  [](const std::string& dir) { return std::make_unique<Gdbm>(dir); }, "kv.gdbm"});
}

}  // namespace bench
