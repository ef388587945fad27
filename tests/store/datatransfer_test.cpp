// The byte carrier: what each mode keeps, cuts and reports, and who frees a shared block.
#include "kvorlib/datatransfer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

std::string Text(const DataTransfer& d) {
  std::string out = "stale";
  d.GetData(out);
  return out;
}

const unsigned char digits[] = "0123456789abcdefghijklmnopqrstuvwxyz";

// On a borrowed block of eight bytes, behind which there are others.
struct Borrowed : DataTransfer {
  explicit Borrowed(int written) {
    std::fill_n(block, 12, '#');
    SetExternBuf(block, 8);
    SetData(digits, written);
  }
  unsigned char block[12];
};

TEST(DataTransferTest, WritingNothingKeepsTheValueAndTheOverflowOfTheWriteBefore) {
  DataTransfer d("ab");
  Borrowed full(9);
  for (DataTransfer* each : {&d, static_cast<DataTransfer*>(&full)}) {
    each->SetData(digits, 0);
    each->SetData(digits, -4);
    each->SetData(static_cast<const char*>(nullptr));
    each->AppendData(digits, 0);
    *each = DataTransfer();
    each->SetData(DataTransfer("xyz"), 0, 0);
  }
  EXPECT_EQ(Text(d), std::string("ab\0", 3));
  d.Clear();
  EXPECT_EQ(d.Size(), 0);
  EXPECT_EQ(Text(d), "");
  full.Clear();
  EXPECT_TRUE(full.Overflow());
  EXPECT_FALSE(full.Overflow()) << "reading resets it";
}

TEST(DataTransferTest, TextCountsItsTerminatorAndAPartBeginsAtTheFirstByteWhateverTheOffset) {
  const std::string inner("a\0b", 3);
  EXPECT_EQ(Text(DataTransfer("")), std::string("\0", 1));
  EXPECT_EQ(Text(DataTransfer(inner)), std::string("a\0", 2)) << "the constructor stops at a zero";
  DataTransfer d;
  d.SetData(inner);
  EXPECT_EQ(Text(d), std::string("a\0b\0", 4)) << "SetData takes the whole string";
  d.AppendData("yz");
  EXPECT_EQ(Text(d), std::string("a\0b\0yz\0", 7));
  const std::pair<int, const char*> parts[] = {{2, "01"}, {-1, "0123456789"}, {40, "0123456789"}};
  for (const auto& [length, text] : parts) {
    d.SetData(DataTransfer(digits, 10), 5, length);
    EXPECT_EQ(Text(d), text);
  }
}

TEST(DataTransferTest, BorrowedBlockCutsReportsFromItsCapacityOnAndCountsWhatItLoses) {
  for (int n = 1; n <= 20; ++n) {
    Borrowed d(n);
    const auto kept = static_cast<std::size_t>(std::min(n, 8));
    EXPECT_EQ(d.Size(), std::min(n, 8)) << n;
    EXPECT_EQ(d.Overflow(), n >= 8) << n;
    EXPECT_EQ(std::memcmp(d.block, digits, kept), 0);
    EXPECT_EQ(d.block[kept], '#') << "no terminator in a borrowed block";
  }
  Borrowed d(6);
  d.AppendData(digits + 6, 4);
  EXPECT_TRUE(d.Overflow());
  d.AppendData(digits, 4);
  EXPECT_TRUE(d.Overflow());
  EXPECT_EQ(d.Size(), 14);
  EXPECT_EQ(d.block[8], '#');
  unsigned char copy[16] = {};
  EXPECT_EQ(d.GetData(copy, 16), 14) << "the answer is the size, not what was copied";
  EXPECT_EQ(std::memcmp(copy, "01234567\0", 9), 0);
  EXPECT_EQ(Text(DataTransfer(d)), "01234567");
}

TEST(DataTransferTest, BorrowedBlockStaysThroughEveryWriteUntilItIsGivenBack) {
  Borrowed d(3);
  d.SetExternBuf(d.block, 8);
  for (const int n : {4, 100}) {
    EXPECT_EQ(d.AllocData(n), nullptr);
    EXPECT_EQ(d._AllocData(n), nullptr);
    EXPECT_EQ(d.ExpandData(n), nullptr);
  }
  EXPECT_EQ(d.Size(), 8) << "a refused allocation changes nothing";
  d.SetData("longer than the block");
  int n = 100;
  EXPECT_EQ(d.GetExternBuf(n), d.block);
  EXPECT_EQ(n, 8);
  n = 3;
  EXPECT_EQ(d.GetExternBuf(n), d.block);
  EXPECT_EQ(d.Size(), 3);
  const DataTransfer copy(d);
  EXPECT_FALSE(copy.ExternalBuffer()) << "a copy lives longer than the block";
  d.ResetExternBuf();
  EXPECT_EQ(d.GetExternBuf(n), nullptr);
  EXPECT_EQ(n, 3);
  EXPECT_EQ(Text(copy), "lon");
}

