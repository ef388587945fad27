// Writers that change one file without a pause are killed at random moments, while readers read it
// all along. Every state of a record follows from its key and version alone, and what has begun and
// what was acknowledged stands in memory that all of them share. So whoever looks at a record knows
// whether it is whole, and whether it may be there just then; and behind each kill the file must be
// sound and hold exactly what was acknowledged, the killed writer's last operation done or undone
// whole.
//
// KVORLIB_KILLS in the environment says how many writers are killed (./dev soak).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <random>

#include "support/privatemutex.h"
#include "support/storecalls.h"
#include "support/tempfolder.h"

namespace {

constexpr unsigned Keys = 240;
constexpr unsigned MostWriters = 3;
constexpr unsigned ReadsOnly = MostWriters;
constexpr unsigned MendsToo = MostWriters + 1;
constexpr uid_t Nobody = 65534;

// A version's record; empty: the key is absent then.
std::string StateOf(unsigned key, unsigned version) {
  std::uint64_t dice = (std::uint64_t{key} << 32 | version) * 0x9E3779B97F4A7C15U;
  dice ^= dice >> 29;
  const std::size_t kind = dice % 16;
  if (version == 0 || kind < 4) return {};
  const std::size_t length = kind < 9    ? 40 + key % 8 * 100  // the same again and again
                             : kind < 13 ? 40 + dice / 16 % 900
                             : kind < 15 ? 2030 + dice / 16 % 6000
                                         : 8000 + dice / 16 % 30000;
  char head[32];
  const int n = std::snprintf(head, sizeof head, "%u %u.", 10000 + key, version);
  std::string record(length, '\0');
  record.replace(0, static_cast<std::size_t>(n), head, static_cast<std::size_t>(n));
  for (std::size_t at = 32; at + sizeof dice <= length; at += sizeof dice) {
    dice = dice * 6364136223846793005U + 1442695040888963407U;
    std::memcpy(record.data() + at, &dice, sizeof dice);
  }
  return record;
}
std::string KeyOf(unsigned key) { return std::to_string(10000 + key) + ' '; }
unsigned KeyIn(const std::string& record) {
  return static_cast<unsigned>(std::atoi(record.c_str())) - 10000;
}
unsigned VersionIn(const std::string& record) {
  const std::size_t at = record.find(' ');
  return at == std::string::npos ? 0 : static_cast<unsigned>(std::atoi(record.c_str() + at));
}

// What all processes know of each other.
struct Ledger {
  struct Row {
    std::atomic<std::uint32_t> begun;  // a version whose writing has begun
    std::atomic<std::uint32_t> done;   // the latest that was acknowledged
  };
  Row rows[Keys];
  std::atomic<bool> ending;
  std::atomic<std::uint32_t> ready;  // writers that ever came so far as to change something
  std::atomic<std::uint32_t> changes, gets, walks, walkedBehindOthers;

