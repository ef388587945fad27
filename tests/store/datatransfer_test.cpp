// The byte carrier: what each mode keeps, cuts and reports, and who frees a shared block.
#include "kvorlib/datatransfer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string Text(const DataTransfer& d) {
  std::string out = "stale";
  d.GetData(out);
  return out;
}

const unsigned char digits[] = "0123456789abcdefghijklmnopqrstuvwxyz";

TEST(DataTransferTest, WritingNothingKeepsTheOldValue) {
  DataTransfer d("ab");
  d.SetData(digits, 0);
  d.SetData(digits, -4);
  d.SetData(static_cast<const char*>(nullptr));
  d.AppendData(digits, 0);
  d.AppendData(digits, -1);
  d = DataTransfer();
  d.SetData(DataTransfer(), 0, -1);
  d.SetData(DataTransfer("xyz"), 0, 0);
  EXPECT_EQ(Text(d), std::string("ab\0", 3));

  d.Clear();
  EXPECT_EQ(d.Size(), 0);
  EXPECT_EQ(d.GetData(), nullptr);
  EXPECT_EQ(Text(d), "");
}

TEST(DataTransferTest, WritingNothingKeepsTheOverflowOfTheWriteBefore) {
  unsigned char block[4];
  DataTransfer d;
  d.SetExternBuf(block, 4);
  d.SetData(digits, 9);
  d.SetData(digits, 0);
  d.AppendData(digits, 0);
  d.Clear();
  EXPECT_TRUE(d.Overflow());
  EXPECT_FALSE(d.Overflow());
}

TEST(DataTransferTest, TextCountsItsTerminatorAndAStringKeepsInnerZeros) {
  EXPECT_EQ(Text(DataTransfer("ab")), std::string("ab\0", 3));
  EXPECT_EQ(Text(DataTransfer("")), std::string("\0", 1));
  const std::string inner("a\0b", 3);
  EXPECT_EQ(Text(DataTransfer(inner)), std::string("a\0", 2)) << "the constructor stops at a zero";
  DataTransfer d;
  d.SetData(inner);
  EXPECT_EQ(Text(d), std::string("a\0b\0", 4)) << "SetData takes the whole string";
  d.SetData("x");
  d.AppendData("yz");
  EXPECT_EQ(Text(d), std::string("x\0yz\0", 5));
}

TEST(DataTransferTest, PartOfAnotherBeginsAtItsFirstByteWhateverTheOffset) {
  DataTransfer d;
  d.SetData(DataTransfer(digits, 10), 5, 2);
  EXPECT_EQ(Text(d), "01");
  d.SetData(DataTransfer(digits, 10), 3, -1);
  EXPECT_EQ(Text(d), "0123456789");
  d.SetData(DataTransfer(digits, 4), 0, 40);
  EXPECT_EQ(Text(d), "0123") << "never more than the source has";
}

TEST(DataTransferTest, OwnedValueStandsBeforeAZeroByteAfterEachSetData) {
  DataTransfer d;
  for (int n : {1, 2, 30, 5, 36, 1}) {
    d.SetData(digits, n);
    EXPECT_EQ(d.GetData()[n], 0) << n;
    EXPECT_EQ(d.Size(), n);
  }
}

TEST(DataTransferTest, ExternalBlockCutsAndReportsFromItsCapacityOn) {
  for (int n = 1; n <= 20; ++n) {
    unsigned char block[12];
    std::fill_n(block, 12, '#');
    DataTransfer d;
    d.SetExternBuf(block, 8);
    EXPECT_EQ(d.Size(), 8);
    d.SetData(digits, n);
    EXPECT_EQ(d.Size(), std::min(n, 8)) << n;
    EXPECT_EQ(d.Overflow(), n >= 8) << n;
    EXPECT_FALSE(d.Overflow()) << "reading resets it";
    EXPECT_EQ(std::memcmp(block, digits, static_cast<std::size_t>(std::min(n, 8))), 0);
    EXPECT_EQ(block[std::min(n, 8)], '#') << "no terminator in a borrowed block";
  }
}

