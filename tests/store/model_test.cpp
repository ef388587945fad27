// Long random scripts on the store and on an ordered map beside it, over all kinds of keys and
// sizes of records and in every form of files. After each batch both hold the same, and the file is
// in order byte by byte. A digest of all files that came to be, and of places that were searched,
// is kept here: so the bytes that are written stay the same, too.
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <random>

#include "disktest.h"
#include "util/md5.h"

namespace {

enum class Sizes { Tiny, AroundInline, AroundPages, Mixed, Huge };

struct Script {
  const char* name;
  KEYDESCR kd;
  Sizes sizes;
  unsigned keys;  // how many different ones, roughly
  int steps;
  std::uint32_t digest;
};

void PrintTo(const Script& script, std::ostream* out) { *out << script.name; }

class ModelTest : public DiskTest, public ::testing::WithParamInterface<Script> {
 protected:
  using Model = std::map<Bytes, Bytes, std::function<bool(const Bytes&, const Bytes&)>>;

  unsigned Below(unsigned n) { return static_cast<unsigned>(random() % n); }

  Bytes Key(unsigned n) const {
    std::mt19937 own(n);
    if (kd.IsText()) {
      // Few different letters, so that keys are prefixes of one another and reach every length.
      static const Bytes letters("ab\t\x01 \x7f\x80\xff\n|", 10);
      Bytes key(n % 5 == 0 ? own() % 120 : own() % 9, '\0');
      for (char& c : key) c = letters[own() % letters.size()];
      key += std::to_string(n);
      const char stop = static_cast<char>(kd.len);
      std::replace(key.begin(), key.end(), stop, '!');
      return key + stop;
    }
    Bytes key(kd.len, '\0');
    for (char& c : key) c = "\0\1\x7f\x80\xff "[own() % 6];
    Put16(key, n % 2 == 0 ? key.size() - 2 : 0, n);
    return key;
  }

  std::size_t Length() {
    switch (GetParam().sizes) {
      case Sizes::Tiny:
        return Below(40);
      case Sizes::AroundInline:
        return Below(5) == 0 ? 1010 + Below(20) : 2025 + Below(10);
      case Sizes::AroundPages:
        return (1 + Below(3)) * 4096 - 11 + Below(15);
      case Sizes::Mixed:
        return Below(20) == 0 ? Below(30000) : Below(4) == 0 ? 900 + Below(1300) : Below(200);
      default:
        return Below(3) == 0 ? 100000 + Below(100000) : Below(9000);
    }
  }

  Bytes Compose(const Bytes& key) {
    const auto offset = static_cast<std::size_t>(kd.offset);
    Bytes record(std::max(Length(), offset + key.size()), '\0');
    for (char& c : record) c = static_cast<char>(random());
    return record.replace(offset, key.size(), key);
  }

  void Step() {
    if (Below(3) == 0) {  // there are two who use the file
      std::swap(file, other);
      cursor.reset();
    }
    const Bytes key = Key(Below(GetParam().keys));
    const auto at = model.find(key);
    const bool there = at != model.end();
    const unsigned dice = Below(100);
    if (dice >= 72) {
      if (dice < 90) return LookUp(key);
      return dice < 96 ? WalkOn() : Remember();
    }
    if (dice < growth) {
      const Bytes record = Compose(key);
      ASSERT_EQ(Inserting(record), there ? "1" : "0");
      if (!there) model[key] = record;
    } else if (dice < growth + 12) {
      const Bytes record = Compose(key);
      ASSERT_EQ(Said(Update(file, key, record)), there ? "0" : "1");
      if (there) at->second = record;
    } else if (dice < 70) {
      ASSERT_EQ(Said(Erase(file, key)), there ? "0" : "1");
      if (there) model.erase(at);
    } else {
      ASSERT_TRUE(cursor || udbRewind(file) == 0);
      ASSERT_EQ(Said(udbEraseCurrent(file)), cursor ? "0" : "1");
      if (cursor) model.erase(*cursor);
    }
    cursor.reset();
  }

  // By a random mode, with a look at the record or without.
  void LookUp(const Bytes& key) {
    const int mode = static_cast<int>(Below(3));
    ASSERT_EQ(udbSetMatchMode(file, mode), 0);
    const auto expected = mode == UDB_EXACT   ? model.find(key)
                          : mode == UDB_AFTER ? model.upper_bound(key)
                                              : model.lower_bound(key);
    const bool found = expected != model.end();
    Bytes record = found ? expected->second : Bytes();
    ASSERT_EQ(Said(Below(2) == 0 ? Find(file, key) : Get(file, key, record)), found ? "0" : "1")
        << "mode " << mode;
    ASSERT_TRUE(!found || record == expected->second) << "mode " << mode;
    cursor.reset();
    if (found) cursor = expected->first;
    if (Below(4) == 0) LookAround();
    // Insertion, update and erasure do not mind the mode.
    ASSERT_TRUE(Below(2) == 0 || udbSetMatchMode(file, UDB_EXACT) == 0);
  }

  // Where a search came to that found nothing, or where the other one has changed the file since.
  void LookAround() {
    UdbPosition place;
    Bytes text;
    See(std::to_string(udbGetPosition(file, place, text)) + text);
    See(std::to_string(place.page) + '+' + std::to_string(place.offset));
    See(Said(GetNext(file, text)) + text);
    cursor.reset();
  }

