// An update is done one instruction at a time, and behind each of its stores to the file, or to the
// memory that outlives a process, a trial is made: as if the process had died there, another one
// looks what became of the file. It must find the state before the update or the one behind it,
// whole, and once the latter, always the latter. Then all is put back, and the update goes on.
#include <gtest/gtest.h>
#include <linux/futex.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <tuple>

#include "store/operations.h"
#include "support/privatemutex.h"
#include "support/stepper.h"
#include "support/storecalls.h"
#include "support/tempfolder.h"

namespace {

using Contents = std::map<std::string, std::string>;

struct Change {
  const char* what;
  std::vector<Bytes> before;         // the records, in the order of their insertion
  std::function<int(int file)> run;  // one operation on the open file
  std::function<void(Contents&)> meaning;
  std::function<void(int file)> prepare = [](int) {};  // what is done ahead of the steps
  bool recoveryToo = false;  // step through what follows a death in the midst of it, too
  unsigned depth = 0;        // of the tree behind it, where that is the point
};

std::string Name(int n) {
  const std::string digits = std::to_string(1000 + n);
  return digits + std::string(110, static_cast<char>('a' + n % 26));
}
Bytes Sized(int n, std::size_t length, unsigned seed = 1) { return Record(Name(n), length, seed); }
std::string KeyOf(const Bytes& record) { return record.substr(0, record.find(' ') + 1); }

std::vector<Bytes> Many(int count, std::size_t length, int step = 2) {
  std::vector<Bytes> records;
  records.reserve(static_cast<std::size_t>(count));
  for (int n = 0; n < count; ++n) records.push_back(Sized(n * step, length));
  return records;
}
std::vector<Bytes> operator+(std::vector<Bytes> some, const Bytes& one) {
  some.push_back(one);
  return some;
}

Change Inserting(const char* what, std::vector<Bytes> before, const Bytes& record) {
  return {what, std::move(before), [=](int file) { return Insert(file, record); },
          [=](Contents& all) { all[KeyOf(record)] = record; }};
}
Change Deepening(const char* what, std::vector<Bytes> before, const Bytes& record) {
  Change change = Inserting(what, std::move(before), record);
  change.depth = 2;
  return change;
}
Change Updating(const char* what, std::vector<Bytes> before, const Bytes& record) {
  return {what, std::move(before), [=](int file) { return Update(file, KeyOf(record), record); },
          [=](Contents& all) { all[KeyOf(record)] = record; }};
}
Change Erasing(const char* what, std::vector<Bytes> before, int n) {
  return {what, std::move(before), [=](int file) { return Erase(file, Name(n) + ' '); },
          [=](Contents& all) { all.erase(Name(n) + ' '); }};
}
// As one operation, into an empty file, once they have been made pages of.
Change LoadingAtOnce(const char* what, const std::vector<Bytes>& records) {
  const auto sorted = std::make_shared<std::optional<SortedLoad>>();
  const auto take = [=](int file) {
    sorted->emplace(udbEntry(file).path);
    for (const Bytes& record : records) (*sorted)->Add(AsKey(record));
  };
  const auto store = [=](int) { return (*sorted)->Finish().stored == records.size() ? 0 : -1; };
  const auto meaning = [=](Contents& all) {
    for (const Bytes& record : records) all[KeyOf(record)] = record;
  };
  return {what, {}, store, meaning, take};
}
// Where the latest insertion ended, without a descent.
Change Following(Change change) {
  change.prepare = [last = change.before.back()](int file) {
    Erase(file, KeyOf(last));
    Insert(file, last);
  };
  return change;
}
Change WithRecovery(Change change) {
  change.recoveryToo = true;
  return change;
}

Change WithClose(Change change) {
  change.run = [run = std::move(change.run)](int file) { return run(file) | udbClose(file); };
  return change;
}

// A leaf has two records of 1,400 bytes, an internal page some thirty keys.
std::vector<Change> Changes() {
  const std::vector<Bytes> leaf = Many(6, 300);
  const std::vector<Bytes> tree = Many(8, 1400);
  const Bytes big = Sized(5, 5000);  // longer ones only take more steps
  return {
      Inserting("first insertion", {}, Sized(1, 300)),
      Inserting("insertion in place", leaf, Sized(5, 300)),
      Inserting("insertion that splits the only leaf", Many(12, 300), Sized(9, 600)),
      WithRecovery(Inserting("insertion that splits a leaf amid others", tree, Sized(5, 1900))),
      WithRecovery(Deepening("split up to a new root", Many(34, 1400), Sized(68, 1400))),
      Following(Inserting("insertion behind the one before", tree, Sized(20, 600))),
      Following(Inserting("insertion behind the one before that splits", tree, Sized(20, 1900))),
      LoadingAtOnce("records loaded at once", Many(8, 1900) + Sized(90, 5000)),
      Erasing("erasure in place", leaf, 4),
      Erasing("erasure of the only record", {Sized(0, 300)}, 0),
      Erasing("erasure that frees a leaf amid others", Many(4, 1900) + Sized(10, 1900), 4),
      Erasing("erasure that dissolves the root", Many(3, 1900), 4),
      Updating("update in place", leaf, Sized(4, 300, 2)),
      Updating("update that splits", Many(12, 300), Sized(8, 1500, 2)),
      Inserting("insertion of an external record", leaf, big),
      Erasing("erasure of an external record", leaf + big, 5),
      WithRecovery(Updating("update of an external record", leaf + big, Sized(5, 7000, 2))),
      Updating("update that makes a record external", leaf, Sized(4, 3000, 2)),
      Updating("update that makes a record internal", leaf + big, Sized(5, 500, 2)),
      WithClose(
          Inserting("growth of a longer file, and its close", Many(8, 40000), Sized(5, 5000))),
  };
}

class StepsTest : public ::testing::TestWithParam<std::tuple<store::FileForm, std::size_t>> {
 protected:
  const store::FileForm form = std::get<0>(GetParam());

