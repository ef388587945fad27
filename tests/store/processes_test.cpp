// Several processes insert, update, erase and walk one file at once, and now and then one of them
// is killed. Each writes down what it is about to do and what it was answered. In the end the file
// holds exactly what was acknowledged; a killed process' own last operation is done or undone
// whole. Every other worker has the file mapped.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <random>

#include "support/storecalls.h"
#include "support/tempfolder.h"

namespace {

using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t ending = 0;  // a worker is told to come to its end

// Sixteen bytes never lie on two pages, so that a kill does not cut a note while it is written.
struct alignas(16) Note {
  enum Kind : std::uint8_t { Insert, Update, Erase };
  std::uint8_t done = 0;  // 0: about to do it; 1: answered with success
  Kind kind = Insert;
  std::uint16_t number = 0;
  std::uint32_t length = 0;
  std::uint32_t seed = 0;
};

// What one worker has in the file, after its notes.
struct Holdings {
  std::map<std::string, std::string> records;
  std::optional<Note> inDoubt;
};

// The numbers of different workers stand side by side, so that all of them change every page.
std::string KeyOf(const Note& note, int worker) {
  return std::to_string(10000 + note.number) + "w" + std::to_string(worker);
}
void Apply(Holdings& holdings, const Note& note, int worker) {
  const std::string key = KeyOf(note, worker) + ' ';
  if (note.kind == Note::Erase) {
    holdings.records.erase(key);
  } else {
    holdings.records[key] = Record(KeyOf(note, worker), note.length, note.seed);
  }
}

Holdings ReadNotes(const std::string& path, int worker) {
  Holdings holdings;
  std::ifstream in(path, std::ios::binary);
  for (Note note; in.read(reinterpret_cast<char*>(&note), sizeof note);) {
    holdings.inDoubt.reset();
    if (note.done != 0) {
      Apply(holdings, note, worker);
    } else {
      holdings.inDoubt = note;
    }
  }
  return holdings;
}

// A process of its own, from its start to its end.
class Worker {
 public:
  Worker(const TempFolder& folder, int id, unsigned seed)
      : form(id % 2 == 0 ? store::FileForm::Mapped : store::FileForm::Plain),
        store(folder.Path("shared.udb")),
        log(folder.Path("notes" + std::to_string(id))),
        worker(id),
        random(seed) {}

  // Never comes back.
  [[noreturn]] void Run() {
    const auto host = store::MakeSystemHost(form);
    store::SetHost(host.get());
    udbInit();
    notes = ::open(log.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0600);
    Check(notes >= 0, "notes");
    Open();
    Settle();
    while (ending == 0) {
      const unsigned dice = static_cast<unsigned>(random() % 100);
      if (dice < 95) {
        Change();
      } else if (dice < 98) {
        WalkAll();
      } else {
        Check(udbClose(file) == 0, "close");
        Open();
      }
    }
    WalkAll();
    Check(udbClose(file) == 0, "close");
    ::_exit(0);
  }

 private:
  void Check(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "worker %d: %s: %s\n", worker, what, ErrorText(file).c_str());
    ::_exit(1);
  }

  void Open() {
    std::string failure;
    file = udbOpen(store.c_str(), 2, failure);
    Check(file >= 0, failure.c_str());
  }

  void Write(Note note, bool done) {
    note.done = done ? 1 : 0;
    Check(::write(notes, &note, sizeof note) == sizeof note, "note");
  }

  // The operation in which the one before was killed is done or undone; which of them, is seen.
  void Settle() {
    mine = ReadNotes(log, worker);
    if (!mine.inDoubt) return;
    const std::string key = KeyOf(*mine.inDoubt, worker) + ' ';
    std::string got;
    const int answer = Get(file, key, got);
    Holdings after = mine;
    Apply(after, *mine.inDoubt, worker);
    const auto holds = [&](const Holdings& h) {
      const auto at = h.records.find(key);
      return at == h.records.end() ? answer == 1 : answer == 0 && at->second == got;
    };
    const bool done = holds(after);
    Check(done || holds(mine), "neither done nor undone");
    if (done) Write(*mine.inDoubt, true);
    mine = done ? after : mine;
  }

