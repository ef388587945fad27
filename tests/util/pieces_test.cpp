// Texts of more than one piece: what shows at the end of 64,000 bytes or units.

#include <gtest/gtest.h>

#include "util/textsupport.h"

namespace {

constexpr std::size_t kPiece = 64000;

std::string Letters(std::size_t n) { return std::string(n, 'a'); }
std::u16string Wide(std::size_t n) { return std::u16string(n, u'a'); }

TEST(Pieces, JoinToTheWholeText) {
  for (std::size_t n : {kPiece - 1, kPiece, kPiece + 1, 2 * kPiece, 3 * kPiece + 7}) {
    const std::string text = std::string(n - 1, '\xB8') + 'z';
    const std::u16string wide = A2U(text, 1251);
    EXPECT_EQ(wide, std::u16string(n - 1, u'ё') + u'z');
    EXPECT_EQ(U2A(wide, 1251), text);
  }
  const std::string text = Letters(kPiece - 1) + "\naaa";
  const std::u16string wide = A2U(text, 1251, true);
  EXPECT_EQ(wide, Wide(kPiece - 1) + u"\r\naaa");
  EXPECT_EQ(U2A(wide, 1251, true), text);
}

TEST(Pieces, OnlyTheArgumentOfUtf8KeepsACharacterWhole) {
  const KeepCodePage keep;
  SetCP(65001);
  for (std::size_t before : {kPiece - 1, kPiece - 2, kPiece - 3}) {
    const std::string text = Letters(before) + "日日b";
    for (int utf8 : {65001, -1}) EXPECT_EQ(A2U(text, utf8), Wide(before) + u"日日b");
    const std::u16string first = before == kPiece - 3 ? u"日" : u"\uFFFD\uFFFD\uFFFD";
    EXPECT_EQ(A2U(text, 0), Wide(before) + first + u"日b");
  }
  // D0 7A is a pair of its own.
  EXPECT_EQ(A2U(Letters(kPiece - 1) + "\xD6\xD0z", 936), Wide(kPiece - 1) + u"?衵");
  EXPECT_EQ(U2A(Wide(kPiece - 1) + u"😀z", -1), Letters(kPiece - 1) + "\uFFFD\uFFFDz");
}

TEST(Pieces, ZeroEndsTheLastPieceAlone) {
  for (int codePage : {1251, -1}) {
    std::string text = Letters(kPiece + 5);
    text[10] = text[kPiece + 2] = '\0';
    const std::u16string wide(text.begin(), text.end());
    EXPECT_EQ(A2U(text, codePage), wide.substr(0, kPiece + 2));
    EXPECT_EQ(U2A(wide, codePage), text.substr(0, kPiece + 2));
    // The last piece, though a full one.
    EXPECT_EQ(A2U(text.substr(0, kPiece), codePage), Wide(10));
    EXPECT_EQ(U2A(wide.substr(0, kPiece), codePage), Letters(10));
  }
}

TEST(Pieces, DoubleByteRoomIsCountedPieceByPiece) {
  EXPECT_THROW(U2A(Wide(kPiece) + u"語", 932), Except);
  EXPECT_THROW(U2A(u"語" + Wide(kPiece), 932), Except);
  EXPECT_EQ(U2A(Wide(kPiece + 1), 932), Letters(kPiece + 1));
}

}  // namespace
