// Every call that the engine makes on its host is made to go wrong once, the first, the second, …
// the last of a script, in every way. Whatever it was, the answers are those of the interface, no
// acknowledged record is lost, none that was refused is there, and the file is in order but for
// space that may be lost.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kvorlib/storetools.h"
#include "support/storecalls.h"

namespace {

using image::Bytes;
using Fault = MemoryHost::Fault;

const char path[] = "/m/fault.udb";

struct Step {
  enum Kind {
    Insert,
    Update,
    Erase,
    EraseFirst,
    Get,
    Find,
    Walk,
    Position,
    Reopen,
    Clear,
    Upgrade
  };
  Kind kind;
  Bytes key;
  std::size_t length = 0;
};

// Splits of leaves and of the root, runs that come, go, grow and are taken over, leaves that are
// freed, a root that is dissolved, and all that only reads.
std::vector<Step> TheScript() {
  return {{Step::Insert, "m", 1500}, {Step::Insert, "c", 1500}, {Step::Insert, "t", 1500},
          {Step::Insert, "x", 9000}, {Step::Get, "x"},          {Step::Insert, "e", 1500},
          {Step::Insert, "p", 1200}, {Step::Reopen, ""},        {Step::Update, "x", 5000},
          {Step::Update, "c", 4000}, {Step::Update, "m", 60},   {Step::Walk, ""},
          {Step::Insert, "q", 1900}, {Step::Insert, "m", 10},   {Step::Update, "x", 30},
          {Step::Find, "q"},         {Step::Position, "p"},     {Step::Erase, "c"},
          {Step::Erase, "e"},        {Step::Erase, "e"},        {Step::Update, "zz", 5},
          {Step::EraseFirst, ""},    {Step::Erase, "q"},        {Step::Insert, "b", 2030},
          {Step::Upgrade, ""},       {Step::Erase, "t"},        {Step::Erase, "p"},
          {Step::Walk, ""},          {Step::Erase, "b"},        {Step::Erase, "x"},
          {Step::Erase, "m"},        {Step::Walk, ""},          {Step::Insert, "n", 3000}};
}

class FaultTest : public StoreTest {
 protected:
  using Model = std::map<Bytes, Bytes>;

  // The words that may stand behind -1 when a call of this kind went wrong.
  void ExpectWords(const std::string& words) {
    const bool lock = host.Struck() == "lock";
    EXPECT_EQ(words, lock ? "TIMEOUT" : "SYSTEM ERROR") << "after a " << host.Struck();
  }

  static int Run(int file, const Step& step, const Bytes& record, std::vector<Bytes>& read) {
    const Bytes key = step.key + ' ';
    Bytes got;
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
        answer = ::Get(file, key, got);
        if (answer == 0) read.push_back(got);
        return answer;
      case Step::Find:
        return ::Find(file, key);
      case Step::Walk:
        if (udbRewind(file) != 0) return -1;
        while ((answer = GetNext(file, got)) == 0) read.push_back(got);
        return answer;
      case Step::Position: {
        UdbPosition position;
        if ((answer = ::Find(file, key)) != 0) return answer;
        if (udbGetPosition(file, position, got) != 0 || udbRewind(file) != 0) return -1;
        return udbSetPosition(file, position, AsKey(got));
      }
      case Step::Upgrade:
        return udbUpgrade(file);
      default:
        return udbClear(file);
    }
  }

  // What the script's step answers on the model, which it changes.
  static int Apply(Model& model, const Step& step, const Bytes& record, std::vector<Bytes>& read) {
    const Bytes key = step.key + ' ';
    const bool there = model.count(key) != 0;
    switch (step.kind) {
      case Step::Insert:
        if (!there) model[key] = record;
        return there ? 1 : 0;
      case Step::Update:
        if (there) model[key] = record;
        return there ? 0 : 1;
      case Step::Erase:
        return model.erase(key) != 0 ? 0 : 1;
      case Step::EraseFirst:
        if (model.empty()) return 1;
        model.erase(model.begin());
        return 0;
      case Step::Get:
        if (there) read.push_back(model[key]);
        return there ? 0 : 1;
      case Step::Walk:
        for (const auto& [k, r] : model) read.push_back(r);
        return 1;
      case Step::Find:
      case Step::Position:
        return there ? 0 : 1;
      case Step::Clear:
        model.clear();
        return 0;
      default:
        return 0;
    }
  }

