// The lexer beside a naive model on all short texts, and its classes of characters.
#include "kvorlib/lexer.h"

#include <array>

#include "support/allwords.h"
#include "text/bothwidths.h"

namespace {

struct Tag {
  int code;
  std::string open, close;
  char escape;
};

using Answer = std::array<int, 5>;  // the code, where it begins, its size, the length, the move

bool Member(const std::string& set, char c) { return c == 0 || set.find(c) != set.npos; }

struct Model {
  std::string alphabet, ident, separ, white, eol;
  std::vector<Tag> tags;
  bool ignoreCase = false;

  std::string Folded(std::string text) const {
    if (ignoreCase)
      for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  }
  // The tag that begins the text, the longest one.
  const Tag* TagOf(const std::string& text) const {
    const Tag* best = nullptr;
    for (const Tag& tag : tags)
      if (Folded(text).starts_with(Folded(tag.open)) &&
          (best == nullptr || tag.open.size() > best->open.size()))
        best = &tag;
    return best;
  }
  std::size_t BodyOf(const std::string& text, const Tag& tag) const {
    const std::size_t from = tag.open.size();
    for (std::size_t hit = from - 1;
         (hit = Folded(text).find(Folded(tag.close), hit + 1)) != text.npos;) {
      const bool escaped = tag.escape != 0 && hit > from && text[hit - 1] == tag.escape &&
                           (hit == from + 1 || text[hit - 2] != tag.escape);
      if (!escaped) return hit - from;
    }
    return 0;
  }
  Answer Tagged(const std::string& text) const {
    if (text.empty()) return {4, 0, 0, 0, 0};
    const Tag* const tag = TagOf(text);
    if (tag == nullptr) return {0, 0, static_cast<int>(text.size()), 0, 0};
    const int opening = static_cast<int>(tag->open.size());
    if (tag->close.empty()) return {tag->code, 0, opening, opening, 0};
    const int body = static_cast<int>(BodyOf(text, *tag));
    return {tag->code, opening, body, opening + body + static_cast<int>(tag->close.size()), 0};
  }
  Answer Item(const std::string& text) const {
    if (const Answer tagged = Tagged(text); tagged[0] != 0) return tagged;
    const auto item = [&](int code, std::size_t size) {
      const int length = static_cast<int>(std::min(size, text.size()));
      return Answer{code, 0, length, length, 0};
    };
    if (Member(white, text[0])) return item(1, text.find_first_not_of(white + '\0'));
    if (Member(separ, text[0])) return item(2, 1);
    if (text.starts_with(eol)) return item(6, eol.size());
    const std::size_t end = text.find_first_of(separ + white + eol + '\0');
    return item(text.find_first_not_of(ident) < end ? 5 : 3, end);
  }
  // Plain text up to a tag is told too short, and passed over.
  Answer Items(const std::string& text) const {
    if (const Answer tagged = Tagged(text); tagged[0] != 0) return tagged;
    const int size = static_cast<int>(text.size());
    for (int at = 0; at < size; ++at) {
      const Tag* const tag = TagOf(text.substr(static_cast<std::size_t>(at)));
      if (tag == nullptr) continue;
      const int length = at - static_cast<int>(tag->open.size());
      return {5, 0, std::max(length, 0), length, std::max(length, 0)};
    }
    return {5, 0, size, size, 0};
  }
};

const Model models[] = {
    {std::string("a1;\"\\/* \n\0", 10),
     "abc",
     ";",
     " \t",
     "\n",
     {{7, "\"", "\"", '\\'}, {8, "/*", "*/", 0}, {9, "/", "", 0}}},
    {"aAbB; ", "ab", ";a", " b", "; ", {{7, "Ab", "bb", 'A'}, {8, "bA", "", 0}}, true},
    {"ab\\n", "a", "n", "b", "nb", {{7, "ab", "b", 'a'}, {8, "a\\", "aa", '\\'}}}};

template <class T>
struct LexerTest : testing::Test {
  void SetTags(const std::vector<Tag>& given) {
    std::vector<TAGSDEF<T>> tags;
    for (const Tag& tag : given)
      tags.emplace_back(tag.code, W<T>(tag.open), W<T>(tag.close), T(tag.escape));
    parser.SetParsTags(tags.data(), static_cast<int>(tags.size()));
  }
  template <class Call>
  static Answer Told(const std::basic_string<T>& text, Call call) {
    BASE_STRING<T> input = Slice(text), item;
    int length = 0;
    const int code = call(input, item, length);
    return {code, static_cast<int>(item.ptr - text.data()), item.len, length,
            static_cast<int>(input.ptr - text.data())};
  }
  // Each item as "code:text".
  std::string Items(std::string_view content) {
    const auto text = W<T>(content);
    BASE_STRING<T> input = Slice(text), item;
    std::string items;
    for (int length = 0; input.len > 0; input += length) {
      const int code = parser.GetItem(input, item, length);
      items += (items.empty() ? "" : " ") + std::to_string(code) + ':' + U8(item);
    }
    return items;
  }
  void SetClass(int kind, const char* symbols) { parser.SetParsParam(W<T>(symbols).c_str(), kind); }
  std::string Class(int kind) { return U8({parser.GetParsParam(kind), -1}); }

