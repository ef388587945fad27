// Files behind the seam: what may be opened, who may share it, and what positions mean.
#include "platform/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "platform/child.h"
#include "support/tempfolder.h"

namespace platform {
namespace {

struct Opened {
  std::unique_ptr<File> file;
  int error = 0;
};

Opened Open(const std::string& path, OpenMode mode, Sharing sharing = Sharing::All) {
  Opened result;
  result.file = OpenFile(path, mode, sharing, result.error);
  return result;
}

std::string Text(File& file, std::uint64_t offset, std::size_t n) {
  std::string text(n, '?');
  const std::ptrdiff_t got = file.Read(offset, text.data(), n);
  return got < 0 ? "failed" : text.substr(0, static_cast<std::size_t>(got));
}

TEST(File, ReadsAndWritesAtPositionsAndFillsGapsWithZeros) {
  const TempFolder folder;
  const std::string path = folder.Path("Словарь 🗄.dat");
  const auto file = Open(path, OpenMode::CreateNew).file;
  EXPECT_TRUE(file->Write(0, "abc", 3) && file->Write(5, "xyz", 3));
  EXPECT_EQ(Text(*file, 0, 8), std::string("abc\0\0xyz", 8));
  EXPECT_EQ(Text(*file, 6, 100), "yz");
  EXPECT_EQ(Text(*file, 100, 4), "");
  EXPECT_EQ(file->Size(), 8);
  EXPECT_TRUE(file->Truncate(2));
  EXPECT_EQ(Text(*file, 0, 8), "ab");
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);

  const auto reader = Open(path, OpenMode::ReadOnly).file;
  EXPECT_FALSE(reader->Write(0, "a", 1));
  EXPECT_EQ(reader->LastError(), EBADF);
  EXPECT_FALSE(reader->Truncate(0));
  EXPECT_EQ(reader->LastError(), EINVAL);

