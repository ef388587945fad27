// tkrzw's tree: a B+ tree over a hash file. Pages are kept in the process until they are pushed out
// or the file is closed.
#include <tkrzw_dbm_tree.h>

#include "peers/peers.h"

namespace bench {
namespace {

using tkrzw::Status;

class Tkrzw final : public Engine {
 public:
  explicit Tkrzw(const std::string& dir) {
    Check(db.Open(dir + "/kv.tkt", true, tkrzw::File::OPEN_NO_WAIT), "open");
  }
  ~Tkrzw() override { db.Close(); }

  bool Insert(std::string_view key, std::string_view value) override {
    return Done(db.Set(key, value, false), Status::DUPLICATION_ERROR, "insert");
  }
  bool Update(std::string_view key, std::string_view value) override {
    return Done(db.Set(key, value, true), Status::NOT_FOUND_ERROR, "update");
  }
  bool Get(std::string_view key, std::string& value) override {
    return Done(db.Get(key, &value), Status::NOT_FOUND_ERROR, "get");
  }
  bool Erase(std::string_view key) override {
    return Done(db.Remove(key), Status::NOT_FOUND_ERROR, "erase");
  }
  void Scan(const Visitor& visit) override {
    const auto iterator = db.MakeIterator();
    Check(iterator->First(), "scan");
    std::string key;
    std::string value;
    while (Done(iterator->Get(&key, &value), Status::NOT_FOUND_ERROR, "scan")) {
      visit(key, value);
      Check(iterator->Next(), "scan");
    }
  }

 private:
  static void Check(const Status& status, const char* what) {
    if (!status.IsOK()) {
      throw Failure(std::string("tkrzw: ") + what + ": " + tkrzw::ToString(status));
    }
  }
  static bool Done(const Status& status, Status::Code negative, const char* what) {
    if (status.GetCode() == negative) return false;
    Check(status, what);
    return true;
  }

  tkrzw::TreeDBM db;
};

}  // namespace

void AddTkrzw(std::vector<Contender>& list) {
  list.push_back({"tkrzw", "TreeDBM, 10,000 cached pages", false, true,
                  [](const std::string& dir) { return std::make_unique<Tkrzw>(dir); }, "kv.tkt"});
}

}  // namespace bench
