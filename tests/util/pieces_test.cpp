// Texts of more than one piece: what shows at the end of 64,000 bytes or units.

#include <gtest/gtest.h>

#include "kvorlib/errors.h"
#include "util/textsupport.h"

namespace {

constexpr std::size_t kPiece = 64000;

std::string Letters(std::size_t n) { return std::string(n, 'a'); }

TEST(Pieces, JoinToTheWholeText) {
  std::string russian;
  for (int i = 0; i < 40'000; ++i) russian += "яё😀";
  EXPECT_EQ(A2U(russian, -1), u8_w(russian.data(), russian.data() + russian.size()));
  for (std::size_t n : {kPiece - 1, kPiece, kPiece + 1, 2 * kPiece, 3 * kPiece + 7}) {
    const std::string text = std::string(n - 1, '\xB8') + 'z';
    const std::u16string wide = A2U(text, 1251);
    EXPECT_EQ(wide, std::u16string(n - 1, u'ё') + u'z');
    EXPECT_EQ(U2A(wide, 1251), text);
  }
}

TEST(Pieces, OnlyTheArgumentOfUtf8KeepsACharacterWhole) {
  const KeepCodePage keep;
  SetCP(65001);
  for (std::size_t before : {kPiece - 1, kPiece - 2, kPiece - 3}) {
    const std::string text = Letters(before) + "日日b";
    const std::u16string whole = std::u16string(before, u'a') + u"日日b";
    EXPECT_EQ(A2U(text, 65001), whole);
    EXPECT_EQ(A2U(text, -1), whole);
    const std::u16string cut = std::u16string(before, u'a') + u"\uFFFD\uFFFD\uFFFD日b";
    EXPECT_EQ(A2U(text, 0), before == kPiece - 3 ? whole : cut);
  }
}

TEST(Pieces, TrailBytesAloneCannotKeepAPieceFromEnding) {
  const std::string text = Letters(10) + std::string(3 * kPiece, '\x80');
  EXPECT_EQ(A2U(text, -1), std::u16string(10, u'a') + std::u16string(3 * kPiece, 0xFFFD));
}

TEST(Pieces, CutPairsOfBytesAndOfSurrogates) {
  const std::string text = Letters(kPiece - 1) + "\xD6\xD0z";
  EXPECT_EQ(A2U(text, 936), A2U(Letters(kPiece - 1), 936) + u"?衵");  // D0 7A is a pair of its own
  const std::u16string wide = std::u16string(kPiece - 1, u'a') + u"😀z";
  EXPECT_EQ(U2A(wide, -1), Letters(kPiece - 1) + "\uFFFD\uFFFDz");
}

TEST(Pieces, ZeroEndsTheLastPieceAlone) {
  for (int codePage : {1251, 65001, -1}) {
    std::string text = Letters(kPiece + 5);
    text[10] = '\0';
    text[kPiece + 2] = '\0';
    const std::u16string wide = A2U(text, codePage);
    ASSERT_EQ(wide.size(), kPiece + 2);
    EXPECT_EQ(wide[10], u'\0');
    const std::u16string back(text.begin(), text.end());
    EXPECT_EQ(U2A(back, codePage), text.substr(0, kPiece + 2));

    const std::string last = text.substr(0, kPiece);  // the last piece, though a full one
    EXPECT_EQ(A2U(last, codePage), std::u16string(10, u'a'));
    EXPECT_EQ(U2A(std::u16string(last.begin(), last.end()), codePage), Letters(10));
  }
}

TEST(Pieces, DoubleByteRoomIsCountedPieceByPiece) {
  // Spare room in one piece does not help another, and there is none to spare: ASCII fills its own.
  const std::u16string text = std::u16string(kPiece, u'a') + u"語";
  EXPECT_THROW(U2A(text, 932), Except);
  EXPECT_EQ(U2A(std::u16string(kPiece + 1, u'a'), 932), Letters(kPiece + 1));
}

TEST(Pieces, LineEndAcrossPiecesIsFixed) {
  const std::string text = Letters(kPiece - 1) + "\n" + Letters(5);
  const std::u16string wide = A2U(text, 1251, true);
  EXPECT_EQ(wide.substr(kPiece - 1, 3), u"\r\na");
  EXPECT_EQ(U2A(wide, 1251, true), text);
}

}  // namespace