  void SetUp() override {
#ifdef KVORLIB_SANITIZED
    GTEST_SKIP() << "a sanitizer's own instructions would be stepped through for minutes";
#endif
    SteppedProcess probe([] { SteppedProcess::StandStill(); });
    if (!probe.IsWell() || !probe.Step()) GTEST_SKIP() << "ptrace is not permitted here";
    host = mutex.MakeHost(store::FileForm::Mapped);
    store::SetHost(host.get());
    udbInit();
    const UdbHold hold(-1);  // so that its memory is there
    SetScene();
    lock = WhereTheLockIs();
    ASSERT_NE(lock, 0U);
  }
  ~StepsTest() override {
    udbInit();
    store::SetHost(nullptr);
  }

  void SetScene() {
    std::vector<std::pair<std::string, std::size_t>> files;
    files.emplace_back(mutex.File().string(), std::size_t{256} << 20);
    if (std::filesystem::exists(path)) files.emplace_back(path, std::size_t{2} << 20);
    scene.emplace(files);
  }
  // The first word of the mutex' memory that names its holder.
  std::size_t WhereTheLockIs() {
    for (std::size_t at = 0; at < 4096; at += 4) {
      if ((scene->Word(at) & FUTEX_TID_MASK) == static_cast<std::uint32_t>(getpid())) return at;
    }
    return 0;
  }
  // As the system does it when a holder dies.
  void BuryHolder(pid_t pid) {
    std::uint32_t& word = scene->Word(lock);
    if ((word & FUTEX_TID_MASK) != static_cast<std::uint32_t>(pid)) return;
    word = (word & FUTEX_WAITERS) | FUTEX_OWNER_DIED;
  }

  int OpenIt(int flags = 2) {
    std::string failure;
    const int file = udbOpen(path.c_str(), flags, failure);
    EXPECT_GE(file, 0) << failure;
    return file;
  }

  void Make(const std::vector<Bytes>& records) {
    ::unlink(path.c_str());
    std::string failure;
    const int file = udbCreate(path.c_str(), Words, failure);
    ASSERT_GE(file, 0) << failure;
    for (const Bytes& record : records) ASSERT_EQ(Insert(file, record), 0) << ErrorText(file);
    ASSERT_EQ(udbClose(file), 0);
  }

  void StepThrough(const Change& change);
  void StepThroughRecovery(const Contents& expected);
  // Steps the process and makes a trial behind each store.
  void Try(SteppedProcess& process, const std::function<void(int outcome)>& behindEach);
  int TryHere(pid_t dead);
  static constexpr int Fault = 9;
  enum class First { Get, Walk, Count };
  int LookAtAll(int file, First first = First::Get) const;
  void LookUpBeside(int outcome);
  void NoVersionIsOddAlone() const;
  [[noreturn]] void Witness(int trial);

  struct Open {
    explicit Open(int number) : file(number) {}
    ~Open() { udbClose(file); }
    int file;
  };

