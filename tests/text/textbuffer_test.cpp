// Cursors over texts, and texts from files.

#include "kvorlib/textbuffer.h"

#include "support/tempfolder.h"
#include "text/bothwidths.h"

template <class T>
class TextBufferTest : public testing::Test {
 public:
  // With the cursor `position` characters behind the beginning.
  LoadText<T> Text(std::string_view content, int position = 0) {
    LoadText<T> text;
    text.SetText(W<T>(content));
    text.SetTextParser(&parser);
    text += position;
    return text;
  }

  // The loaded text, or "no" when loading fails.
  std::string Loaded(std::string_view name, const TransArray<T>* table = nullptr) {
    LoadText<T> text = Text("former");
    if (!text.Load(W<T>(folder.Path(std::string(name))).c_str(), table))
      return text.IsEmpty() ? "no" : "no, but there is a text";
    BASE_STRING<T> all;
    text.GetText(all);
    return U8(all);
  }
  const char* Write(std::string_view bytes) {
    folder.Write("текст 😀", std::string(bytes));
    return "текст 😀";
  }

  SimpleParser<T> parser;
  BASE_STRING<T> item;
  TempFolder folder;
};
TYPED_TEST_SUITE(TextBufferTest, Widths);

TYPED_TEST(TextBufferTest, TheCursorIsSetAnywhereInTheTextAndNowhereElse) {
  auto text = this->Text("abcdef", 9);
  const TypeParam* begin = text.GetText();
  EXPECT_TRUE(text.SetCurPos(begin + 2) && text.SetCurPos(begin + 6));
  EXPECT_FALSE(text.SetCurPos(begin + 7) || text.SetCurPos(begin - 1) || text.SetCurPos(nullptr));
  EXPECT_EQ(text.GetCurrPos(), begin + text.GetTextLen());
}

TYPED_TEST(TextBufferTest, CoordinatesCountLinesAsMessagesDo) {
  using Place = std::pair<int, int>;
  const std::tuple<const char*, int, Place, Place> rows[] = {
      {"ab\ncd", 0, {1, 0}, {1, 0}},  {"ab\ncd", 2, {1, 2}, {1, 2}}, {"ab\ncd", 3, {2, 1}, {2, 1}},
      {"\nab", 2, {1, 2}, {1, 2}},    {"a\nb", 2, {2, 1}, {1, 2}},   {"ab\n\nc", 4, {3, 1}, {2, 2}},
      {"ab\nc\nd", 5, {3, 1}, {3, 1}}};
  for (const auto& [content, position, narrow, wide] : rows) {
    Place place;
    this->Text(content, position).GetCoord(place.first, place.second);
    EXPECT_EQ(place, sizeof(TypeParam) == 1 ? narrow : wide) << content << position;
  }
}

TYPED_TEST(TextBufferTest, ALineIsGivenWholeAndLeftBehind) {
  const std::tuple<const char*, const char*, int, const char*, bool> rows[] = {
      {"\n", "a\nbc\ndef\ng", 6, "def\n", true},
      {"\n", "a\nb", 3, "b", false},
      {"end", "abcdefENDg", 5, "cdefEND", true},
      {"end", "xendab", 5, "ab", true}};
  for (const auto& [eol, content, position, whole, answer] : rows) {
    this->parser.SetParsParam(W<TypeParam>(eol).c_str(), 6);
    auto text = this->Text(content, position);
    EXPECT_EQ(text.GetCurrLine(this->item), answer) << content;
    EXPECT_EQ(U8(this->item), whole);
    EXPECT_EQ(text.GetCurrPos(), this->item.ptr + this->item.len);
  }
}

TYPED_TEST(TextBufferTest, BeforeATagTheCursorMovesTwiceForwardOrBackButNotOutOfTheText) {
  const TAGSDEF<TypeParam> tag(7, W<TypeParam>("<<<"), W<TypeParam>(">"), 0);
  this->parser.SetParsTags(&tag, 1);
  const std::tuple<const char*, int, int, const char*, int> rows[] = {
      {"abcdef<<<x>", 0, 5, "abc", 6}, {"abcdef<<<x>", 5, 5, "", 1}, {"a<<<x>", 0, 5, "", 0},
      {"abcdef<<<x>", 6, 7, "x", 11},  {"<<<x", 0, 7, "", 4},        {"ab c", 1, 5, "b c", 4}};
  for (const auto& [content, from, code, plain, to] : rows) {
    auto text = this->Text(content, from);
    EXPECT_EQ(text.GetTaggedItems(this->item), code) << content << from;
    EXPECT_EQ(U8(this->item), plain);
    EXPECT_EQ(text.GetCurrPos() - text.GetText(), to) << content << from;
  }
}

TYPED_TEST(TextBufferTest, ACopyReadsOnInATextOfItsOwn) {
  LoadText<TypeParam> copy;
  {
    auto source = this->Text("ab cd", 3);
    copy = source;
    EXPECT_NE(copy.GetCurrPos(), source.GetCurrPos());
    source.GetCurrPos(this->item);
    source.SetText(this->item);
    EXPECT_EQ(source.GetTextLen(), 2) << "set from a part of its own";
  }
  EXPECT_EQ(copy.GetItem(this->item), 3);
  EXPECT_EQ(U8(this->item), "cd");
}

TYPED_TEST(TextBufferTest, FilesOfEitherEncodingLoadIntoEitherWidth) {
  const std::tuple<std::string_view, const char*, const char*> rows[] = {
      {"a\nb\r\nя", "a\nb\r\nя", "a\r\nb\r\nя"},
      {"\xFF\xFE\x1F\x04\r\0\n\0b\0"sv, "П\nb", "П\r\nb"},
      {"ab\0c"sv, "ab", "ab"},
      {"", "", ""}};
  for (const auto& [bytes, narrow, wide] : rows)
    EXPECT_EQ(this->Loaded(this->Write(bytes)), sizeof(TypeParam) == 1 ? narrow : wide) << bytes;
  const STRINGPAIR<TypeParam> pair{W<TypeParam>("b"), W<TypeParam>("bb")};
  const TransArray<TypeParam> table(&pair, 1);
  EXPECT_EQ(this->Loaded(this->Write("abc"), &table), "abbc");
  // Long enough for a conversion in pieces to cut one of its characters.
  std::string longText = "a";
  for (int i = 0; i < 40000; ++i) longText += "я";
  EXPECT_TRUE(this->Loaded(this->Write(longText)) == longText);
  std::filesystem::resize_file(this->folder.Path("текст 😀"), std::uintmax_t{1} << 31);
  for (const char* no : {"missing", "", "текст 😀"}) EXPECT_EQ(this->Loaded(no), "no") << no;
}
