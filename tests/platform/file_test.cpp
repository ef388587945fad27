// Files behind the seam: what may be opened, who may share it, and what positions mean.
#include "platform/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>

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
  const auto [file, error] = Open(path, OpenMode::CreateNew);
  ASSERT_TRUE(file) << error;
  EXPECT_TRUE(file->Write(0, "abc", 3));
  EXPECT_TRUE(file->Write(5, "xyz", 3));
  EXPECT_EQ(Text(*file, 0, 8), std::string("abc\0\0xyz", 8));
  EXPECT_EQ(Text(*file, 6, 100), "yz");
  EXPECT_EQ(Text(*file, 100, 4), "");
  EXPECT_EQ(file->Size(), 8);
  EXPECT_TRUE(file->Truncate(2));
  EXPECT_EQ(Text(*file, 0, 8), "ab");
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST(File, FailureKeepsItsCode) {
  const TempFolder folder;
  Open(folder.Path("f"), OpenMode::CreateNew);
  const auto [file, error] = Open(folder.Path("f"), OpenMode::ReadOnly);
  ASSERT_TRUE(file);
  EXPECT_FALSE(file->Write(0, "a", 1));
  EXPECT_EQ(file->LastError(), EBADF);
  EXPECT_FALSE(file->Truncate(0));
  EXPECT_EQ(file->LastError(), EINVAL);
}

TEST(File, OnlyRegularFilesAreOpenedAndNothingIsWaitedFor) {
  const TempFolder folder;
  ASSERT_EQ(mkdir(folder.Path("folder").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  ASSERT_TRUE(Open(folder.Path("file"), OpenMode::CreateNew).file);
  ASSERT_EQ(symlink("file", folder.Path("link").c_str()), 0);
  const struct {
    const char* name;
    OpenMode mode;
    int error;
  } cases[] = {
      {"folder", OpenMode::ReadOnly, EACCES},    {"folder", OpenMode::ReadWrite, EACCES},
      {"pipe", OpenMode::ReadOnly, EACCES},      {"pipe", OpenMode::ReadWrite, EACCES},
      {"missing", OpenMode::ReadWrite, ENOENT},  {"missing", OpenMode::ReadOnly, ENOENT},
      {"no/where", OpenMode::CreateNew, ENOENT}, {"file", OpenMode::CreateNew, EEXIST},
      {"link", OpenMode::ReadWrite, 0},          {"file/x", OpenMode::ReadOnly, ENOTDIR},
      {"new", OpenMode::CreateAppend, 0},
  };
  for (const auto& c : cases) {
    const auto [file, error] = Open(folder.Path(c.name), c.mode);
    EXPECT_EQ(file == nullptr ? error : 0, c.error) << c.name;
  }
}

TEST(File, AppendingWritesAtTheEndWhateverTheOffset) {
  const TempFolder folder;
  const auto [file, error] = Open(folder.Path("log"), OpenMode::CreateAppend, Sharing::None);
  ASSERT_TRUE(file);
  EXPECT_TRUE(file->Write(0, "one ", 4));
  EXPECT_TRUE(file->Write(0, "two", 3));
  EXPECT_EQ(Text(*file, 0, 100), "one two");
}

TEST(File, IdentityIsThatOfTheFileAndNotOfItsName) {
  const TempFolder folder;
  const auto a = Open(folder.Path("a"), OpenMode::CreateNew).file;
  const auto b = Open(folder.Path("b"), OpenMode::CreateNew).file;
  ASSERT_EQ(symlink("a", folder.Path("c").c_str()), 0);
  const auto c = Open(folder.Path("c"), OpenMode::ReadOnly).file;
  std::array<FileIdentity, 3> id;
  ASSERT_TRUE(a->Identity(id[0]) && b->Identity(id[1]) && c->Identity(id[2]));
  EXPECT_FALSE(id[0] == id[1]);
  EXPECT_TRUE(id[0] == id[2]);
}

TEST(File, SharedHoldersBearEachOtherAndKeepTheFileFromDeletion) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  auto first = Open(path, OpenMode::CreateNew);
  auto second = Open(path, OpenMode::ReadOnly);
  ASSERT_TRUE(first.file && second.file);
  EXPECT_EQ(Open(path, OpenMode::ReadWrite, Sharing::None).error, EACCES);
  EXPECT_EQ(RemoveFile(path), EACCES);
  first.file.reset();
  EXPECT_EQ(RemoveFile(path), EACCES) << "closing one descriptor must not drop the other's claim";
  second.file.reset();
  EXPECT_EQ(RemoveFile(path), 0);
  EXPECT_EQ(RemoveFile(path), ENOENT);
}

TEST(File, SoleHolderKeepsEverybodyOut) {
  const TempFolder folder;
  const std::string path = folder.Path("journal");
  auto sole = Open(path, OpenMode::CreateAppend, Sharing::None);
  ASSERT_TRUE(sole.file);
  EXPECT_EQ(Open(path, OpenMode::ReadOnly).error, EACCES);
  EXPECT_EQ(Open(path, OpenMode::CreateAppend, Sharing::None).error, EACCES);
  EXPECT_EQ(RemoveFile(path), EACCES);
  sole.file.reset();
  EXPECT_TRUE(Open(path, OpenMode::ReadWrite).file);
}

TEST(File, HoldOfAnotherProcessCountsAndEndsWithIt) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  Child child([&](const auto& say) {
    const auto held = Open(path, OpenMode::CreateNew);
    say(held.file ? 'y' : 'n');
    pause();
  });
  ASSERT_EQ(child.Hear(), 'y');
  EXPECT_EQ(RemoveFile(path), EACCES);
  child.Kill();
  EXPECT_EQ(RemoveFile(path), 0);
}

TEST(File, DeletionNeedsNoRightToOpen) {
  const TempFolder folder;
  ASSERT_TRUE(Open(folder.Path("shut"), OpenMode::CreateNew).file);
  ASSERT_EQ(chmod(folder.Path("shut").c_str(), 0), 0);
  EXPECT_EQ(RemoveFile(folder.Path("shut")), 0);
  ASSERT_EQ(mkdir(folder.Path("folder").c_str(), 0700), 0);
  EXPECT_EQ(RemoveFile(folder.Path("folder")), EACCES);
}

// One process makes and deletes the file all the time; whoever opens it meanwhile either fails or
// holds a file that has a name.
TEST(File, OpenerNeverHoldsAFileThatLostItsName) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  const Child child([&](const auto& say) {
    say('y');
    for (;;) {
      Open(path, OpenMode::CreateNew);
      RemoveFile(path);
    }
  });
  ASSERT_EQ(child.Hear(), 'y');
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  int held = 0;
  while (held < 200 && std::chrono::steady_clock::now() < end) {
    const auto [file, error] = Open(path, OpenMode::ReadWrite);
    if (file == nullptr) continue;
    ++held;
    FileIdentity mine;
    ASSERT_TRUE(file->Identity(mine));
    struct stat named = {};
    ASSERT_EQ(stat(path.c_str(), &named), 0);
    ASSERT_EQ(named.st_ino, mine.index);
  }
  EXPECT_EQ(held, 200);
}

}  // namespace
}  // namespace platform
