// Our store through its plain functions. A record is "key value", keyed up to the first blank.
#include <filesystem>

#include "peers/peers.h"
#include "store/host.h"
#include "store/udb.h"

namespace bench {
namespace {

constexpr char stop = ' ';

class Store final : public Engine {
 public:
  Store(const std::string& dir, store::FileForm form) {
    // One host for each form, for all that are opened: what it shares with others stays open.
    static const auto plain = store::MakeSystemHost(store::FileForm::Plain);
    static const auto mapped = store::MakeSystemHost(store::FileForm::Mapped);
    store::SetHost((form == store::FileForm::Mapped ? mapped : plain).get());
    const std::string path = dir + "/kv.dat";
    std::string words;
    file = std::filesystem::exists(path) ? udbOpen(path.c_str(), 2, words)
                                         : udbCreate(path.c_str(), KEYDESCR(4, stop, 0), words);
    if (file < 0) throw Failure("store: open: " + words);
  }
  ~Store() override {
    udbClose(file);
    store::SetHost(nullptr);
  }

  bool Insert(std::string_view key, std::string_view value) override {
    Form(key, value);
    return Done(udbInsert(file, Bytes(), static_cast<std::uint32_t>(text.size())), "insert");
  }
  bool Update(std::string_view key, std::string_view value) override {
    Form(key, value);
    return Done(udbUpdate(file, UdbKey(Bytes(), key.size() + 1), Bytes(),
                          static_cast<std::uint32_t>(text.size())),
                "update");
  }
  bool Get(std::string_view key, std::string& value) override {
    Form(key, {});
    if (!Done(udbGet(file, UdbKey(Bytes(), text.size()), record), "get")) return false;
    value.assign(Text().substr(key.size() + 1));
    return true;
  }
  bool Erase(std::string_view key) override {
    Form(key, {});
    return Done(udbErase(file, UdbKey(Bytes(), text.size())), "erase");
  }
  void Scan(const Visitor& visit) override {
    Done(udbRewind(file), "rewind");
    while (Done(udbGetNext(file, record), "scan")) {
      const std::size_t end = Text().find(stop);
      visit(Text().substr(0, end), Text().substr(end + 1));
    }
  }

 private:
  void Form(std::string_view key, std::string_view value) {
    text.assign(key);
    text += stop;
    text += value;
  }
  const unsigned char* Bytes() const { return reinterpret_cast<const unsigned char*>(text.data()); }
  std::string_view Text() const {
    return {record.GetData(), static_cast<std::size_t>(record.Size())};
  }
  bool Done(int answer, const char* what) {
    if (answer >= 0) return answer == 0;
    std::string words;
    udbErrorText(file, words);
    throw Failure(std::string("store: ") + what + ": " + words);
  }

  int file = -1;
  std::string text;     // the record or key that goes in
  DataTransfer record;  // the record that comes out
};

}  // namespace

void AddStore(std::vector<Contender>& list) {
  udbInit();
  const auto add = [&](const char* name, const char* setup, store::FileForm form) {
    list.push_back({name, setup, true, true,
                    [form](const std::string& dir) { return std::make_unique<Store>(dir, form); },
                    "kv.dat"});
  };
  add("kvorlib store", "the engine's functions, file mapped", store::FileForm::Mapped);
  add("kvorlib plain", "the same, file read and written by calls", store::FileForm::Plain);
}

}  // namespace bench