  const TempFolder folder;
  const std::string path = folder.Path("stepped.udb");
  PrivateMutex mutex;
  std::unique_ptr<store::Host> host;
  std::optional<Scene> scene;
  std::size_t lock = 0;
  Contents before;
  Contents after;
  int warm = -1;  // a file that was open, and read, before the update began
  int trials = 0;
  int lookups = 0;       // that needed no lock, while the update stood still
  bool seesNew = false;  // one of them met the state behind the update
};

// 0: as before; 1: as behind the update; anything else: a fault, which has been told. What it asks
// first is what meets the broken update.
int StepsTest::LookAtAll(int file, First first) const {
  const auto fault = [&](const char* what) {
    std::fprintf(stderr, "%s: %s\n", what, ErrorText(file).c_str());
    return Fault;
  };
  Bytes record;
  std::vector<Bytes> walked;
  const auto walk = [&] {
    int answer = udbRewind(file);
    while (answer == 0 && (answer = GetNext(file, record)) == 0) walked.push_back(record);
    return answer == 1;
  };
  const std::uint32_t count = first == First::Count ? Count(file) : 0;
  if (first == First::Walk && !walk()) return fault("walk");
  Contents found;
  for (const Contents* state : {&before, &after}) {
    for (const auto& wanted : *state) {
      const std::string& key = wanted.first;
      const int answer = Get(file, key, record);
      if (answer < 0) return fault("get");
      if (answer == 0) found[key] = record;
    }
  }
  if (first != First::Walk && !walk()) return fault("walk");
  if (found != before && found != after) return fault("neither state");
  if (walked != RecordsOf(found)) return fault("not what a walk finds");
  if (first == First::Count && count != found.size()) return fault("count");
  return found == after ? 1 : 0;
}

// Somebody looks up keys while the stepped process stands still amid its update, and lives: what
// needs no lock, and so does not wait for it, must be of one state, and of no state that could be
// undone.
void StepsTest::LookUpBeside(int outcome) {
  UdbFile& file = udbEntry(warm);
  DataTransfer data;
  bool old = false;
  for (const Contents* state : {&before, &after}) {
    for (const auto& wanted : *state) {
      const std::string& key = wanted.first;
      file.seen.calm = 0;  // as if the file were never at rest
      const int answer = store::QuickReads::Get(file, AsKey(key), &data);
      if (answer != store::QuickReads::Found && answer != store::QuickReads::Absent) continue;
      Bytes record;
      if (answer == store::QuickReads::Found) data.GetData(record);
      const auto fits = [&](const Contents& all) {
        const auto at = all.find(key);
        return (at == all.end() ? Bytes() : at->second) == record;
      };
      ASSERT_TRUE(fits(before) || fits(after)) << key;
      old = old || !fits(after);
      seesNew = seesNew || !fits(before);
      ++lookups;
    }
  }
  ASSERT_FALSE(seesNew && (old || outcome == 0)) << "what was seen is no more";
}

// Else the version would stay odd for good: whoever begins with an even count ends his own alone.
void StepsTest::NoVersionIsOddAlone() const {
  const store::ChangeCount* const count = udbEntry(warm).seen.count;
  if (count == nullptr || !store::ChangeCount::IsStable(count->Now())) return;
  for (std::uint16_t page = 0; page < store::MaxPages; ++page) {
    ASSERT_TRUE(store::ChangeCount::IsStable(count->VersionOf(page))) << page;
  }
}

// A process that was there before, and one that comes later, in one: each looks by its own handle.
void StepsTest::Witness(int trial) {
  ::alarm(60);
  const bool warmFirst = trial % 4 != 0;
  const bool goesOn = trial % 16 == 0;
  const int early = warmFirst ? LookAtAll(warm, First{trial % 3}) : 0;
  std::string failure;
  const int fresh = udbOpen(path.c_str(), 2, failure);
  const int outcome = fresh < 0 ? Fault : LookAtAll(fresh);
  const Bytes more = Sized(777, 1800);
  const bool done = !goesOn || (Insert(fresh, more) == 0 && Erase(fresh, KeyOf(more)) == 0);
  const bool agreed = (!warmFirst || early == outcome) && LookAtAll(warm) == outcome;
  const bool closed = udbClose(fresh) == 0;
  const StoreReport report = CheckStore(path);
  const bool sound = report.state == StoreState::Sound && report.leaks == 0;
  if (!done || !agreed || !closed || !sound) {
    std::fprintf(stderr, "opened: %s; goes on: %d; agreed: %d; closed: %d; check: %s%s\n",
                 failure.c_str(), done, agreed, closed, report.failure.c_str(),
                 Told(report.findings).c_str());
    ::_exit(Fault);
  }
  ::_exit(outcome);
}

// What would become of it all if this process were dead now. Nothing of the trial is left.
int StepsTest::TryHere(pid_t dead) {
  const auto now = scene->Take();
  BuryHolder(dead);
  ++trials;
  const pid_t witness = ::fork();
  if (witness == 0) Witness(trials);
  int status = 0;
  ::waitpid(witness, &status, 0);
  scene->PutBack(now);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}

// One instruction may copy a page byte by byte, with a step for each: of such a series some are
// tried, and the last.
void StepsTest::Try(SteppedProcess& process, const std::function<void(int)>& behindEach) {
  auto seen = scene->Take();
  int series = 0;
  bool owed = false;
  for (bool goesOn = process.IsWell(); goesOn;) {
    goesOn = process.Step();
    const bool changed = !scene->Is(seen);
    series = changed ? series + 1 : 0;
    if (changed) seen = scene->Take();
    const bool skipped = series > 16 && series % 64 != 0;
    if ((changed && !skipped) || (owed && !changed)) behindEach(TryHere(process.Id()));
    owed = skipped;
    if (changed) NoVersionIsOddAlone();
    if (HasFatalFailure()) return;
  }
  ASSERT_TRUE(process.IsWell()) << "the stepped process came to no good end";
}

void StepsTest::StepThroughRecovery(const Contents& expected) {
  SteppedProcess process([&] {
    const auto own = mutex.MakeHost(form);
    store::SetHost(own.get());
    udbInit();
    SteppedProcess::StandStill();
    std::string failure;
    const int file = udbOpen(path.c_str(), 2, failure);
    if (file < 0) ::_exit(1);
    SteppedProcess::StandStill();
  });
  const int wanted = expected == before ? 0 : 1;
  Try(process, [&](int outcome) { ASSERT_EQ(outcome, wanted) << "in the midst of the recovery"; });
}

void StepsTest::StepThrough(const Change& change) {
  SCOPED_TRACE(change.what);
  Make(change.before);
  before.clear();
  for (const Bytes& record : change.before) before[KeyOf(record)] = record;
  after = before;
  change.meaning(after);
  SetScene();
  SteppedProcess process([&] {
    const auto own = mutex.MakeHost(form);
    store::SetHost(own.get());
    udbInit();
    const int file = OpenIt();
    for (int n = 0; n < 30; ++n) Find(file, "none ");  // it is mapped by now
    // What updates leave for the next one is there: the undo record, and orders of pages.
    for (const Bytes& record : change.before) {
      if (record.size() < 2000) Update(file, KeyOf(record), record);
    }
    change.prepare(file);
    SteppedProcess::StandStill();
    if (change.run(file) != 0) ::_exit(1);
    SteppedProcess::StandStill();
  });
  warm = OpenIt();
  const Open closer(warm);
  for (int n = 0; n < 30; ++n) ASSERT_EQ(LookAtAll(warm), 0);  // it is mapped by now
  int points = 0;
  int last = 0;
  int recoveries = 0;
  const int trialsBefore = trials;
  Try(process, [&](int outcome) {
    ++points;
    ASSERT_TRUE(outcome == 0 || outcome == 1) << "behind store " << points;
    ASSERT_GE(outcome, last) << "undone although it was done, behind store " << points;
    last = outcome;
    LookUpBeside(outcome);
    if (!change.recoveryToo || points % 90 != 89) return;
    ++recoveries;
    const auto now = scene->Take();
    BuryHolder(process.Id());
    StepThroughRecovery(outcome == 0 ? before : after);
    scene->PutBack(now);
  });
  EXPECT_EQ(last, 1);
  EXPECT_GT(points, 20);
  EXPECT_GT(lookups, 0);
  std::printf("%-45s %5d points", change.what, points);
  if (recoveries != 0) {
    std::printf(", and %d in %d recoveries", trials - trialsBefore - points, recoveries);
  }
  std::printf("\n");
}

TEST_P(StepsTest, DeathBehindAnyStoreLeavesTheUpdateDoneOrUndoneWhole) {
  const Change change = Changes()[std::get<1>(GetParam())];
  StepThrough(change);
  if (change.depth != 0) {
    EXPECT_EQ(CheckStore(path).depth, change.depth);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Store, StepsTest,
    ::testing::Combine(::testing::Values(store::FileForm::Plain, store::FileForm::Mapped),
                       ::testing::Range(std::size_t{0}, Changes().size())),
    [](const auto& test) {
      std::string name = Changes()[std::get<1>(test.param)].what;
      std::erase_if(name, [](char c) { return std::isalpha(c) == 0; });
      return (std::get<0>(test.param) == store::FileForm::Mapped ? "Mapped_" : "Plain_") + name;
    });

}  // namespace
