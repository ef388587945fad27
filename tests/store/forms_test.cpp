// Real files through the system's own host, in the plain form and in the mapped one.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "support/privatemutex.h"
#include "support/storecalls.h"
#include "support/tempfolder.h"

namespace {

using store::FileForm;

Bytes BytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

// The store on a host of this form, for as long as it lives.
class Formed {
 public:
  explicit Formed(FileForm form) : host(mutex.MakeHost(form)) {
    store::SetHost(host.get());
    udbInit();
  }
  ~Formed() {
    udbInit();
    store::SetHost(nullptr);
  }
  Formed(const Formed&) = delete;
  Formed& operator=(const Formed&) = delete;

 private:
  const PrivateMutex mutex;  // what others do is seen in the memory of the common one
  std::unique_ptr<store::Host> host;
};

// All answers of a random script on a new file at `path`, with its bytes now and then.
std::vector<Bytes> RunScript(FileForm form, const std::string& path, bool isShared = false) {
  const Formed formed(form);
  std::mt19937 random(7);
  std::vector<Bytes> answers;
  std::string failure;
  int file = udbCreate(path.c_str(), Words, failure);
  EXPECT_GE(file, 0) << failure;
  if (isShared) {
    EXPECT_EQ(udbClose(file), 0);
    std::filesystem::permissions(path, std::filesystem::perms(0666));
    file = udbOpen(path.c_str(), 2, failure);
    EXPECT_FALSE(udbEntry(file).OnlyOursToChange());
  }
  int other = udbOpen(path.c_str(), 2, failure);
  for (int step = 0; step < 6000; ++step) {
    const int writer = random() % 2 == 0 ? file : other;
    const std::string key = std::to_string(random() % 900);
    const std::size_t length = random() % 30 == 0 ? random() % 20000 : random() % 600;
    Bytes got;
    switch (step < 4500 ? random() % 6 : random() % 2 + 4) {
      case 0:
      case 1:
        answers.push_back(std::to_string(Insert(writer, Record(key, length, random() % 100))));
        break;
      case 2: {
        const Bytes record = Record(key, length, random() % 100);
        answers.push_back(std::to_string(Update(writer, key + ' ', record)));
        break;
      }
      case 3:
        answers.push_back(std::to_string(Get(file, key + ' ', got)));
        answers.push_back(got);
        break;
      case 4:  // a walk from wherever the cursor is
        for (auto n = random() % 12; n > 0; --n) {
          answers.push_back(std::to_string(GetNext(file, got)) + got);
        }
        if (UdbPosition at; udbGetPosition(file, at, got) == 0) {
          answers.push_back(std::to_string(at.page) + '+' + std::to_string(at.offset) + got);
        }
        break;
      default:
        answers.push_back(std::to_string(Erase(writer, key + ' ')));
    }
    if (step % 500 != 0) continue;
    EXPECT_EQ(udbClose(other), 0);
    EXPECT_EQ(udbClose(file), 0);  // closed, it is no longer than it needs
    file = udbOpen(path.c_str(), 2, failure);
    other = udbOpen(path.c_str(), 2, failure);
    answers.push_back(BytesOf(path));
    for (const Bytes& record : Walk(file)) answers.push_back(record);
  }
  EXPECT_EQ(udbClose(other), 0);
  EXPECT_EQ(udbClose(file), 0);
  answers.push_back(BytesOf(path));
  EXPECT_EQ(CheckStore(path).state, StoreState::Sound);
  return answers;
}

TEST(FormsTest, AllFormsGiveTheSameAnswersAndTheSameBytes) {
  const TempFolder folder;
  const std::vector<Bytes> plain = RunScript(FileForm::Plain, folder.Path("a"));
  EXPECT_TRUE(plain == RunScript(FileForm::Mapped, folder.Path("b")));
  EXPECT_TRUE(plain == RunScript(FileForm::Mapped, folder.Path("c"), true));
}

// The owner maps the file and reads it without any lock, and changes it under the others' lock.
TEST(FormsTest, OwnerWaitsForOthersWhoReadItsFileOnlyToChangeIt) {
  const TempFolder folder;
  const std::string path = folder.Path("read");
  const Formed formed(FileForm::Mapped);
  std::string failure;
  ASSERT_EQ(udbClose(udbCreate(path.c_str(), Words, failure)), 0) << failure;
  std::filesystem::permissions(path, std::filesystem::perms(0644));
  const int file = udbOpen(path.c_str(), 2, failure);
  ASSERT_EQ(Insert(file, "a 1"), 0);
  int error = 0;
  const auto other =
      platform::OpenFile(path, platform::OpenMode::ReadOnly, platform::Sharing::All, error);
  ASSERT_TRUE(other->Lock(platform::Hold::Looking, std::chrono::seconds(1)));
  std::atomic<bool> read = false;
  std::thread leaves([&] {
    while (!read) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    other->Unlock();
  });
  Bytes record;
  EXPECT_EQ(Get(file, "a ", record), 0);
  read = true;
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(Insert(file, "b 2"), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(50));
  leaves.join();
}

// One closes a file that it had made longer than it needs, and so cuts it; the other knows only how
// long it was.
TEST(FormsTest, FileCutAtTheCloseOfOneGrowsOnForTheOther) {
  const TempFolder folder;
  const std::string path = folder.Path("both");
  const Formed formed(FileForm::Mapped);
  std::string failure;
  const int one = udbCreate(path.c_str(), Words, failure);
  const int other = udbOpen(path.c_str(), 2, failure);
  int n = 1000;
  for (; n < 1240; ++n) ASSERT_EQ(Insert(one, Record(std::to_string(n), 1900)), 0);
  EXPECT_EQ(Walk(other).size(), 240U);
  const auto whole = std::filesystem::file_size(path);
  ASSERT_EQ(udbClose(one), 0);
  EXPECT_LT(std::filesystem::file_size(path), whole);
  for (; n < 1300; ++n) {
    ASSERT_EQ(Insert(other, Record(std::to_string(n), 1900)), 0) << ErrorText(other);
  }
  EXPECT_EQ(Walk(other).size(), 300U);
  EXPECT_EQ(udbClose(other), 0);
  EXPECT_EQ(CheckStore(path).state, StoreState::Sound);
}

// Somebody cuts the file while it is mapped: the first operation that meets it says so, the ones
// behind it see the file as it is, and nobody dies.
TEST(FormsTest, FileCutWhileItIsMappedIsAnswered) {
  const TempFolder folder;
  const std::string path = folder.Path("cut");
  const Formed formed(FileForm::Mapped);
  std::string failure;
  const int file = udbCreate(path.c_str(), Words, failure);
  ASSERT_GE(file, 0) << failure;
  for (int n = 1000; n < 1200; ++n) {
    ASSERT_EQ(Insert(file, Record(std::to_string(n), 400)), 0);
  }
  const Bytes whole = BytesOf(path);
  for (const std::uintmax_t pages : {5U, 1U, 0U}) {
    for (const bool update : {false, true}) {
      SCOPED_TRACE(std::to_string(pages) + (update ? ", update" : ", get"));
      std::ofstream(path, std::ios::binary) << whole;
      Bytes got;
      ASSERT_EQ(Get(file, "1100 ", got), 0) << ErrorText(file);
      std::filesystem::resize_file(path, pages * PageBytes);
      const auto ask = [&] {
        return update ? Update(file, "1100 ", Record("1100", 300)) : Get(file, "1100 ", got);
      };
      EXPECT_EQ(ask(), -1);
      EXPECT_EQ(ErrorText(file), "SYSTEM ERROR");
      EXPECT_EQ(ask(), -1);
      EXPECT_EQ(ErrorText(file), pages == 0 ? "SYSTEM ERROR" : "FILE CORRUPTED");
    }
  }
  std::ofstream(path, std::ios::binary) << whole;
  EXPECT_EQ(Walk(file).size(), 200U);
  EXPECT_EQ(udbClose(file), 0);
}

}  // namespace