  void ExpectModel(const Model& model, bool leaksAllowed) {
    const image::Findings found = Sound(path, leaksAllowed);
    ASSERT_EQ(found.records.size(), model.size());
    auto next = model.begin();
    for (const auto& [key, record] : found.records) {
      ASSERT_EQ(key, next->first);
      ASSERT_TRUE(record == next++->second) << key;
    }
    const StoreReport report = CheckStore(path);
    ASSERT_NE(report.state, StoreState::Damaged) << report.findings.at(0).words;
    ASSERT_EQ(report.state, StoreState::Sound) << report.failure;
  }

  // Runs the script with the fault at the `nth` call. False when it had fewer calls.
  bool RunScript(int nth, Fault fault);

  bool Crashes(Fault fault) { return fault == Fault::Crash || fault == Fault::CrashBehind; }
};

bool FaultTest::RunScript(int nth, Fault fault) {
  CloseAll();
  host.Forget(path);
  Model model;
  int file = Create(path);
  host.FailCall(nth, fault);
  unsigned seed = 0;
  bool over = false;  // the fault has been met, and a new start made
  for (const Step& step : TheScript()) {
    const Bytes record = Record(step.key, step.length, ++seed);
    Model next = model;
    std::vector<Bytes> read;
    std::vector<Bytes> expected;
    int answer = 0;
    int right = 0;
    if (step.kind == Step::Reopen) {
      answer = udbClose(file);
      if (answer == 0) answer = (file = udbOpen(path, 2, failure)) >= 0 ? 0 : -1;
    } else {
      right = Apply(next, step, record, expected);
      answer = Run(file, step, record, read);
    }
    const bool struck = !over && !host.Struck().empty();
    EXPECT_TRUE(answer == right || (struck && answer == -1))
        << "step " << seed << " answers " << answer << ' ' << ErrorText(file);
    if (answer == right) {
      EXPECT_TRUE(read == expected) << "step " << seed;
      model = next;
    }
    EXPECT_EQ(host.LocksHeld(), 0);
    if (!struck) continue;
    over = true;
    SCOPED_TRACE("step " + std::to_string(seed) + ", a " + host.Struck());
    // Asking for a position sets no code.
    const bool silent = step.kind == Step::Reopen || step.kind == Step::Position;
    if (answer == -1 && !silent && !Crashes(fault)) ExpectWords(ErrorText(file));
    if (Crashes(fault)) {
      CloseAll();
      host.Restart();
    } else {
      host.Heal();
      if (step.kind == Step::Reopen) CloseAll();
    }
    if (Crashes(fault) || step.kind == Step::Reopen) {
      file = Open(path);
      // Whoever comes next finds the operation undone; or done, if it died behind its last write.
      if (answer == -1 && Count(file) != model.size()) model = next;
      if (answer == -1 && step.kind == Step::Update && !model.empty()) {
        Bytes got;
        EXPECT_NE(::Get(file, step.key + ' ', got), -1) << ErrorText(file);
        if (next.count(step.key + ' ') != 0 && got == next[step.key + ' ']) model = next;
      }
    }
    EXPECT_EQ(Count(file), model.size());
    EXPECT_EQ(Walk(file).size(), model.size());
    ExpectModel(model, true);
    if (HasFailure()) return true;
  }
  host.Heal();
  EXPECT_EQ(udbClose(file), 0);
  ExpectModel(model, over);
  return over;
}

class EveryCall : public FaultTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(EveryCall, GoesWrongOnceAndNothingAcknowledgedIsLost) {
  int nth = 1;
  while (RunScript(nth, GetParam()) && nth < 5000) {
    ASSERT_FALSE(HasFailure()) << "call " << nth;
    ++nth;
  }
  ASSERT_FALSE(HasFailure());
  EXPECT_GT(nth, 200) << "calls in the script";
}

