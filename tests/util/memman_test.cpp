// The two arenas: which block serves a piece, who owns the memory, and the dump.
#include "kvorlib/memman.h"

#include <gmock/gmock.h>

#include <cstring>

#include "support/tempfolder.h"

namespace {

// Writes every byte of a piece, for the address sanitizer to see that it is there.
char* Fill(void* piece, std::size_t size) {
  return static_cast<char*>(std::memset(piece, 'x', size));
}

TEST(MemMan, ServesFromTheFirstBlockThatKeepsAByteAndDoublesForLargePieces) {
  MemMan arena(100);
  char* const first = Fill(arena.Allocate(49), 49);
  EXPECT_EQ(arena.Allocate(49), first + 49);
  char* const second = Fill(arena.Allocate(2), 2);  // two are left, and one has to stay
  EXPECT_EQ(arena.Allocate(1), first + 98);
  char* const large = Fill(arena.Allocate(50), 50);  // the block size is 200 from here on
  EXPECT_EQ(Fill(arena.Allocate(97), 97), second + 2);
  EXPECT_EQ(Fill(arena.Allocate(98), 98), large + 50);
  EXPECT_EQ(arena.Allocate(400), nullptr) << "a doubled block has no byte more";
  char* const kept = Fill(arena.Allocate(199), 199);
  EXPECT_EQ(Fill(arena.Allocate(199), 199), kept + 199) << "the block that was too small stays";
  EXPECT_EQ(arena.Allocate(-1), nullptr);
  EXPECT_EQ(MemMan(0x40000000).Allocate(0x20000000), nullptr);
}

TEST(MemMan, SharesItsMemoryWithCopiesAndPassesItOn) {
  MemMan owner(100);
  char* const former = Fill(owner.Allocate(10), 10);
  {
    MemMan arena(1000);
    char* const first = Fill(arena.Allocate(10), 10);
    EXPECT_EQ(MemMan(arena).Allocate(10), first + 10);
    owner.Store(arena);
    EXPECT_EQ(owner.Allocate(480), first + 20);
    char* const next = Fill(arena.Allocate(31999), 31999);
    EXPECT_EQ(arena.Allocate(31999), next + 31999) << "the block size went back to 64000";
  }
  Fill(former, 10);
  Fill(owner.Allocate(499), 499);
}

TEST(MemBuf, FillsEachBlockToTheLastByteAndGivesTheEndOfAPieceBack) {
  tagMemBuf* const buf = InitMembuf(10);
  for (const int size : {11, -1}) EXPECT_EQ(GetMem(buf, size), nullptr);
  char* const first = Fill(GetMem(buf, 10), 10);
  char* const second = Fill(GetMem(buf, 4), 4);
  ResizeLast(buf, second + 4, 3);
  EXPECT_EQ(GetMem(buf, 9), second + 1);
  ResizeLast(buf, first, 100);
  EXPECT_EQ(GetMem(buf, 1), first);
  ResizeLast(buf, first + 2, 1);
  EXPECT_EQ(buf->filled, 1);
  FreeMem(buf);
}

TEST(MemBuf, IsDumpedUpToSixteenBlocksInHexadecimalFromTheSecondOn) {
  const TempFolder folder;
  tagMemBuf* const buf = InitMembuf(32);
  for (int i = 0; i < 17; ++i) std::memcpy(Fill(GetMem(buf, 32), 32), "\x05\x80", 2);
  DumpMem(buf, folder.Wide("d"));
  EXPECT_THAT(folder.Read("d"),
              testing::MatchesRegex(
                  "Buf \xB9 0, size = 32, filled = 32, addr = [0-9a-f]+, link = [0-9a-f]+0x5\n"
                  "0xff80(0x78){28}0x78\n0x78\nBuf \xB9 1, size = 20, filled = 20, (.|\n)+"
                  "Buf \xB9 f, [^\n]+\n[^\n]+\n0x78\nToo long!"));
  FreeMem(buf);
}

}  // namespace