  void WalkOn() {
    if (!cursor && Below(2) == 0) return LookAround();
    auto next = cursor ? model.upper_bound(*cursor) : model.begin();
    ASSERT_TRUE(cursor || udbRewind(file) == 0);
    for (unsigned steps = Below(20); steps > 0; --steps) {
      Bytes record;
      ASSERT_EQ(Said(GetNext(file, record)), next == model.end() ? "1" : "0");
      if (next == model.end()) return;
      ASSERT_TRUE(record == next->second);
      cursor = (next++)->first;
    }
  }

  // Keeps a position, or goes back to the kept one, whatever became of its page since.
  void Remember() {
    if (kept) {
      ASSERT_EQ(udbSetMatchMode(file, UDB_EXACT), 0);
      const bool there = model.count(keptKey) != 0;
      ASSERT_EQ(Said(udbSetPosition(file, *kept, AsKey(keptKey))), there ? "0" : "1");
      cursor.reset();
      if (there) cursor = keptKey;
      kept.reset();
      WalkOn();
    } else if (cursor) {
      kept.emplace();
      ASSERT_EQ(Said(udbGetPosition(file, *kept, keptKey)), "0");
      ASSERT_EQ(keptKey, *cursor);
    }
  }

  void See(const Bytes& bytes) { seen.Add(bytes.data(), bytes.size()); }
  std::uint32_t Digest() {
    const auto bytes = seen.Finish();
    return image::Get32({bytes.begin(), bytes.end()}, 0);
  }

  void Compare() {
    cursor.reset();
    const image::Findings found = Sound();
    ASSERT_TRUE(found.records == RecordsOf(model));
    ASSERT_TRUE(Walk(file) == RecordsOf(model));
    ASSERT_EQ(Count(file), model.size());
    Open();
    // How many free pages are left behind these when two made the file grow is a matter of form.
    See(Image().substr(0, found.endOfUse * PageBytes));
    other = OpenAt(path);
  }

  void RunScript() {
    for (int batch = 0; batch < 6; ++batch) {
      // Grow, stay, shrink in turn.
      growth = batch % 3 == 0 ? 50 : batch % 3 == 1 ? 30 : 10;
      for (int step = 0; step < GetParam().steps; ++step) {
        Step();
        ASSERT_FALSE(HasFailure()) << "batch " << batch << ", step " << step;
      }
      Compare();
      ASSERT_FALSE(HasFailure()) << "batch " << batch;
    }
    while (!model.empty()) {
      ASSERT_EQ(Said(Erase(file, model.begin()->first)), "0");
      model.erase(model.begin());
    }
    Compare();
    ASSERT_EQ(Header16(12), 32568U) << "all pages are free again";
  }

  KEYDESCR kd = GetParam().kd;
  Model model{[this](const Bytes& a, const Bytes& b) { return image::Compare(kd, a, b) < 0; }};
  std::mt19937 random;
  unsigned growth = 0;
  std::optional<Bytes> cursor;  // the key of the record at the file's cursor, where it is known
  std::optional<UdbPosition> kept;
  Bytes keptKey;
  int other = -1;  // the same file once more
  util::Md5 seen;
};

TEST_P(ModelTest, StoreAndOrderedMapStayEqualAndTheBytesTheSameInEveryForm) {
  for (const char* const form : {"plain", "mapped", "shared"}) {
    SCOPED_TRACE(form);
    if (form[0] == 's' && GetParam().sizes != Sizes::Mixed) continue;  // locks take their time
    Use(form[0] == 'p' ? store::FileForm::Plain : store::FileForm::Mapped);
    Create(kd);
    if (form[0] == 's') {
      std::filesystem::permissions(path, std::filesystem::perms(0666));
      Open();
      ASSERT_FALSE(udbEntry(file).OnlyOursToChange());
    }
    other = OpenAt(path);
    random.seed(1);
    model.clear();
    kept.reset();
    seen = {};
    RunScript();
    ASSERT_FALSE(HasFailure());
    ASSERT_EQ(Digest(), GetParam().digest);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Store, ModelTest,
    ::testing::Values(
        Script{"IntegersTiny", {0, 4, 0}, Sizes::Tiny, 3000, 2500, 701255328},
        Script{"IntegersBehindTwoBytesMixed", {0, 4, 2}, Sizes::Mixed, 800, 800, 3896867159},
        Script{"FixedKind1LongKeys", {1, 127, 0}, Sizes::Tiny, 2000, 2000, 3841262071},
        Script{"FixedKind3AroundInlineLimit", {3, 9, 5}, Sizes::AroundInline, 600, 800, 204162108},
        Script{"FixedKind1AroundPages", {1, 6, 0}, Sizes::AroundPages, 300, 500, 2000592997},
        Script{"ZeroTerminatedTiny", {2, 0, 0}, Sizes::Tiny, 3000, 2500, 1436068850},
        Script{"WordsAroundInlineLimit", {4, ' ', 0}, Sizes::AroundInline, 600, 800, 1806311304},
        Script{"WordsBehind39BytesMixed", {4, ' ', 39}, Sizes::Mixed, 1000, 1000, 3383668034},
        Script{"LinesHuge", {4, 10, 6}, Sizes::Huge, 150, 200, 755321950},
        Script{"HighStopSymbolTiny", {2, 0xFF, 1}, Sizes::Tiny, 2000, 2000, 4262753505},
        Script{"KeysThatLieInRunsOnly", {4, '|', 2041}, Sizes::Tiny, 200, 400, 3792031405}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
