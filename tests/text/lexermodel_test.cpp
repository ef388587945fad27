// The lexer beside a naive model, on all short texts.
#include "kvorlib/lexer.h"
#include "support/allwords.h"
#include "text/bothwidths.h"

namespace {

struct Tag {
  int code;
  std::string open, close;
  char escape;
};

struct Answer {
  int code, begin, size, length, moved;
  bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& a, std::ostream* out) {
  *out << a.code << " at " << a.begin << '+' << a.size << " length " << a.length << " moved "
       << a.moved;
}

struct Model {
  std::string alphabet, ident, separ, white, eol;
  std::vector<Tag> tags;
  bool ignoreCase = false;

  std::string Folded(std::string text) const {
    if (ignoreCase)
      for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  }
  bool BeginsWith(const std::string& text, const std::string& prefix) const {
    return Folded(text).starts_with(Folded(prefix));
  }
  std::size_t Find(const std::string& text, const std::string& sought, std::size_t from) const {
    return Folded(text).find(Folded(sought), from);
  }
  static bool In(const std::string& set, char c) { return c == 0 || set.find(c) != set.npos; }

  // The tag that begins the text, the longest one.
  const Tag* TagOf(const std::string& text) const {
    const Tag* best = nullptr;
    for (const Tag& tag : tags)
      if (BeginsWith(text, tag.open) && (best == nullptr || tag.open.size() > best->open.size()))
        best = &tag;
    return best;
  }
  std::size_t BodyOf(const std::string& text, const Tag& tag) const {
    std::size_t from = tag.open.size();
    for (std::size_t hit; (hit = Find(text, tag.close, from)) != text.npos; from = hit + 1) {
      const bool escaped = tag.escape != 0 && hit > from && text[hit - 1] == tag.escape &&
                           (hit == from + 1 || text[hit - 2] != tag.escape);
      if (!escaped) return hit - tag.open.size();
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
    if (const Answer tagged = Tagged(text); tagged.code != 0) return tagged;
    int n = 0;
    while (n < static_cast<int>(text.size()) && In(white, text[n])) ++n;
    if (n > 0) return {1, 0, n, n, 0};
    if (In(separ, text[0])) return {2, 0, 1, 1, 0};
    if (text.starts_with(eol))
      return {6, 0, static_cast<int>(eol.size()), static_cast<int>(eol.size()), 0};
    bool letters = true;
    for (; n < static_cast<int>(text.size()) && !In(separ + white + eol, text[n]); ++n)
      letters = letters && In(ident, text[n]);
    return {letters ? 3 : 5, 0, n, n, 0};
  }
  // Plain text up to a tag is told too short, and passed over.
  Answer Items(const std::string& text) const {
    if (const Answer tagged = Tagged(text); tagged.code != 0) return tagged;
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
class LexerModel : public testing::Test {
 public:
  template <class Call>
  static Answer Told(const std::basic_string<T>& text, Call call) {
    BASE_STRING<T> input = Slice(text), item;
    Answer answer{};
    answer.code = call(input, item, answer.length);
    answer.begin = static_cast<int>(item.ptr - text.data());
    answer.size = item.len;
    answer.moved = static_cast<int>(input.ptr - text.data());
    return answer;
  }
};
TYPED_TEST_SUITE(LexerModel, Widths);

TYPED_TEST(LexerModel, AnswersAsTheRulesSayOnAllShortTexts) {
  using T = TypeParam;
  for (const Model& model : models) {
    SimpleParser<T> parser(W<T>(model.ident).c_str(), W<T>(model.separ).c_str(),
                           W<T>(model.white).c_str(), W<T>(model.eol).c_str());
    std::vector<TAGSDEF<T>> tags;
    for (const Tag& tag : model.tags)
      tags.emplace_back(tag.code, W<T>(tag.open), W<T>(tag.close), T(tag.escape));
    parser.SetParsTags(tags.data(), static_cast<int>(tags.size()));
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

}  // namespace
