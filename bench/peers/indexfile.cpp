// Our store as callers of the library see it: text records in an IndexFile.
#include "kvorlib/indexfile.h"

#include <filesystem>

#include "kvorlib/recordpool.h"
#include "peers/peers.h"

namespace bench {
namespace {

class TextFile final : public Engine {
 public:
  explicit TextFile(const std::string& dir) {
    const std::string path = dir + "/kv.dat";
    const bool opened = std::filesystem::exists(path)
                            ? file.Open(path.c_str(), false, IndexFile::KD_TEXT0)
                            : file.Create(path.c_str(), IndexFile::KD_TEXT0);
    if (!opened) throw Failure("IndexFile: open: " + path);
  }

  bool Insert(std::string_view key, std::string_view value) override {
    return Done(file.Put(Formed(key, value)), "insert");
  }
  bool Update(std::string_view key, std::string_view value) override {
    return Done(file.Update(Formed(key, value)), "update");
  }
  bool Get(std::string_view key, std::string& value) override {
    name.assign(key);
    if (!Done(file.Get(name, value), "get")) return false;
    value.erase(0, key.size() + 1);
    value.pop_back();  // the terminator of the text
    return true;
  }
  bool Erase(std::string_view key) override {
    name.assign(key);
    return Done(file.Erase(name), "erase");
  }
  void Scan(const Visitor& visit) override {
    RecordPool pool;
    if (!file.GetPool(pool)) throw Failure(std::string("IndexFile: scan: ") + file.ErrorMessage());
    while (pool.GetNext(text, name)) {
      visit(name, std::string_view(text).substr(name.size() + 1, text.size() - name.size() - 2));
    }
  }

 private:
  const std::string& Formed(std::string_view key, std::string_view value) {
    text.assign(key);
    text += ' ';
    text += value;
    return text;
  }
  bool Done(bool answer, const char* what) {
    if (!answer && file.CheckError()) {
      throw Failure(std::string("IndexFile: ") + what + ": " + file.ErrorMessage());
    }
    return answer;
  }

  IndexFile file;
  std::string text;
  std::string name;
};

}  // namespace

void AddIndexFile(std::vector<Contender>& list) {
  list.push_back({"kvorlib IndexFile", "text records, a RecordPool for the scan", true, true,
                  [](const std::string& dir) { return std::make_unique<TextFile>(dir); },
                  "kv.dat"});
}

}  // namespace bench
