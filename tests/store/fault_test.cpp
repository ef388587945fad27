// Every call that the engine makes on its host is made to go wrong once, the first, the second, …
// the last of a script, in every way. Whatever it was, the answers are those of the interface, no
// acknowledged record is lost, none that was refused is there, and the file is in order but for
// space that may be lost.
#include <map>
#include <sstream>

#include "store/undo.h"
#include "support/storecalls.h"

namespace {

struct Step {
  std::string verb;
  Bytes key;
  std::size_t length = 0;
};

// Splits of leaves and of the root, runs that come, go, grow and are taken over, leaves that are
// freed, a root that is dissolved, and all that only reads.
const char script[] =
    "insert m 1500 insert c 1500 insert t 1500 insert x 9000 insert e 1500 "
    "insert p 1200 "
    "reopen - 0 update x 5000 update c 4000 update m 60 walk - 0 insert q 1900 insert m 10 "
    "update x 30 position p 0 erase c 0 erase e 0 erase e 0 update zz 5 erase-first - 0 erase q 0 "
    "insert b 2030 upgrade - 0 erase t 0 erase p 0 walk - 0 erase b 0 erase x 0 erase m 0 erase "
    "long 0 "
    "walk - 0 insert n 3000";

using Model = std::map<Bytes, Bytes>;

class FaultTest : public StoreTest {
 protected:
  int Run(const Step& step, const Bytes& record, std::vector<Bytes>& read) {
    const Bytes key = step.key + ' ';
    Bytes got;
    if (step.verb == "insert") return Insert(file, record);
    if (step.verb == "update") return Update(file, key, record);
    if (step.verb == "erase") return Erase(file, key);
    if (step.verb == "upgrade") return udbUpgrade(file);
    if (step.verb == "reopen") {
      if (udbClose(file) != 0) return -1;
      return (file = udbOpen(path.c_str(), 2, failure)) >= 0 ? 0 : -1;
    }
    if (step.verb == "position") {
      UdbPosition position;
      const int answer = Find(file, key);
      if (answer != 0) return answer;
      if (udbGetPosition(file, position, got) != 0 || udbRewind(file) != 0) return -1;
      return udbSetPosition(file, position, AsKey(got));
    }
    if (udbRewind(file) != 0) return -1;
    int answer = GetNext(file, got);
    if (step.verb == "erase-first") return answer != 0 ? answer : udbEraseCurrent(file);
    for (; answer == 0; answer = GetNext(file, got)) read.push_back(got);
    return answer;
  }

  // What the script's step answers on the model, which it changes.
  static int Apply(Model& model, const Step& step, const Bytes& record, std::vector<Bytes>& read) {
    const auto at = step.verb == "erase-first" ? model.begin() : model.find(step.key + ' ');
    const bool there = at != model.end();
    if (step.verb == "walk") read = RecordsOf(model);
    if (step.verb == "update" && there) at->second = record;
    if (step.verb.starts_with("erase") && there) model.erase(at);
    if (step.verb == "insert") return model.emplace(step.key + ' ', record).second ? 0 : 1;
    if (step.verb == "upgrade" || step.verb == "reopen") return 0;
    return there ? 0 : 1;
  }

  void ExpectModel(const Model& model, bool leaksAllowed) {
    EXPECT_EQ(Count(file), model.size());
    EXPECT_EQ(Walk(file).size(), model.size());
    EXPECT_TRUE(Sound(leaksAllowed).records == RecordsOf(model));
  }

  // Starts anew after the fault. `next` is what the model would be, had the step been done.
  void Recover(const Step& step, bool crashed, Model& model, const Model& next) {
    host.Heal();
    if (!crashed && step.verb != "reopen") return;
    CloseAll();
    host.Restart();
    Open();
    // Whoever comes next finds the operation undone; or done, if it died behind its last write.
    if (image::Examine(Image()).records == RecordsOf(next)) model = next;
  }