std::string NameOf(const ::testing::TestParamInfo<Fault>& test) {
  static const char* const names[] = {"None",
                                      "Fails",
                                      "HasNoSpace",
                                      "IsCutShort",
                                      "IsTheLastThatWorks",
                                      "KillsTheProcess",
                                      "KillsBehindItself"};
  return names[static_cast<int>(test.param)];
}

INSTANTIATE_TEST_SUITE_P(Store, EveryCall,
                         ::testing::Values(Fault::Fail, Fault::NoSpace, Fault::Short, Fault::Broken,
                                           Fault::Crash, Fault::CrashBehind),
                         NameOf);

// Two faults: the process dies in an update, and the one that is to take the update back meets a
// fault of its own, at each of its calls. Nothing is lost as long as somebody comes in the end.
TEST_F(FaultTest, TakingBackAfterACrashMayFailAndIsDoneByTheNext) {
  const auto prepare = [this] {
    CloseAll();
    host.Forget(path);
    const int file = Create(path);
    for (const char* key : {"a", "b", "c", "d"}) EXPECT_EQ(Insert(file, Record(key, 1000)), 0);
    return file;
  };
  const Model model = {{"a ", Record("a", 1000)},
                       {"b ", Record("b", 1000)},
                       {"c ", Record("c", 1000)},
                       {"d ", Record("d", 1000)}};
  int crashes = 0;
  for (int crashAt = 1;; ++crashAt) {
    int file = prepare();
    host.FailCall(crashAt, Fault::Crash);
    const int answer = Insert(file, Record("bb", 1200));  // splits a leaf
    if (host.Struck().empty()) break;
    ASSERT_EQ(answer, -1);
    if (host.Struck() != "write") continue;
    ++crashes;
    for (const Fault second : {Fault::Fail, Fault::NoSpace, Fault::Crash}) {
      for (int failAt = 1; failAt < 40; ++failAt) {
        SCOPED_TRACE(std::to_string(crashAt) + ", then " + std::to_string(failAt));
        file = prepare();
        host.FailCall(crashAt, Fault::Crash);
        ASSERT_EQ(Insert(file, Record("bb", 1200)), -1);
        CloseAll();
        host.Restart();
        host.FailCall(failAt, second);
        file = udbOpen(path, 2, failure);
        CloseAll();
        host.Restart();
        const bool struck = !host.Struck().empty();
        file = Open(path);
        EXPECT_EQ(Count(file), 4U);
        ExpectModel(model, false);
        ASSERT_FALSE(HasFailure());
        if (!struck) break;
      }
    }
  }
  EXPECT_GT(crashes, 3);
}

TEST_F(FaultTest, ClearingThatFailsHalfWayLeavesAFileOrNone) {
  for (int nth = 1;; ++nth) {
    CloseAll();
    host.Forget(path);
    const int file = Create(path);
    EXPECT_EQ(Insert(file, "a 1"), 0);
    host.FailCall(nth, Fault::Fail);
    const int answer = udbClear(file);
    if (host.Struck().empty()) {
      EXPECT_EQ(answer, 0);
      break;
    }
    SCOPED_TRACE("call " + std::to_string(nth) + ", a " + host.Struck());
    EXPECT_EQ(host.LocksHeld(), 0);
    host.Heal();
    if (host.Exists(path)) {
      EXPECT_LE(Sound(path).records.size(), 1U);
    }
    if (answer == 0) {
      EXPECT_EQ(Insert(file, "b 2"), 0);
      continue;
    }
    const std::string words = ErrorText(file);
    EXPECT_TRUE(words == "WRONG FILE NUMBER" || words == "SYSTEM ERROR" || words == "TIMEOUT")
        << words;
    if (words != "WRONG FILE NUMBER") {
      EXPECT_EQ(Walk(file).size(), Count(file));
    }
    ASSERT_FALSE(HasFailure());
  }
}

}  // namespace
