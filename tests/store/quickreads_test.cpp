// Reading without the lock, while somebody else changes the file at the worst moment.
#include <random>

#include "store/operations.h"
#include "support/storecalls.h"

namespace {

std::string KeyOf(unsigned n) { return "k" + std::to_string(1000 + n); }

class QuickReadsTest : public StoreTest {
 protected:
  static constexpr unsigned Keys = 300;

  // Some leaves of records that are there already, `file` and `writer` on them, pages in place.
  QuickReadsTest() {
    host.givesViews = true;
    Create();
    writer = OpenAt(path);
    for (unsigned n = 0; n < Keys; n += 2) Fill({Record(KeyOf(n), 200)});
  }
  // The answer of a get, with what it got.
  std::string Getting(unsigned n) {
    Bytes record;
    const std::string said = Said(Get(file, KeyOf(n) + ' ', record));
    return said + record;
  }
  std::string Right(unsigned n, unsigned seed) const {
    return n % 2 == 0 ? "0" + Record(KeyOf(n), 200, seed) : "1";
  }
  // Gets and walks all; how many calls that made on the host.
  int CallsForAll() {
    host.FailCall(0, Fault::None);
    for (unsigned n = 0; n < Keys; ++n) EXPECT_EQ(Getting(n), Right(n, 1));
    EXPECT_EQ(Walk(file).size(), Keys / 2);
    return host.Calls();
  }

  int writer = -1;
};

TEST_F(QuickReadsTest, LockIsTakenOnlyWhereWhatIsSeenWithoutItCannotBeBelieved) {
  CallsForAll();
  EXPECT_EQ(CallsForAll(), 0) << "all is known, and no lock is needed";
  ASSERT_EQ(Update(writer, KeyOf(0) + ' ', Record(KeyOf(0), 200)), 0);
  EXPECT_EQ(CallsForAll(), 0) << "and can be found out again";

  platform::FileIdentity identity{7, host.File(path).index};
  store::ChangeCount::Of(host, identity)->BeginChange();
  EXPECT_GT(CallsForAll(), 0) << "somebody died amid a change that was no change";
  EXPECT_EQ(CallsForAll(), 0);
}

// Each of them happens at a point where a reader finds out how far the file goes, pages of which he
// may have seen before.
TEST_F(QuickReadsTest, ChangeAmidAReadIsSeenWholeOrNotAtAll) {
  unsigned seed = 1;
  int calls = 0;
  bool inside = false;
  std::mt19937 random(3);
  host.amidReading = [&] {
    if (inside || ++calls % 3 != 0) return;
    inside = true;  // the writer reads, too
    const unsigned n = static_cast<unsigned>(random() % (Keys / 2)) * 2;
    ASSERT_EQ(Update(writer, KeyOf(n) + ' ', Record(KeyOf(n), 200, ++seed)), 0);
    // Splits leaves and frees them, so that pages change hands.
    const Bytes other = "m" + KeyOf(n);
    const int answer = Insert(writer, Record(other, 1500));
    ASSERT_TRUE(answer == 0 || Erase(writer, other + ' ') == 0);
    inside = false;
  };
  for (int i = 0; i < 3000; ++i) {
    const unsigned n = static_cast<unsigned>(random() % Keys);
    const std::string got = Getting(n);
    if (n % 2 != 0) {
      ASSERT_EQ(got, "1");
    } else {
      ASSERT_EQ(got.size(), 201U) << got.substr(0, 20);
      bool known = false;
      for (unsigned s = 1; s <= seed && !known; ++s) known = got == Right(n, s);
      ASSERT_TRUE(known) << "half a record";
    }
  }
  EXPECT_GT(seed, 500U);
  host.amidReading = nullptr;
  Sound();
}

TEST_F(QuickReadsTest, DirectoriesStayWithinTheirMemoryAndGoWithTheirFiles) {
  store::DirectoryMemory& memory = store::TheEngine().files.Directories();
  const std::size_t limit = memory.limit;
  CallsForAll();
  const std::size_t wanted = memory.Used();
  EXPECT_GT(wanted, 1000U);
  memory.limit = wanted / 2;
  for (int round = 0; round < 3; ++round) {
    CallsForAll();
    EXPECT_LE(memory.Used(), memory.limit + 4096);
  }
  memory.limit = limit;
  CloseAll();
  EXPECT_EQ(memory.Used(), 0U);
}

}  // namespace