  const auto log = Open(path, OpenMode::CreateAppend).file;
  EXPECT_TRUE(log->Write(0, "cd", 2) && log->Write(0, "ef", 2));
  EXPECT_EQ(Text(*log, 0, 100), "abcdef");
}

TEST(File, OnlyRegularFilesAreOpenedAndNothingIsWaitedFor) {
  const TempFolder folder;
  ASSERT_EQ(mkdir(folder.Path("folder").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  const auto file = Open(folder.Path("file"), OpenMode::CreateNew).file;
  ASSERT_EQ(symlink("file", folder.Path("link").c_str()), 0);
  const struct {
    const char* name;
    OpenMode mode;
    int error;
  } cases[] = {{"folder", OpenMode::ReadOnly, EACCES},    {"folder", OpenMode::ReadWrite, EACCES},
               {"pipe", OpenMode::ReadOnly, EACCES},      {"pipe", OpenMode::ReadWrite, EACCES},
               {"missing", OpenMode::ReadWrite, ENOENT},  {"file/x", OpenMode::ReadOnly, ENOTDIR},
               {"no/where", OpenMode::CreateNew, ENOENT}, {"file", OpenMode::CreateNew, EEXIST}};
  for (const auto& c : cases) EXPECT_EQ(Open(folder.Path(c.name), c.mode).error, c.error) << c.name;

  const auto link = Open(folder.Path("link"), OpenMode::ReadWrite).file;
  const auto other = Open(folder.Path("other"), OpenMode::CreateAppend).file;
  FileIdentity id[3];
  ASSERT_TRUE(file->Identity(id[0]) && link->Identity(id[1]) && other->Identity(id[2]));
  EXPECT_TRUE(id[0] == id[1]);
  EXPECT_FALSE(id[0] == id[2]);
}

TEST(File, HoldersBearEachOtherOrNobodyAndKeepTheFileFromDeletion) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  auto first = Open(path, OpenMode::CreateNew);
  auto second = Open(path, OpenMode::ReadOnly);
  ASSERT_TRUE(first.file && second.file);
  EXPECT_EQ(Open(path, OpenMode::ReadWrite, Sharing::None).error, EACCES);
  first.file.reset();
  EXPECT_EQ(RemoveFile(path), EACCES) << "closing one descriptor must not drop the other's claim";
  second.file.reset();

  auto sole = Open(path, OpenMode::CreateAppend, Sharing::None);
  EXPECT_EQ(Open(path, OpenMode::ReadOnly).error, EACCES);
  EXPECT_EQ(Open(path, OpenMode::CreateAppend, Sharing::None).error, EACCES);
  EXPECT_EQ(RemoveFile(path), EACCES);
  sole.file.reset();

  Child child([&](const auto& say) {
    const auto held = Open(path, OpenMode::ReadWrite);
    say(held.file ? 'y' : 'n');
    pause();
  });
  ASSERT_EQ(child.Hear(), 'y');
  EXPECT_EQ(RemoveFile(path), EACCES);
  child.Kill();
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  EXPECT_EQ(RemoveFile(path), 0);
  EXPECT_EQ(RemoveFile(path), ENOENT);
  EXPECT_EQ(RemoveFile(folder.Path()), EACCES);
}

TEST(File, OwnerAndModeTellWhoElseUsesIt) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  const auto file = Open(path, OpenMode::CreateNew).file;
  const auto with = [&](mode_t mode) {
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
    return file->WhoElse();
  };
  EXPECT_EQ(with(0600), Company::Own);
  EXPECT_EQ(with(0644), Company::Readers);
  EXPECT_EQ(with(0640), Company::Readers);
  EXPECT_EQ(with(0660), Company::Writers);
  EXPECT_EQ(with(0602), Company::Writers);
  if (geteuid() != 0 || chown(path.c_str(), 65534, 65534) != 0) return;
  EXPECT_EQ(with(0600), Company::Writers);
}

TEST(File, ThoseWhoLookGoTogetherAndOneWhoChangesIsNotKeptWaitingByMoreOfThem) {
  constexpr std::chrono::milliseconds none(0);
  const TempFolder folder;
  const auto one = Open(folder.Path("f"), OpenMode::CreateNew).file;
  const auto two = Open(folder.Path("f"), OpenMode::ReadOnly).file;
  const auto three = Open(folder.Path("f"), OpenMode::ReadWrite).file;
  EXPECT_TRUE(one->Lock(Hold::Looking, none) && two->Lock(Hold::Looking, none));
  EXPECT_FALSE(three->Lock(Hold::Changing, none));
  one->Unlock();
  std::thread changes([&] { EXPECT_TRUE(three->Lock(Hold::Changing, std::chrono::seconds(20))); });
  while (one->Lock(Hold::Looking, none)) {
    one->Unlock();
    std::this_thread::yield();
  }
  two->Unlock();
  changes.join();
  EXPECT_FALSE(two->Lock(Hold::Looking, none));
  three->Unlock();
  EXPECT_TRUE(two->Lock(Hold::Looking, none));
}

// One process makes and deletes the file all the time; whoever opens it meanwhile either fails or
// holds a file that has a name.
TEST(File, OpenerNeverHoldsAFileThatLostItsName) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  const Child child([&](const auto&) {
    for (;;) {
      Open(path, OpenMode::CreateNew);
      RemoveFile(path);
    }
  });
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  int held = 0;
  while (held < 200 && std::chrono::steady_clock::now() < end) {
    const auto file = Open(path, OpenMode::ReadWrite).file;
    if (file == nullptr) continue;
    ++held;
    FileIdentity mine;
    struct stat named = {};
    ASSERT_TRUE(file->Identity(mine) && stat(path.c_str(), &named) == 0);
    ASSERT_EQ(named.st_ino, mine.index);
  }
  EXPECT_EQ(held, 200);
}

}  // namespace
}  // namespace platform
