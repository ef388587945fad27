// SalvageStore: what can be saved is saved, and it is said what was not.
#include <algorithm>

#include "samplefile.h"

namespace {

class SalvageTest : public SampleTest {
 protected:
  const std::string to = "/m/saved";

  SalvageReport Salvage(const Bytes& bytes, const SalvageOptions& options = {}) {
    host.Put(path, bytes);
    host.Forget(to);
    SalvageReport report = SalvageStore(path, to, options);
    EXPECT_EQ(Image(), bytes) << "the damaged file was written to";
    EXPECT_EQ(report.done, host.Exists(to)) << report.failure;
    if (!report.done) return report;
    const image::Findings found = image::Examine(host.Bytes(to));
    EXPECT_EQ(found.damage, "");
    saved = found.records;
    return report;
  }

  std::vector<Bytes> saved;
};

TEST_F(SalvageTest, ChainIsFollowedAndMadeUpForByScanningWhereItBreaks) {
  SalvageReport report = Salvage(sample);
  EXPECT_EQ(report.byChain, 302U);
  EXPECT_EQ(report.Saved(), 302U);
  EXPECT_EQ(Told(report.losses), "");
  EXPECT_TRUE(saved == records);

  Bytes broken = sample;
  Put16(broken, firstLeaf * PageBytes + 4, 999);
  report = Salvage(broken);
  EXPECT_TRUE(saved == records) << Told(report.losses);
  EXPECT_GT(report.byChain, 0U);
  EXPECT_GT(report.byScan, report.byChain);
  EXPECT_EQ(report.givenUp, 0U);
}

TEST_F(SalvageTest, LostHeaderNeedsTheLayoutAndThenLosesNothing) {
  sample.replace(0, 4096, 4096, '\xEE');
  EXPECT_FALSE(Salvage(sample).done);
  SalvageOptions options;
  options.key = Words;
  EXPECT_EQ(Salvage(sample, options).byScan, 302U);
  EXPECT_TRUE(saved == records);
}

TEST_F(SalvageTest, ErasedRecordsComeBackOnlyWhenOthersAreMissing) {
  EraseFirst(90);
  const std::vector<Bytes> left(records.begin() + 90, records.end());
  Bytes bytes = Image();
  Salvage(bytes);
  EXPECT_TRUE(saved == left);
  image::Put32(bytes, 21, 1000);  // the header counts more than there are
  EXPECT_GT(Salvage(bytes).fromFreePages, 0U);
  EXPECT_TRUE(std::ranges::includes(saved, left));
  SalvageOptions options;
  options.searchFreePages = false;
  Salvage(bytes, options);
  EXPECT_TRUE(saved == left);
}

TEST_F(SalvageTest, RunsOfTheOlderVersionSurviveAnUpgrade) {
  OpenBytes(HeaderPage({.version = 23}));
  Fill({"a 1", Record("b", 6000)});
  ASSERT_EQ(udbUpgrade(file), 0);
  CloseAll();
  ASSERT_EQ(CheckStore(path).state, StoreState::Damaged);
  EXPECT_EQ(Salvage(Bytes(Image())).byChain, 2U);
  EXPECT_EQ(saved.back(), Record("b", 6000));
}

TEST_F(SalvageTest, FilesThatCannotBeReadOrMadeAreRefusedByName) {
  host.Put(to, "there");
  SalvageReport report = SalvageStore(path, to);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(report.failure, "FILE ALREADY EXISTS");
  EXPECT_EQ(report.failedFile, to);
  EXPECT_EQ(host.Bytes(to), "there");
  report = SalvageStore("/m/none", "/m/new");
  EXPECT_EQ(report.failure, "NONEXISTENT FILE");
  EXPECT_EQ(report.failedFile, "/m/none");
  EXPECT_FALSE(host.Exists("/m/new"));
}

}  // namespace