  // Runs the script with the fault at the `nth` call. False when it had fewer calls.
  bool RunScript(int nth, Fault fault) {
    const bool crashes = fault >= Fault::Crash;
    Model model;
    Create();
    host.FailCall(nth, fault);
    unsigned seed = 0;
    bool over = false;  // the fault has been met, and a new start made
    // Where it is mapped, a file so long that it grows by more than it needs.
    std::istringstream steps((host.givesViews ? "insert long 260000 " : "") + std::string(script));
    for (Step step; steps >> step.verb >> step.key >> step.length;) {
      const Bytes record = Record(step.key, step.length, ++seed);
      SCOPED_TRACE("step " + std::to_string(seed) + ", struck: " + host.Struck());
      Model next = model;
      std::vector<Bytes> read;
      std::vector<Bytes> expected;
      const int right = Apply(next, step, record, expected);
      const int answer = Run(step, record, read);
      const bool struck = !over && !host.Struck().empty();
      EXPECT_TRUE(answer == right || (struck && answer == -1)) << Said(answer);
      if (answer == right) {
        EXPECT_TRUE(read == expected);
        model = next;
      }
      EXPECT_EQ(host.LocksHeld(), 0);
      if (!struck) continue;
      over = true;
      // Asking for a position sets no code.
      const bool silent = step.verb == "reopen" || step.verb == "position";
      if (answer == -1 && !silent && !crashes) {
        EXPECT_EQ(ErrorText(file), host.Struck() == "lock" ? "TIMEOUT" : "SYSTEM ERROR");
      }
      Recover(step, crashes, model, next);
      ExpectModel(model, true);
      if (HasFailure()) return true;
    }
    host.Heal();
    ExpectModel(model, over);
    return over;
  }
};

// Read and written; looked at in place; of several users, who have no memory in common.
enum class Way { Plain, InPlace, Shared };
using Form = std::pair<Fault, Way>;
class EveryCall : public FaultTest, public ::testing::WithParamInterface<Form> {};

TEST_P(EveryCall, GoesWrongOnceAndNothingAcknowledgedIsLost) {
  host.givesViews = GetParam().second == Way::InPlace;
  if (GetParam().second == Way::Shared) host.company = platform::Company::Writers;
  int nth = 1;
  while (RunScript(nth, GetParam().first)) {
    ASSERT_FALSE(HasFailure()) << "call " << nth;
    ++nth;
  }
  ASSERT_FALSE(HasFailure());
  EXPECT_GT(nth, 200) << "calls in the script";
}

std::string NameOf(const ::testing::TestParamInfo<Form>& test) {
  static const char* const names[] = {
      "", "Fails", "IsCutShort", "IsTheLastThatWorks", "Kills", "KillsBehindItself"};
  static const char* const ways[] = {"", "InPlace", "Shared"};
  return std::string(names[static_cast<int>(test.param.first)]) +
         ways[static_cast<int>(test.param.second)];
}

INSTANTIATE_TEST_SUITE_P(
    Store, EveryCall,
    ::testing::Values(Form{Fault::Fail, Way::Plain}, Form{Fault::Short, Way::Plain},
                      Form{Fault::Broken, Way::Plain}, Form{Fault::Crash, Way::Plain},
                      Form{Fault::CrashBehind, Way::Plain}, Form{Fault::Fail, Way::InPlace},
                      Form{Fault::Short, Way::InPlace}, Form{Fault::CrashBehind, Way::InPlace},
                      Form{Fault::Crash, Way::InPlace}, Form{Fault::Fail, Way::Shared},
                      Form{Fault::Short, Way::Shared}, Form{Fault::Broken, Way::Shared},
                      Form{Fault::Crash, Way::Shared}, Form{Fault::CrashBehind, Way::Shared}),
    NameOf);

// Two faults: the process dies in an update, and the one that is to take the update back meets a
// fault of its own, at each of its calls. Nothing is lost as long as somebody comes in the end.
TEST_F(FaultTest, TakingBackAfterACrashMayFailAndIsDoneByTheNext) {
  Model model;
  for (const char* key : {"a", "b", "c", "d"}) model[Bytes(key) + ' '] = Record(key, 1000);
  int crashes = 0;
  // False when the insertion, which splits a leaf, has fewer calls.
  const auto crash = [&](int nth) {
    Create();
    for (const auto& [key, record] : model) Fill({record});
    host.FailCall(nth, Fault::Crash);
    Insert(file, Record("bb", 1200));
    CloseAll();
    host.Restart();
    return !host.Struck().empty();
  };
  for (int crashAt = 1; crash(crashAt); ++crashAt) {
    if (host.Struck() != "write") continue;
    ++crashes;
    for (const Fault second : {Fault::Fail, Fault::Crash}) {
      for (int failAt = 1; failAt < 40; ++failAt) {
        SCOPED_TRACE(std::to_string(crashAt) + ", then " + std::to_string(failAt));
        crash(crashAt);
        host.FailCall(failAt, second);
        udbOpen(path.c_str(), 2, failure);
        CloseAll();
        host.Restart();
        const bool struck = !host.Struck().empty();
        Open();
        ExpectModel(model, false);
        ASSERT_FALSE(HasFailure());
        if (!struck) break;
      }
    }
  }
  EXPECT_GT(crashes, 3);
}

struct Alone : MemoryHost {
  std::byte* LockedMemory(unsigned, std::size_t) override { return nullptr; }
  std::byte* OpenMemory() override { return counts ? MemoryHost::OpenMemory() : nullptr; }
  bool counts = false;
};

// What cannot be put back waits in the process' own memory, and is not lost there while the process
// works in a file of several users. Others, who may have ended the change meanwhile, are told of
// every page then: even one that was free before may be known to them as one of the tree.
TEST_F(FaultTest, WorkInASharedFileForgetsNoUpdateThatIsStillToBeTakenBack) {
  Alone alone;
  alone.counts = true;
  store::SetHost(&alone);
  const auto open = [&](const char* where, platform::Company company) {
    alone.company = company;
    return udbCreate(where, Words, failure);
  };
  const int shared = open("/shared", platform::Company::Writers);
  const int one = open("/one", platform::Company::Own);
  std::vector<Bytes> records;
  for (const char* key : {"a", "b", "d"}) records.push_back(Record(key, 1000));
  for (const Bytes& record : records) ASSERT_EQ(Insert(one, record), 0);
  const Bytes before = alone.Bytes("/one");
  auto* const count = store::ChangeCount::Of(alone, {7, alone.File("/one").index});
  int halfDone = 0;
  for (int nth = 1;; ++nth) {
    alone.FailCall(nth, Fault::Broken);
    const int answer = Insert(one, Record("c", 1900));
    alone.Heal();
    if (answer == 0) break;
    const bool isHalfDone = alone.Bytes("/one") != before;
    halfDone += isHalfDone ? 1 : 0;
    count->EndAll();
    const std::uint64_t version = count->VersionOf(99);
    EXPECT_EQ(Insert(shared, Record("x", 10, static_cast<unsigned>(nth))), nth == 1 ? 0 : 1);
    ASSERT_TRUE(Walk(one) == records) << "broken from call " << nth;
    EXPECT_TRUE(!isHalfDone || count->VersionOf(99) != version) << nth;
    ASSERT_TRUE(image::Examine(alone.Bytes("/one")).records == records);
  }
  EXPECT_GT(halfDone, 1);
  udbInit();
  store::SetHost(&host);
}

// Without memory in common nobody tells a walk that another process has changed the file: it must
// see for itself that the entries lie elsewhere.
TEST_F(FaultTest, WalkWithoutSharedMemorySeesWhatAnotherProcessMoved) {
  Alone alone;
  store::SetHost(&alone);
  std::string words;
  const int one = udbCreate("/one", Words, words);
  const int two = udbCreate("/two", Words, words);
  for (const int n : {one, two}) {
    for (const char* key : {"b", "d", "f"}) ASSERT_EQ(Insert(n, Record(key, 40)), 0);
  }
  Bytes record;
  ASSERT_EQ(Get(two, "b ", record), 0);
  ASSERT_EQ(Get(two, "d ", record), 0);
  ASSERT_EQ(Erase(one, "b "), 0);
  ASSERT_EQ(Insert(one, Record("a", 20)), 0);
  ASSERT_EQ(Get(two, "d ", record), 0);
  alone.Bytes("/two") = alone.Bytes("/one");
  EXPECT_EQ(GetNext(two, record), 0) << ErrorText(two);
  EXPECT_EQ(record, Record("f", 40));
  udbInit();
  store::SetHost(&host);
}

// A place that is kept twice within an update comes back as it was before the first time.
TEST_F(FaultTest, OldestKeptBytesOfAPlaceWin) {
  host.Put(path, Bytes(2 * PageBytes, 'a'));
  ASSERT_TRUE(host.Lock());
  store::UndoLog undo;
  undo.Attach(host);
  int error = 0;
  const auto opened = host.Open(path, platform::OpenMode::ReadWrite, platform::Sharing::All, error);
  ASSERT_TRUE(undo.Begin({path, {}}, store::Page{}));
  for (const char* bytes : {"first", "again"}) {
    EXPECT_TRUE(undo.Keep(*opened, 5000, 5));
    EXPECT_TRUE(opened->Write(5000, bytes, 5));
  }
  EXPECT_TRUE(undo.PutBack(*opened));
  EXPECT_EQ(Image(), Bytes(2 * PageBytes, 'a'));
  undo.Drop();
  host.Unlock();
}

}  // namespace