  void Change() {
    Note note;
    note.number = static_cast<std::uint16_t>(random() % 60);
    note.seed = static_cast<std::uint32_t>(random());
    note.length =
        static_cast<std::uint32_t>(random() % 8 == 0 ? 1500 + random() % 20000 : random() % 900);
    const std::string key = KeyOf(note, worker) + ' ';
    const bool there = mine.records.count(key) != 0;
    note.kind = !there ? Note::Insert : random() % 2 == 0 ? Note::Update : Note::Erase;
    Write(note, false);
    const std::string record = Record(KeyOf(note, worker), note.length, note.seed);
    const int answer = note.kind == Note::Insert   ? Insert(file, record)
                       : note.kind == Note::Update ? Update(file, key, record)
                                                   : Erase(file, key);
    Check(answer == 0, "change");
    Write(note, true);
    Apply(mine, note, worker);
  }

  // While the others are kept out: its own records are all there, among others in order.
  void WalkAll() {
    const UdbHold hold;
    Check(udbRewind(file) == 0, "rewind");
    auto next = mine.records.begin();
    std::string last;
    std::string record;
    int answer;
    while ((answer = GetNext(file, record)) == 0) {
      Check(last < record.substr(0, record.find(' ')), "order");
      last = record.substr(0, record.find(' '));
      if (next == mine.records.end() || record != next->second) continue;
      ++next;
    }
    Check(answer == 1, "walk");
    Check(next == mine.records.end(), "own records are missing");
  }

  store::FileForm form;
  std::string store;
  std::string log;
  int worker;
  std::mt19937 random;
  int notes = -1;
  int file = -1;
  Holdings mine;
};

pid_t Start(const TempFolder& folder, int id, unsigned seed) {
  ::signal(SIGTERM, [](int) { ending = 1; });  // the worker listens from its start
  const pid_t pid = ::fork();
  if (pid == 0) Worker(folder, id, seed).Run();
  ::signal(SIGTERM, SIG_DFL);
  return pid;
}

bool EndsWell(pid_t pid) {
  int status = 0;
  ::kill(pid, SIGTERM);
  return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class ProcessesTest : public ::testing::TestWithParam<int> {};

// No store is opened here before the workers are started: what they inherit is nobody's.
TEST_P(ProcessesTest, FileHoldsExactlyWhatWasAcknowledgedThoughWorkersAreKilled) {
  const int workers = GetParam();
  const TempFolder folder;
  const std::string path = folder.Path("shared.udb");
  udbInit();
  std::string failure;
  int file = udbCreate(path.c_str(), Words, failure);
  ASSERT_GE(file, 0) << failure;
  ASSERT_EQ(udbClose(file), 0);

  std::mt19937 random(static_cast<unsigned>(workers));
  const auto until = Clock::now() + std::chrono::milliseconds(2200);
  std::vector<pid_t> pids;
  pids.reserve(static_cast<std::size_t>(workers));
  for (int id = 0; id < workers; ++id) {
    pids.push_back(Start(folder, id, static_cast<unsigned>(random())));
  }
  int kills = 0;
  while (kills < 12 || Clock::now() < until) {
    ::usleep(5000 + static_cast<useconds_t>(random() % 60000));
    const auto id = static_cast<std::size_t>(random() % static_cast<unsigned>(workers));
    ASSERT_EQ(::kill(pids[id], SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(pids[id], &status, 0), pids[id]);
    ASSERT_TRUE(WIFSIGNALED(status)) << "a worker had ended by itself";
    ++kills;
    pids[id] = Start(folder, static_cast<int>(id), static_cast<unsigned>(random()));
  }
  ::usleep(300000);
  for (const pid_t pid : pids) EXPECT_TRUE(EndsWell(pid));
  ASSERT_FALSE(HasFailure());

  std::map<std::string, std::string> expected;
  for (int id = 0; id < workers; ++id) {
    const Holdings holdings = ReadNotes(folder.Path("notes" + std::to_string(id)), id);
    EXPECT_FALSE(holdings.inDoubt);
    expected.insert(holdings.records.begin(), holdings.records.end());
  }
  file = udbOpen(path.c_str(), 2, failure);
  ASSERT_GE(file, 0) << failure;
  EXPECT_TRUE(Walk(file) == RecordsOf(expected));
  EXPECT_EQ(udbClose(file), 0);
  const StoreReport report = CheckStore(path);
  EXPECT_EQ(report.state, StoreState::Sound) << report.failure << Told(report.findings);
  EXPECT_EQ(report.leaks, 0U) << "what was interrupted is taken back whole";
}

INSTANTIATE_TEST_SUITE_P(Store, ProcessesTest, ::testing::Values(2, 4));

}  // namespace
