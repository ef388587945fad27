// SalvageStore: what can be saved is saved, and it is said what was not.
#include <gtest/gtest.h>

#include <algorithm>

#include "kvorlib/storetools.h"
#include "samplefile.h"

namespace store {
namespace {

class SalvageTest : public ::testing::Test {
 protected:
  TempFolder folder;
  std::string from = folder.Path("from");
  std::string to = folder.Path("to");

  SalvageReport SalvageBytes(const FileBytes& bytes, const SalvageOptions& options = {}) {
    WriteFile(from, bytes);
    std::filesystem::remove(to);
    const SalvageReport report = SalvageStore(from, to, options);
    EXPECT_EQ(ReadFile(from), bytes) << "the damaged file was written to";
    return report;
  }
};

std::string Told(const SalvageReport& report) {
  std::string all = report.failure + '\n';
  for (const auto& f : report.losses) {
    all +=
        "page " + std::to_string(f.page) + '+' + std::to_string(f.offset) + ": " + f.words + '\n';
  }
  return all + std::to_string(report.byChain) + ' ' + std::to_string(report.byScan) + ' ' +
         std::to_string(report.fromFreePages);
}

TEST_F(SalvageTest, SoundFileIsCopiedAlongItsChain) {
  const auto records = MakeSample(from);
  const auto report = SalvageBytes(ReadFile(from));
  EXPECT_TRUE(report.done) << Told(report);
  EXPECT_EQ(report.byChain, records.size());
  EXPECT_EQ(report.Saved(), records.size());
  EXPECT_TRUE(report.losses.empty()) << Told(report);
  EXPECT_TRUE(RecordsOf(to) == records);
  EXPECT_EQ(CheckStore(to).state, StoreState::Sound);
}

TEST_F(SalvageTest, BrokenChainIsMadeUpForByScanning) {
  const auto records = MakeSample(from);
  FileBytes bytes = ReadFile(from);
  const std::uint32_t first = Header::Load(PageAt(bytes, 0)).firstLeaf;
  Store16(&bytes[first * PageSize + 4], 999);
  const auto report = SalvageBytes(bytes);
  EXPECT_TRUE(RecordsOf(to) == records) << Told(report);
  EXPECT_GT(report.byChain, 0U);
  EXPECT_GT(report.byScan, report.byChain);
  EXPECT_EQ(report.givenUp, 0U);
}

TEST_F(SalvageTest, LostHeaderNeedsTheLayoutAndThenLosesNothing) {
  const auto records = MakeSample(from);
  FileBytes bytes = ReadFile(from);
  std::fill_n(bytes.begin(), PageSize, 0xEE);
  EXPECT_FALSE(SalvageBytes(bytes).done);
  EXPECT_FALSE(std::filesystem::exists(to));
  SalvageOptions options;
  options.key = ZeroEnded;
  const auto report = SalvageBytes(bytes, options);
  EXPECT_TRUE(report.done) << Told(report);
  EXPECT_EQ(report.byScan, records.size());
  EXPECT_TRUE(RecordsOf(to) == records);
}

TEST_F(SalvageTest, ErasedRecordsComeBackOnlyWhenOthersAreMissing) {
  auto records = MakeSample(from);
  std::string failure;
  const int file = udbOpen(from.c_str(), 2, failure);
  for (std::size_t i = 0; i < 90; ++i) ASSERT_TRUE(Erase(file, records[i]));
  udbClose(file);
  const std::vector<std::string> left(records.begin() + 90, records.end());
  FileBytes bytes = ReadFile(from);
  SalvageBytes(bytes);
  EXPECT_TRUE(RecordsOf(to) == left);

  Store32(&bytes[21], 1000);  // the header counts more than there are
  const auto report = SalvageBytes(bytes);
  EXPECT_GT(report.fromFreePages, 0U);
  EXPECT_TRUE(std::ranges::includes(RecordsOf(to), left));
  SalvageOptions options;
  options.searchFreePages = false;
  SalvageBytes(bytes, options);
  EXPECT_TRUE(RecordsOf(to) == left);
}

TEST_F(SalvageTest, RunsOfTheOlderVersionSurviveAnUpgrade) {
  MakeFile(from, {60});
  FileBytes bytes = ReadFile(from);
  bytes[0] = OldVersion;
  WriteFile(from, bytes);
  std::string failure;
  const int file = udbOpen(from.c_str(), 2, failure);
  const std::string longOne = RecordOf(500, 6000);
  ASSERT_TRUE(Insert(file, longOne));
  ASSERT_EQ(udbUpgrade(file), 0);
  udbClose(file);
  ASSERT_EQ(CheckStore(from).state, StoreState::Damaged);
  const auto report = SalvageBytes(ReadFile(from));
  EXPECT_EQ(report.byChain, 2U) << Told(report);
  EXPECT_EQ(RecordsOf(to).back(), longOne);
}

TEST_F(SalvageTest, FilesThatCannotBeReadOrMadeAreRefusedByName) {
  MakeSample(from);
  MakeFile(to, {60});
  const FileBytes there = ReadFile(to);
  SalvageReport report = SalvageStore(from, to);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(report.failure, "FILE ALREADY EXISTS");
  EXPECT_EQ(report.failedFile, to);
  EXPECT_EQ(ReadFile(to), there);

  report = SalvageStore(folder.Path("none"), folder.Path("new"));
  EXPECT_EQ(report.failure, "NONEXISTENT FILE");
  EXPECT_EQ(report.failedFile, folder.Path("none"));
  EXPECT_FALSE(std::filesystem::exists(folder.Path("new")));

  report = SalvageStore(from, folder.Path("no/such/folder"));
  EXPECT_FALSE(report.done);
  EXPECT_EQ(report.failedFile, folder.Path("no/such/folder"));
}

// Each byte of a small file is changed in turn, but for those of the header that say where keys
// are: at most the one record in which the byte lies is lost, and none is invented.
TEST_F(SalvageTest, OneChangedByteCostsAtMostOneRecord) {
  const auto records = WithoutZeros(MakeFile(from, {60, 900, 2500, 1200, 60, 1500, 1800, 60}));
  const FileBytes sound = ReadFile(from);
  for (std::size_t at = 0; at < sound.size(); ++at) {
    if (at < 8 || (at > 60 && at < PageSize) || (at % PageSize > 200 && at % 11 != 0)) continue;
    FileBytes bytes = sound;
    bytes[at] ^= at % 2 == 0 ? 0x10 : 0x81;
    const auto report = SalvageBytes(bytes);
    ASSERT_TRUE(report.done) << at << ' ' << Told(report);
    const auto saved = WithoutZeros(RecordsOf(to));
    ASSERT_GE(saved.size() + 1, records.size()) << "byte " << at << '\n' << Told(report);
    ASSERT_TRUE(std::ranges::includes(records, saved)) << "byte " << at;
  }
}

}  // namespace
}  // namespace store
