// What happens to files on disk while they are open, most of all while they are mapped.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "disktest.h"

namespace {

class FormsTest : public DiskTest {
 protected:
  FormsTest() {
    Use(store::FileForm::Mapped);
    Create();
  }
  // Records of this length, numbered from here on up to there.
  void FillFrom(int file, int from, int end, std::size_t length) {
    for (int n = from; n < end; ++n) {
      ASSERT_EQ(Insert(file, Record(std::to_string(n), length)), 0) << ErrorText(file);
    }
  }
};

// The owner maps the file and reads it without any lock, and changes it under the others' lock.
TEST_F(FormsTest, OwnerWaitsForOthersWhoReadItsFileOnlyToChangeIt) {
  CloseAll();
  std::filesystem::permissions(path, std::filesystem::perms(0644));
  Open();
  Fill({"a 1"});
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

TEST_F(FormsTest, ClearedFileIsOpenToThoseToWhomItWasOpen) {
  for (const auto form : {store::FileForm::Plain, store::FileForm::Mapped}) {
    Use(form);
    const gid_t group = ::geteuid() == 0 ? 1 : ::getegid();
    ASSERT_EQ(::chown(path.c_str(), static_cast<uid_t>(-1), group), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0664), 0);
    Open();
    Fill({"a 1"});
    EXPECT_EQ(Said(udbClear(file)), "0");
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0664U);
    EXPECT_EQ(status.st_gid, group);
    EXPECT_FALSE(udbEntry(file).OnlyOursToChange());
    Fill({"b 2"});
    EXPECT_EQ(Walk(file), std::vector<Bytes>{"b 2"});
    EXPECT_EQ(udbClear(file), 0);
  }
}

// One closes a file that it had made longer than it needs, and so cuts it; the other knows only how
// long it was.
TEST_F(FormsTest, FileCutAtTheCloseOfOneGrowsOnForTheOther) {
  const int other = OpenAt(path);
  FillFrom(file, 1000, 1240, 1900);
  EXPECT_EQ(Walk(other).size(), 240U);
  const auto whole = Image().size();
  ASSERT_EQ(udbClose(file), 0);
  EXPECT_LT(Image().size(), whole);
  FillFrom(other, 1240, 1300, 1900);
  EXPECT_EQ(Walk(other).size(), 300U);
  EXPECT_EQ(udbClose(other), 0);
  Sound();
}

TEST_F(FormsTest, RecordIsReadAsFarAsTheFileGoesAndNoFurther) {
  const std::size_t room = PageBytes - 8;
  for (const std::size_t length : {room - 64, room - 1, room, room + PageBytes}) {
    Create();
    const Bytes record = Record("a", length);
    Fill({Record("b", 200), record});
    DataTransfer carrier;
    for (int n = 0; n < 40; ++n) {  // by calls at first, then where it lies
      carrier.AllocData(20000);
      EXPECT_EQ(Said(udbGet(file, AsKey("a "), carrier)), "0");
      EXPECT_TRUE(carrier == DataTransfer(record.data(), static_cast<int>(length))) << length;
    }
  }
}

// Somebody cuts the file while it is mapped: the first operation that meets it says so, the ones
// behind it see the file as it is, and nobody dies.
TEST_F(FormsTest, FileCutWhileItIsMappedIsAnswered) {
  FillFrom(file, 1000, 1200, 400);
  const Bytes whole = Image();
  for (const std::uintmax_t pages : {5U, 1U, 0U}) {
    for (const bool update : {false, true}) {
      SCOPED_TRACE(std::to_string(pages) + (update ? ", update" : ", get"));
      std::ofstream(path, std::ios::binary) << whole;
      Bytes got;
      ASSERT_EQ(Said(Get(file, "1100 ", got)), "0");
      std::filesystem::resize_file(path, pages * PageBytes);
      const auto ask = [&] {
        return Said(update ? Update(file, "1100 ", Record("1100", 300)) : Get(file, "1100 ", got));
      };
      EXPECT_EQ(ask(), "SYSTEM ERROR");
      EXPECT_EQ(ask(), pages == 0 ? "SYSTEM ERROR" : "FILE CORRUPTED");
    }
  }
  std::ofstream(path, std::ios::binary) << whole;
  EXPECT_EQ(Walk(file).size(), 200U);
}

}  // namespace