TEST(DataTransferTest, AppendToAFullExternalBlockCountsWhatItLosesButHandsOutWhatIsThere) {
  unsigned char block[12];
  std::fill_n(block, 12, '#');
  DataTransfer d;
  d.SetExternBuf(block, 8);
  d.SetData(digits, 6);
  d.AppendData(digits + 6, 4);
  EXPECT_TRUE(d.Overflow());
  EXPECT_EQ(d.Size(), 10);
  EXPECT_EQ(block[8], '#');
  d.AppendData(digits, 4);
  EXPECT_EQ(d.Size(), 14);
  EXPECT_TRUE(d.Overflow());

  EXPECT_EQ(Text(d), "01234567");
  unsigned char copy[16] = {};
  EXPECT_EQ(d.GetData(copy, 16), 14) << "the answer is the size, not what was copied";
  EXPECT_EQ(copy[7], '7');
  EXPECT_EQ(copy[8], 0);
  EXPECT_EQ(Text(DataTransfer(d)), "01234567");
}

TEST(DataTransferTest, ExternalModeOutlastsEveryWriteAndNeverAllocates) {
  unsigned char block[8];
  DataTransfer d;
  d.SetExternBuf(block, 8);
  EXPECT_EQ(d.AllocData(4), nullptr);
  EXPECT_EQ(d._AllocData(100), nullptr);
  EXPECT_EQ(d.ExpandData(4), nullptr);
  EXPECT_EQ(d.ExpandData(100), nullptr);
  EXPECT_EQ(d.Size(), 8) << "a refused allocation changes nothing";
  d = DataTransfer("text");
  d.SetData("longer than the block");
  EXPECT_TRUE(d.ExternalBuffer());

  int n = 100;
  EXPECT_EQ(d.GetExternBuf(n), block);
  EXPECT_EQ(n, 8);
  n = 3;
  EXPECT_EQ(d.GetExternBuf(n), block);
  EXPECT_EQ(d.Size(), 3);
  d.ResetExternBuf();
  n = 55;
  EXPECT_EQ(d.GetExternBuf(n), nullptr);
  EXPECT_EQ(n, 55);
  EXPECT_FALSE(d.ExternalBuffer());
}

TEST(DataTransferTest, CopyOfABorrowedValueLivesLongerThanTheBlock) {
  DataTransfer copy;
  {
    std::vector<unsigned char> block(8);
    DataTransfer d;
    d.SetExternBuf(block.data(), 8);
    d.SetData(digits, 5);
    copy.SetData(d, 0, -1);
    DataTransfer second(d);
    EXPECT_FALSE(second.ExternalBuffer());
    copy = second;
  }
  EXPECT_EQ(Text(copy), "01234");
}

TEST(DataTransferTest, AllocatedBlockKeepsTheBytesThatFitAndItsSizeStaysApart) {
  DataTransfer d(digits, 10);
  EXPECT_NE(d._AllocData(4), nullptr);
  EXPECT_EQ(d.Size(), 10) << "shrinking the block leaves the size";
  EXPECT_EQ(Text(d), "0123");
  EXPECT_EQ(DataTransfer(d).Size(), 4);
  unsigned char* block = d._AllocData(64);
  EXPECT_EQ(std::memcmp(block, "0123", 4), 0);
  EXPECT_EQ(d.ExpandData(64), block) << "large enough already";
  block = d.AllocData(20);
  std::fill_n(block, 20, 'z');
  EXPECT_EQ(Text(d), std::string(20, 'z'));
  d.AllocData(0);
  EXPECT_EQ(d.Size(), 0);
  EXPECT_EQ(Text(d), "");
}

TEST(DataTransferTest, BlockOnceGrownIsKeptWhenValuesGetShorter) {
  DataTransfer d(digits, 30);
  const char* block = d.GetData();
  for (int n : {1, 30, 7, 29}) {
    d.SetData(digits, n);
    EXPECT_EQ(d.GetData(), block) << n;
  }
}

TEST(DataTransferTest, ValueMayBeWrittenFromItself) {
  DataTransfer d(digits, 10);
  const DataTransfer& same = d;
  d = same;
  EXPECT_EQ(Text(d), "0123456789");
  int n = 0;
  const unsigned char* inside = d.GetData(n);
  d.SetData(inside + 2, 5);
  EXPECT_EQ(Text(d), "23456");
  for (int round = 0; round < 6; ++round) {  // each round moves the block
    inside = d.GetData(n);
    d.AppendData(inside, n);
  }
  EXPECT_EQ(d.Size(), 5 * 64);
  EXPECT_EQ(Text(d).substr(315), "23456");
  d.SetData(d, 0, 3);
  EXPECT_EQ(Text(d), "234");

  unsigned char block[8];
  DataTransfer external;
  external.SetExternBuf(block, 8);
  external.SetData(digits, 4);
  external.AppendData(block, 4);
  EXPECT_EQ(Text(external), "01230123");
  external.SetData(block + 2, 4);
  EXPECT_EQ(Text(external), "2301");
}