  // Whether the key may be absent, as far as these versions go.
  static bool MayBeAbsent(unsigned key, unsigned from, unsigned to) {
    while (from <= to && !StateOf(key, from).empty()) ++from;
    return from <= to;
  }
};

Ledger& TheLedger() {
  static Ledger* const ledger =
      new (mmap(nullptr, sizeof(Ledger), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
          Ledger{};
  return *ledger;
}

// A process of its own, from its start to its end, which comes by _exit.
class Process {
 public:
  Process(const PrivateMutex& mutex, const TempFolder& folder, unsigned number, unsigned seed)
      : id(number),
        path(folder.Path("shared.udb")),
        random(seed),
        host(mutex.MakeHost(id % 2 == 0 ? store::FileForm::Mapped : store::FileForm::Plain)) {
    store::SetHost(host.get());
    udbInit();
    Open();
  }

  // The keys of which `id` is the remainder are this writer's.
  [[noreturn]] void Write(unsigned writers) {
    ++ledger.ready;
    while (!ledger.ending) {
      const unsigned key = static_cast<unsigned>(random() % (Keys / writers)) * writers + id;
      Change(key);
      if (random() % 256 == 0) Reopen();
    }
    Leave();
  }

  [[noreturn]] void Read() {
    while (!ledger.ending) {
      for (int n = 0; n < 400; ++n) GetOne(static_cast<unsigned>(random() % Keys));
      WalkWhileOthersWait();
      WalkBehindOthers();
      if (random() % 8 == 0) Reopen();
    }
    Leave();
  }

 private:
  void Check(bool good, const char* what, unsigned key = 0) {
    if (good) return;
    std::fprintf(stderr, "process %u: %s (key %u): %s\n", id, what, 10000 + key,
                 ErrorText(file).c_str());
    ::_exit(1);
  }
  // One of the readers could not mend the file itself.
  void Open() {
    std::string failure;
    file = udbOpen(path.c_str(), id == ReadsOnly ? 0 : 2, failure);
    Check(file >= 0, failure.c_str());
  }
  void Reopen() {
    Check(udbClose(file) == 0, "close");
    Open();
  }
  [[noreturn]] void Leave() {
    Check(udbClose(file) == 0, "close");
    ::_exit(0);
  }

  void Change(unsigned key) {
    Ledger::Row& row = ledger.rows[key];
    const bool there = !StateOf(key, row.done).empty();
    unsigned next = std::max<unsigned>(row.begun, row.done) + 1;
    std::string record = StateOf(key, next);
    while (!there && record.empty()) record = StateOf(key, ++next);
    row.begun = next;
    const int answer = !there           ? Insert(file, record)
                       : record.empty() ? Erase(file, KeyOf(key))
                                        : Update(file, KeyOf(key), record);
    Check(answer == 0, "change", key);
    row.done = next;
    ++ledger.changes;
  }

  // A record that was met: whole, of a version not older than `from`, and nothing that was seen
  // before has gone again.
  void Met(unsigned key, unsigned from, const std::string& record) {
    const unsigned version = VersionIn(record);
    Check(record == StateOf(key, version), "half a record", key);
    Check(version >= std::max(from, seen[key]), "a record of the past", key);
    Check(version <= ledger.rows[key].begun, "a record of the future", key);
    seen[key] = version;
  }
  void Missed(unsigned key, unsigned from) {
    from = std::max(from, seen[key]);
    Check(Ledger::MayBeAbsent(key, from, ledger.rows[key].begun), "a record is missing", key);
  }

  void GetOne(unsigned key) {
    const unsigned from = ledger.rows[key].done;
    std::string record;
    const int answer = Get(file, KeyOf(key), record);
    Check(answer >= 0, "get", key);
    answer == 0 ? Met(key, from, record) : Missed(key, from);
    ++ledger.gets;
  }

  void WalkWhileOthersWait() {
    const UdbHold hold(file);
    Check(udbRewind(file) == 0, "rewind");
    unsigned next = 0;
    std::string record;
    int answer;
    while ((answer = GetNext(file, record)) == 0) {
      const unsigned key = KeyIn(record);
      Check(key >= next && key < Keys, "order", key);
      for (; next < key; ++next) Missed(next, ledger.rows[next].done);
      Met(next++, ledger.rows[key].done, record);
    }
    Check(answer == 1, "walk");
    for (; next < Keys; ++next) Missed(next, ledger.rows[next].done);
    ++ledger.walks;
  }

  // As a cursor of the maps does it: others work between any two steps.
  void WalkBehindOthers() {
    UdbPosition at;
    std::string keyText, record;
    for (unsigned next = 0;; ++next) {
      const UdbHold hold(file);
      const auto* const text = reinterpret_cast<const unsigned char*>(keyText.data());
      Check(
          next == 0 ? udbRewind(file) == 0 : udbSetPosition(file, at, {text, keyText.size()}) >= 0,
          "position");
      const int answer = GetNext(file, record);
      Check(answer >= 0, "step");
      if (answer == 1) break;
      const unsigned key = KeyIn(record);
      Check(key >= next && key < Keys, "order behind others", key);
      next = key;
      Met(key, ledger.rows[key].done, record);
      Check(udbGetPosition(file, at, keyText) == 0, "own position");
    }
    ++ledger.walkedBehindOthers;
  }

  unsigned id;
  std::string path;
  std::mt19937 random;
  std::unique_ptr<store::Host> host;
  Ledger& ledger = TheLedger();
  int file = -1;
  unsigned seen[Keys] = {};
};

struct Crowd {
  unsigned writers;
  bool ofSeveralUsers;  // each process has its own mutex, and every other one is another user's
};

class KillsTest : public ::testing::TestWithParam<Crowd> {
 protected:
  ~KillsTest() override {
    for (const pid_t pid : pids) {
      if (pid > 0 && ::kill(pid, SIGKILL) == 0) ::waitpid(pid, nullptr, 0);
    }
  }

  // No store is open here when a process is started: what it inherits is nobody's.
  void Start(unsigned id) {
    const auto seed = static_cast<unsigned>(random());
    pids[id] = ::fork();
    ASSERT_GE(pids[id], 0);
    if (pids[id] != 0) return;
    if (ofSeveralUsers && id % 2 == 1 && ::getuid() == 0 && ::setuid(Nobody) != 0) ::_exit(1);
    Process process(mutexes[ofSeveralUsers ? id : 0], folder, id, seed);
    id < MostWriters ? process.Write(writers) : process.Read();
  }

  void Kill(unsigned id) {
    ASSERT_EQ(::kill(pids[id], SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(pids[id], &status, 0), pids[id]);
    pids[id] = 0;
    ASSERT_TRUE(WIFSIGNALED(status)) << "process " << id << " had ended by itself";
  }

  // Everybody is kept out meanwhile. Of the living writers' operations none goes on then, but one
  // may be done and not acknowledged yet.
  void FileIsSoundAndHoldsWhatWasAcknowledged(unsigned killed) {
    const struct File {
      ~File() { udbClose(number); }
      const int number;
    } file{udbOpen(path.c_str(), 2, failure)};
    ASSERT_GE(file.number, 0) << failure;
    auto hold = std::make_unique<UdbHold>(file.number);
    std::map<unsigned, std::string> found;
    for (const std::string& record : Walk(file.number)) found[KeyIn(record)] = record;
    const std::size_t held = found.size();
    for (unsigned key = 0; key < Keys; ++key) {
      Ledger::Row& row = TheLedger().rows[key];
      const bool undone = found[key] == StateOf(key, row.done);
      ASSERT_TRUE(undone || found[key] == StateOf(key, row.begun)) << 10000 + key;
      if (key % writers != killed || row.begun == row.done || counted[key] == row.begun) continue;
      counted[key] = row.begun;
      ++(undone ? undoneOnes : doneOnes);
      // A version that was undone never comes again; whoever saw it is found out.
      if (!undone) row.done = row.begun.load();
    }
    // The lock of such a file is not to be had twice: others who wait for it come in between.
    if (ofSeveralUsers) hold.reset();
    const StoreReport report = CheckStore(path);
    ASSERT_EQ(report.state, StoreState::Sound) << report.failure << Told(report.findings);
    ASSERT_EQ(report.leaks, 0U) << Told(report.findings);
    ASSERT_TRUE(!hold || report.records == held);
  }

  const TempFolder folder;
  const std::string path = folder.Path("shared.udb");
  std::array<PrivateMutex, MostWriters + 3> mutexes{PrivateMutex(),    PrivateMutex("b"),
                                                    PrivateMutex("c"), PrivateMutex("d"),
                                                    PrivateMutex("e"), PrivateMutex("f")};
  const unsigned writers = GetParam().writers;
  const bool ofSeveralUsers = GetParam().ofSeveralUsers;
  std::string failure;
  std::mt19937 random{writers};
  pid_t pids[MostWriters + 2] = {};
  std::array<unsigned, Keys> counted{};  // the latest version in doubt that was counted
  unsigned undoneOnes = 0;
  unsigned doneOnes = 0;
};

TEST_P(KillsTest, FileHoldsWhatWasAcknowledgedAndReadersNeverSeeHalfAnUpdate) {
  const char* const wanted = std::getenv("KVORLIB_KILLS");
  const unsigned kills = wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 150;
  const auto host = mutexes[ofSeveralUsers ? MostWriters + 2 : 0].MakeHost(store::FileForm::Plain);
  store::SetHost(host.get());
  udbInit();
  Ledger& ledger = *new (&TheLedger()) Ledger{};
  const int made = udbCreate(path.c_str(), Words, failure);
  ASSERT_GE(made, 0) << failure;
  ASSERT_EQ(udbClose(made), 0);
  if (ofSeveralUsers) {
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(folder.Path("").c_str(), 0755), 0);
  }

  for (unsigned id = 0; id < writers; ++id) Start(id);
  Start(ReadsOnly);
  Start(MendsToo);
  for (unsigned n = 0; n < kills && !HasFatalFailure(); ++n) {
    const unsigned id = static_cast<unsigned>(random() % writers);
    for (int tries = 0; ledger.ready < writers + n && tries < 20000; ++tries) ::usleep(500);
    ASSERT_GE(ledger.ready, writers + n) << "the writer did not come to writing";
    ::usleep(static_cast<useconds_t>(random() % 4000));
    Kill(id);
    // Now and then somebody else is the first to take the lock.
    if (random() % 2 == 0) ::usleep(static_cast<useconds_t>(random() % 500));
    if (!HasFatalFailure()) FileIsSoundAndHoldsWhatWasAcknowledged(id);
    if (!HasFatalFailure()) Start(id);
  }
  ::usleep(20000);
  ledger.ending = true;
  for (pid_t& pid : pids) {
    int status = 0;
    if (pid == 0) continue;
    EXPECT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "process " << &pid - pids;
    pid = 0;
  }
  if (!HasFailure()) FileIsSoundAndHoldsWhatWasAcknowledged(MostWriters);
  store::SetHost(nullptr);
  std::printf(
      "%u kills: %u operations undone, %u done unacknowledged; %u changes; %u gets, %u walks "
      "while others waited, %u behind others\n",
      kills, undoneOnes, doneOnes, ledger.changes.load(), ledger.gets.load(), ledger.walks.load(),
      ledger.walkedBehindOthers.load());
  EXPECT_GT(undoneOnes, kills / 50) << "too few kills in the midst of an operation";
  EXPECT_GT(ledger.gets, kills);
}

INSTANTIATE_TEST_SUITE_P(Store, KillsTest,
                         ::testing::Values(Crowd{1, false}, Crowd{3, false}, Crowd{1, true},
                                           Crowd{3, true}));

}  // namespace
