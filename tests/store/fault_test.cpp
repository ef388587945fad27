// Every call that the engine makes on its host is made to go wrong once, the first, the second, …
// the last of a script, in every way. Whatever it was, the answers are those of the interface, no
// acknowledged record is lost, none that was refused is there, and the file is in order but for
// space that may be lost.
#include <map>

#include "support/storecalls.h"

namespace {

struct Step {
  enum Kind { Insert, Update, Erase, EraseFirst, Get, Find, Walk, Position, Reopen, Upgrade };
  Kind kind;
  Bytes key = {};
  std::size_t length = 0;
};

// Splits of leaves and of the root, runs that come, go, grow and are taken over, leaves that are
// freed, a root that is dissolved, and all that only reads.
const std::vector<Step> script = {{Step::Insert, "m", 1500}, {Step::Insert, "c", 1500},
                                  {Step::Insert, "t", 1500}, {Step::Insert, "x", 9000},
                                  {Step::Get, "x"},          {Step::Insert, "e", 1500},
                                  {Step::Insert, "p", 1200}, {Step::Reopen},
                                  {Step::Update, "x", 5000}, {Step::Update, "c", 4000},
                                  {Step::Update, "m", 60},   {Step::Walk},
                                  {Step::Insert, "q", 1900}, {Step::Insert, "m", 10},
                                  {Step::Update, "x", 30},   {Step::Find, "q"},
                                  {Step::Position, "p"},     {Step::Erase, "c"},
                                  {Step::Erase, "e"},        {Step::Erase, "e"},
                                  {Step::Update, "zz", 5},   {Step::EraseFirst},
                                  {Step::Erase, "q"},        {Step::Insert, "b", 2030},
                                  {Step::Upgrade},           {Step::Erase, "t"},
                                  {Step::Erase, "p"},        {Step::Walk},
                                  {Step::Erase, "b"},        {Step::Erase, "x"},
                                  {Step::Erase, "m"},        {Step::Walk},
                                  {Step::Insert, "n", 3000}};

using Model = std::map<Bytes, Bytes>;

class FaultTest : public StoreTest {
 protected:
  int Run(const Step& step, const Bytes& record, std::vector<Bytes>& read) {
    const Bytes key = step.key + ' ';
    Bytes got;
    UdbPosition position;
    int answer = 0;
    switch (step.kind) {
      case Step::Insert:
        return ::Insert(file, record);
      case Step::Update:
        return ::Update(file, key, record);
      case Step::Erase:
        return ::Erase(file, key);
      case Step::EraseFirst:
        if (udbRewind(file) != 0) return -1;
        answer = GetNext(file, got);
        return answer != 0 ? answer : udbEraseCurrent(file);
      case Step::Get:
        if ((answer = ::Get(file, key, got)) == 0) read.push_back(got);
        return answer;
      case Step::Find:
        return ::Find(file, key);
      case Step::Walk:
        if (udbRewind(file) != 0) return -1;
        while ((answer = GetNext(file, got)) == 0) read.push_back(got);
        return answer;
      case Step::Position:
        if ((answer = ::Find(file, key)) != 0) return answer;
        if (udbGetPosition(file, position, got) != 0 || udbRewind(file) != 0) return -1;
        return udbSetPosition(file, position, AsKey(got));
      case Step::Reopen:
        if (udbClose(file) != 0) return -1;
        return (file = udbOpen(path.c_str(), 2, failure)) >= 0 ? 0 : -1;
      default:
        return udbUpgrade(file);
    }
  }

  // What the script's step answers on the model, which it changes.
  static int Apply(Model& model, const Step& step, const Bytes& record, std::vector<Bytes>& read) {
    const Bytes key = step.key + ' ';
    const bool there = model.count(key) != 0;
    switch (step.kind) {
      case Step::Insert:
        return model.emplace(key, record).second ? 0 : 1;
      case Step::Update:
        if (there) model[key] = record;
        break;
      case Step::Erase:
        return model.erase(key) != 0 ? 0 : 1;
      case Step::EraseFirst:
        if (model.empty()) return 1;
        model.erase(model.begin());
        return 0;
      case Step::Get:
        if (there) read.push_back(model[key]);
        break;
      case Step::Walk:
        read = RecordsOf(model);
        return 1;
      case Step::Find:
      case Step::Position:
        break;
      default:
        return 0;
    }
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
    if (!crashed && step.kind != Step::Reopen) return;
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
    for (const Step& step : script) {
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
      const bool silent = step.kind == Step::Reopen || step.kind == Step::Position;
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

class EveryCall : public FaultTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(EveryCall, GoesWrongOnceAndNothingAcknowledgedIsLost) {
  int nth = 1;
  while (RunScript(nth, GetParam())) {
    ASSERT_FALSE(HasFailure()) << "call " << nth;
    ++nth;
  }
  ASSERT_FALSE(HasFailure());
  EXPECT_GT(nth, 200) << "calls in the script";
}

std::string NameOf(const ::testing::TestParamInfo<Fault>& test) {
  static const char* const names[] = {
      "", "Fails", "IsCutShort", "IsTheLastThatWorks", "Kills", "KillsBehindItself"};
  return names[static_cast<int>(test.param)];
}

INSTANTIATE_TEST_SUITE_P(Store, EveryCall,
                         ::testing::Values(Fault::Fail, Fault::Short, Fault::Broken, Fault::Crash,
                                           Fault::CrashBehind),
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

}  // namespace
