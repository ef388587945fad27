// Mapped files behind the seam: what is remembered of their length, their time, and the signal.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/file.h"
#include "support/tempfolder.h"

namespace platform {
namespace {

constexpr std::size_t Page = 4096;

// A file of so many pages that has been looked at, at page 0 alone, until it is mapped.
std::unique_ptr<File> Mapped(const std::string& path, std::size_t pages) {
  int error = 0;
  auto file = OpenMappedFile(path, OpenMode::CreateNew, Sharing::All, error);
  file->Write(0, std::string(Page, 'a').data(), Page);
  std::filesystem::resize_file(path, pages * Page);
  for (int i = 0; i < 100 && file->View(0, Page) == nullptr; ++i) continue;
  if (file->View(0, Page) == nullptr) file.reset();
  return file;
}

// Page 0 is looked at without the lock, at a length that somebody else is about to take back.
TEST(MappedFile, LookAtPageZeroAloneRemembersNoLengthThatMayBeTakenBack) {
  const TempFolder folder;
  const auto file = Mapped(folder.Path("short"), 3);
  if (file == nullptr) GTEST_SKIP() << "no file of this folder is mapped";
  std::filesystem::resize_file(folder.Path("short"), Page);
  EXPECT_TRUE(file->Write(Page, std::string(Page, 'b').data(), Page));
  EXPECT_TRUE(file->Sound());
  EXPECT_EQ(std::filesystem::file_size(folder.Path("short")), 2 * Page);
}

TEST(MappedFile, ClosingTellsThatTheFileWasChanged) {
  const TempFolder folder;
  auto file = Mapped(folder.Path("old"), 1);
  if (file == nullptr) GTEST_SKIP() << "no file of this folder is mapped";
  ASSERT_TRUE(file->Write(0, "b", 1));
  const auto before = std::filesystem::last_write_time(folder.Path("old")) - std::chrono::hours(9);
  std::filesystem::last_write_time(folder.Path("old"), before);
  ASSERT_TRUE(file->Write(0, "c", 1));
  file.reset();
  EXPECT_GT(std::filesystem::last_write_time(folder.Path("old")), before);
}

// An access that fails outside of the store's mappings.
void FailElsewhere(const std::string& path) {
  const TempFolder folder;
  struct sigaction theirs = {};
  theirs.sa_handler = SIG_IGN;
  if (path == "once") {
    theirs.sa_handler = [](int) { (void)!write(STDERR_FILENO, "called ", 7); };
    theirs.sa_flags = static_cast<int>(SA_RESETHAND);
  }
  sigaction(SIGBUS, &theirs, nullptr);
  alarm(10);  // ends what would go round for ever
  const auto file = Mapped(folder.Path("ours"), 1);
  raise(SIGBUS);
  (void)!write(STDERR_FILENO, "on ", 3);
  std::FILE* const empty = std::tmpfile();
  auto* const at =
      static_cast<volatile char*>(mmap(nullptr, Page, PROT_READ, MAP_SHARED, fileno(empty), 0));
  std::exit(file == nullptr ? 1 : at[0]);
}

TEST(MappedFileDeathTest, AccessThatFailsElsewhereEndsTheProcessAsItWouldHave) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(FailElsewhere("ignored"), ::testing::KilledBySignal(SIGBUS), "^on $");
  EXPECT_EXIT(FailElsewhere("once"), ::testing::KilledBySignal(SIGBUS), "^called on $");
}

}  // namespace
}  // namespace platform