TEST(DataTransferTest, OwnedBlockIsKeptAndItsSizeStaysApart) {
  DataTransfer d(digits, 30);
  const char* const first = d.GetData();
  for (const int n : {1, 30, 7, 29}) {
    d.SetData(digits, n);
    EXPECT_EQ(d.GetData(), first) << "once grown, it serves shorter values";
    EXPECT_EQ(first[n], 0) << "SetData puts a zero behind the value";
  }
  EXPECT_NE(d._AllocData(4), nullptr);
  EXPECT_EQ(d.Size(), 29) << "shrinking the block leaves the size";
  EXPECT_EQ(Text(d), "0123");
  unsigned char* const block = d._AllocData(64);
  EXPECT_EQ(std::memcmp(block, "0123", 4), 0);
  EXPECT_EQ(d.ExpandData(64), block) << "large enough already";
  std::fill_n(d.AllocData(20), 20, 'z');
  EXPECT_EQ(Text(d), std::string(20, 'z'));
}

TEST(DataTransferTest, ValueMayBeWrittenFromItself) {
  DataTransfer d(digits, 10);
  const DataTransfer& same = d;
  d = same;
  int n = 0;
  d.SetData(d.GetData(n) + 2, 5);
  for (int round = 0; round < 6; ++round) {  // each round moves the block
    const unsigned char* const inside = d.GetData(n);
    d.AppendData(inside, n);
  }
  EXPECT_EQ(d.Size(), 5 * 64);
  EXPECT_EQ(Text(d).substr(315), "23456");
  Borrowed external(4);
  external.AppendData(external.block, 4);
  external.SetData(external.block + 2, 4);
  EXPECT_EQ(Text(external), "2301");
}

TEST(DataTransferTest, OrderIsThatOfByteStringsAndNeverReadsBehindTheShorter) {
  const std::vector<std::string> ordered = {
      "", std::string(1, 0), "a", std::string("a\0", 2), "ab", "abc", "\x80", "\xff"};
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    for (std::size_t j = 0; j < ordered.size(); ++j) {
      DataTransfer carriers[2];
      std::vector<unsigned char> blocks[2];  // exact ones: a read behind the end would be seen
      for (const int k : {0, 1}) {
        blocks[k].assign(ordered[k == 0 ? i : j].begin(), ordered[k == 0 ? i : j].end());
        if (blocks[k].empty()) continue;
        carriers[k].SetExternBuf(blocks[k].data(), static_cast<int>(blocks[k].size()));
      }
      EXPECT_EQ(carriers[0] < carriers[1], i < j) << i << ' ' << j;
      EXPECT_EQ(carriers[0] == carriers[1], i == j) << i << ' ' << j;
    }
  }
}

// Three objects that claim one block are let go in every order, by every way of letting go.
TEST(DataTransferTest, SharersOfOneBlockMayDieInAnyOrder) {
  std::vector<std::size_t> order = {0, 1, 2};
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
        auto& d = all[order[k]];
        if (way == 0) d.reset();
        if (way == 1) d->Clear();
        if (way == 2) d->SetData(std::string(500, 'x'));
        if (way == 3) d->SetExternBuf(block, 4);
        if (way == 4) DataTransfer("other").Swap(*d);
        for (std::size_t rest = k + 1; rest < 3; ++rest) {
          EXPECT_EQ(Text(*all[order[rest]]), std::string("shared\0", 7));
        }
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(DataTransferTest, SwapExchangesAndMoveFromCopiesTheModeAndTheOverflow) {
  DataTransfer a(digits, 10);
  DataTransfer b;
  b.MoveFrom(a);
  b.MoveFrom(b);
  a.SetData("zz");
  EXPECT_EQ(std::memcmp(b.GetData(), "zz\0", 3), 0);
  EXPECT_EQ(b.Size(), 10) << "the fields are each object's own";
  Borrowed external(9);
  b.MoveFrom(external);
  EXPECT_TRUE(b.Overflow());
  EXPECT_TRUE(b.ExternalBuffer());
  a.Swap(external);
  EXPECT_TRUE(a.Overflow());
  EXPECT_TRUE(a.ExternalBuffer());
  EXPECT_FALSE(external.ExternalBuffer());
  EXPECT_EQ(Text(external), std::string("zz\0", 3));
}

}  // namespace