TEST(DataTransferTest, OrderIsThatOfByteStringsAndNeverReadsBehindTheShorter) {
  const std::vector<std::string> ordered = {
      "",    std::string("\0", 1), "a", std::string("a\0", 2), "a\x01", "ab", "abc", "b", "\x80",
      "\xff"};
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    for (std::size_t j = 0; j < ordered.size(); ++j) {
      // Exact blocks, so that a read behind the end is seen by the sanitizer.
      std::vector<unsigned char> left(ordered[i].begin(), ordered[i].end());
      std::vector<unsigned char> right(ordered[j].begin(), ordered[j].end());
      DataTransfer a;
      DataTransfer b;
      if (!left.empty()) a.SetExternBuf(left.data(), static_cast<int>(left.size()));
      if (!right.empty()) b.SetExternBuf(right.data(), static_cast<int>(right.size()));
      EXPECT_EQ(a < b, i < j) << i << ' ' << j;
      EXPECT_EQ(a == b, i == j) << i << ' ' << j;
      EXPECT_EQ(a != b, i != j) << i << ' ' << j;
    }
  }
}

TEST(DataTransferTest, SwapExchangesModesAndFreesNothing) {
  unsigned char block[8];
  DataTransfer owning("own");
  const char* owned = owning.GetData();
  DataTransfer external;
  external.SetExternBuf(block, 8);
  external.SetData(digits, 9);
  owning.Swap(external);
  EXPECT_TRUE(owning.ExternalBuffer());
  EXPECT_TRUE(owning.Overflow());
  EXPECT_FALSE(external.ExternalBuffer());
  EXPECT_FALSE(external.Overflow());
  EXPECT_EQ(external.GetData(), owned);
  external.Swap(external);
  EXPECT_EQ(Text(external), std::string("own\0", 4));
}

// Two or three objects that claim one block are let go in every order, by every way of letting go.
TEST(DataTransferTest, SharersOfOneBlockMayDieInAnyOrder) {
  std::vector<int> order = {0, 1, 2};
  do {
    for (int way = 0; way < 5; ++way) {
      std::unique_ptr<DataTransfer> all[3];
      for (auto& d : all) d = std::make_unique<DataTransfer>("own value");
      all[0]->SetData("shared");
      all[1]->MoveFrom(*all[0]);
      all[2]->MoveFrom(*all[1]);
      EXPECT_EQ(all[2]->GetData(), all[0]->GetData()) << "one block";
      unsigned char block[4];
      for (std::size_t k = 0; k < 3; ++k) {
        auto& d = all[static_cast<std::size_t>(order[k])];
        if (way == 0) d.reset();
        if (way == 1) d->Clear();
        if (way == 2) d->SetData(std::string(500, 'x'));
        if (way == 3) d->SetExternBuf(block, 4);
        if (way == 4) DataTransfer("other").Swap(*d);
        for (std::size_t rest = k + 1; rest < 3; ++rest) {
          EXPECT_EQ(Text(*all[static_cast<std::size_t>(order[rest])]), std::string("shared\0", 7));
        }
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(DataTransferTest, MoveFromCarriesTheOverflowAndWritesInPlaceAreSeenByBoth) {
  DataTransfer a(digits, 10);
  DataTransfer b;
  b.MoveFrom(a);
  b.MoveFrom(b);
  a.SetData("zz");
  EXPECT_EQ(std::memcmp(b.GetData(), "zz\0", 3), 0);
  EXPECT_EQ(b.Size(), 10) << "the fields are each object's own";

  unsigned char block[2];
  DataTransfer external;
  external.SetExternBuf(block, 2);
  external.SetData(digits, 5);
  b.MoveFrom(external);
  EXPECT_TRUE(b.Overflow());
  EXPECT_TRUE(external.Overflow());
  EXPECT_TRUE(b.ExternalBuffer());
}

}  // namespace