  SimpleParser<T> parser;
};
TYPED_TEST_SUITE(LexerTest, Widths);

TYPED_TEST(LexerTest, AnswersAsTheRulesSayOnAllShortTexts) {
  using T = TypeParam;
  auto& parser = this->parser;
  for (const Model& model : models) {
    parser = SimpleParser<T>(W<T>(model.ident).c_str(), W<T>(model.separ).c_str(),
                             W<T>(model.white).c_str(), W<T>(model.eol).c_str());
    this->SetTags(model.tags);
    parser.GetParsTags().SetCaseMode(model.ignoreCase);
    const std::size_t longest = model.alphabet.size() > 6 ? 5 : 7;
    ForEachWord(model.alphabet, longest, [&](const std::string& word) {
      const auto text = W<T>(word);
      ASSERT_EQ(this->Told(text, [&](auto&... a) { return parser.GetItem(a...); }),
                model.Item(word))
          << word;
      ASSERT_EQ(this->Told(text, [&](auto&... a) { return parser.GetTaggedItems(a...); }),
                model.Items(word))
          << word;
    });
  }
}

TYPED_TEST(LexerTest, WhatEndsAWordFollowsTheClassesAndComesBackWithThem) {
  this->SetTags({{7, "\"", "\"", 0}});
  EXPECT_EQ(this->Items("a=b1 \t\r;\n_"), "3:a 2:= 5:b1 1: \t\r 2:; 6:\n 3:_");
  this->parser.PopPar();
  this->parser.PushPar();
  this->parser.SetParsParam(this->parser.GetParsParam(0) + 6, 2);
  EXPECT_EQ(this->Class(2) + this->Class(0), "} \t\r\n} \t\r\n \t\r\n")
      << "set from its own string";
  this->SetClass(1, "=!");
  this->SetClass(6, ";=");
  EXPECT_EQ(this->Items("a!=b};=c"), "3:a 1:!= 3:b 2:} 6:;= 3:c");
  this->SetClass(99, "-");
  this->SetClass(3, "xyz");
  EXPECT_EQ(this->Class(0), "-");
  this->parser.GetParsTags().Clear();
  this->parser.PopPar();
  EXPECT_EQ(this->Items("a;\"b\""), "3:a 2:; 7:b");
}

TEST(DerivedLexer, EachStepIsBelievedItsOwnCodeAlone) {
  struct : SimpleParser<char> {
    int CheckSepar(BASE_STRING<char>& /*item*/) const override { return 1; }
  } parser;
  BASE_STRING<char> input("x", -1), item;
  int length = 0;
  EXPECT_EQ(parser.GetItem(input, item, length), 3);
}

}  // namespace
