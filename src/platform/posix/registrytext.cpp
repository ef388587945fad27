// Reading and writing the text of a hive, line by line.
#include "platform/posix/registrytext.h"

#include <utf8.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>

#include "platform/locale.h"

namespace platform {
namespace {

constexpr std::string_view kHead =
    "# Settings of kvorlib. May be edited while no program writes to it.\n";
constexpr std::string_view kFormat = "format = 1";
constexpr std::string_view kMark = "\xEF\xBB\xBF";

bool IsHigh(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLow(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

bool Same(const std::u16string& a, const std::u16string& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char16_t x, char16_t y) { return ToUpper(x) == ToUpper(y); });
}

bool IsBelow(const std::u16string& path, const std::u16string& upper) {
  return path.size() > upper.size() && path[upper.size()] == u'\\' &&
         Same(path.substr(0, upper.size()), upper);
}

// What an editor may change or hide: controls, separators of lines, marks of direction, non-signs.
bool NeedsNumber(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || (c >= 0x200B && c <= 0x200F) ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF || c >= 0xFFFE;
}

void PutNumber(std::string& out, char16_t unit) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[unit >> shift & 15];
}

std::string Quoted(const std::u16string& text) {
  std::string out = "\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (IsHigh(c) && i + 1 < text.size() && IsLow(text[i + 1])) {
      utf8::append(0x10000 + ((c - 0xD800U) << 10) + (text[++i] - 0xDC00U),
                   std::back_inserter(out));
    } else if (c == u'"' || c == u'\\') {
      out += {'\\', static_cast<char>(c)};
    } else if (c == u'\n' || c == u'\r' || c == u'\t') {
      out += {'\\', c == u'\n' ? 'n' : c == u'\r' ? 'r' : 't'};
    } else if (NeedsNumber(c) || IsHigh(c) || IsLow(c)) {
      PutNumber(out, c);
    } else {
      utf8::append(static_cast<char32_t>(c), std::back_inserter(out));
    }
  }
  return out += '"';
}

// The rest of a line, eaten from the left.
class Rest {
 public:
  explicit Rest(std::string_view line) : text(line) {}

  bool Eat(char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
  }
  bool Eat(std::string_view word) {
    if (!text.starts_with(word)) return false;
    text.remove_prefix(word.size());
    return true;
  }
  void EatBlanks() { text.remove_prefix(std::min(text.find_first_not_of(" \t\r"), text.size())); }
  bool Ended() const { return text.empty(); }
  std::string_view Left() const { return text; }

  std::optional<std::u16string> EatQuoted() {
    std::u16string out;
    if (!Eat('"')) return std::nullopt;
    while (!Eat('"')) {
      if (Ended() || static_cast<unsigned char>(text.front()) < 0x20) return std::nullopt;
      if (Eat('\\')) {
        if (!EatEscape(out)) return std::nullopt;
        continue;
      }
      const std::size_t plain = std::min(text.find_first_of("\\\""), text.size());
      utf8::unchecked::utf8to16(text.begin(), text.begin() + plain, std::back_inserter(out));
      text.remove_prefix(plain);
    }
    return out;
  }

 private:
  // Behind a backslash.
  bool EatEscape(std::u16string& out) {
    constexpr std::pair<char, char16_t> kLetters[] = {
        {'\\', u'\\'}, {'"', u'"'}, {'n', u'\n'}, {'r', u'\r'}, {'t', u'\t'}};
    for (const auto& [letter, meant] : kLetters) {
      if (Eat(letter)) return out += meant, true;
    }
    if (!Eat('u') || text.size() < 4) return false;
    unsigned unit = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + 4, unit, 16);
    if (error != std::errc() || end != text.data() + 4) return false;
    text.remove_prefix(4);
    out += static_cast<char16_t>(unit);
    return true;
  }

  std::string_view text;
};

// The line that tells the format.
const char* ParseFormat(std::string_view text) {
  Rest rest(text);
  rest.EatBlanks();
  if (!rest.Eat("format")) return "the format is not told";
  rest.EatBlanks();
  if (!rest.Eat('=')) return "the format is not told";
  rest.EatBlanks();
  const bool first = rest.Eat('1');
  rest.EatBlanks();
  if (first && rest.Ended()) return nullptr;
  const bool number = rest.Left().find_first_not_of("0123456789 \t\r") == std::string_view::npos;
  return number && (first || !rest.Ended()) ? "a format that only later versions understand"
                                            : "the format is not told";
}

bool IsKept(std::string_view text) {
  Rest rest(text);
  rest.EatBlanks();
  return rest.Ended() || rest.Eat('#');
}

}  // namespace

RegistryText::RegistryText() {
  std::string words;
  Parse(std::string(kHead) + std::string(kFormat) + '\n', words);
}

// Null when it is understood.
const char* RegistryText::ParseLine(std::string_view text, Line& line) {
  line.text = text;
  if (IsKept(text)) return nullptr;
  if (utf8::find_invalid(text.begin(), text.end()) != text.end()) return "not UTF-8";
  Rest rest(text);
  rest.EatBlanks();
  const bool section = rest.Eat('[');
  rest.EatBlanks();
  auto name = rest.EatQuoted();
  if (!name) return section ? "no key inside the bracket" : "neither a key nor a value";
  line.kind = section ? Kind::Section : Kind::Value;
  line.name = std::move(*name);
  rest.EatBlanks();
  if (!rest.Eat(section ? ']' : '=')) return section ? "no closing bracket" : "no equals sign";
  rest.EatBlanks();
  if (!section) {
    auto value = rest.EatQuoted();
    if (!value) return "no whole value in quotes";
    line.value = std::move(*value);
    rest.EatBlanks();
  }
  return rest.Ended() ? nullptr : "something stands behind the end";
}

bool RegistryText::Parse(std::string_view text, std::string& words) {
  lines.clear();
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  bool formatTold = false;
  bool inSection = false;
  while (!text.empty()) {
    const std::string_view one = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(one.size() + 1, text.size()));
    Line line;
    const char* fault = nullptr;
    if (formatTold || IsKept(one)) {
      fault = ParseLine(one, line);
    } else {
      fault = ParseFormat(one);
      formatTold = true;
      line.text = one;
    }
    inSection = inSection || line.kind == Kind::Section;
    if (fault == nullptr && line.kind == Kind::Value && !inSection) fault = "a value of no key";
    if (fault == nullptr && !Unique(line)) fault = "the same name a second time";
    if (fault != nullptr) {
      words = "line " + std::to_string(lines.size() + 1) + ": " + fault;
      return false;
    }
    lines.push_back(std::move(line));
  }
  if (!formatTold) words = "the format is not told";
  return formatTold;
}

// Whether nothing before the line bears its name.
bool RegistryText::Unique(const Line& line) const {
  if (line.kind == Kind::Kept) return true;
  for (auto at = lines.rbegin(); at != lines.rend(); ++at) {
    if (at->kind == line.kind && Same(at->name, line.name)) return false;
    if (line.kind == Kind::Value && at->kind == Kind::Section) return true;
  }
  return true;
}

std::string RegistryText::Text() const {
  std::string out;
  for (const Line& line : lines) out += line.text + '\n';
  return out;
}

std::pair<std::size_t, std::size_t> RegistryText::Section(const std::u16string& path) const {
  const auto isHead = [](const Line& line) { return line.kind == Kind::Section; };
  const auto head = std::find_if(lines.begin(), lines.end(), [&](const Line& line) {
    return isHead(line) && Same(line.name, path);
  });
  if (head == lines.end()) return {lines.size(), lines.size()};
  const auto end = std::find_if(head + 1, lines.end(), isHead);
  return {head - lines.begin(), end - lines.begin()};
}

bool RegistryText::Has(const std::u16string& path) const {
  return Section(path).first != lines.size() || HasBelow(path);
}

bool RegistryText::HasBelow(const std::u16string& path) const {
  return std::any_of(lines.begin(), lines.end(), [&](const Line& line) {
    return line.kind == Kind::Section && IsBelow(line.name, path);
  });
}

RegistryValues RegistryText::Values(const std::u16string& path) const {
  RegistryValues values;
  const auto [begin, end] = Section(path);
  for (std::size_t i = begin; i < end; ++i) {
    if (lines[i].kind == Kind::Value) values.emplace_back(lines[i].name, lines[i].value);
  }
  return values;
}

RegistryText::Line RegistryText::SectionLine(const std::u16string& path) {
  return {Kind::Section, '[' + Quoted(path) + ']', path, {}};
}

RegistryText::Line RegistryText::ValueLine(const std::u16string& name,
                                           const std::u16string& value) {
  return {Kind::Value, Quoted(name) + " = " + Quoted(value), name, value};
}

void RegistryText::Add(const std::u16string& path) {
  if (Section(path).first != lines.size()) return;
  lines.emplace_back();
  lines.push_back(SectionLine(path));
}

// A new value goes behind the section's last one, before what a person wrote about the next.
void RegistryText::Set(const std::u16string& path, const std::u16string& name,
                       const std::u16string& value) {
  Add(path);
  const auto [begin, end] = Section(path);
  std::size_t behind = begin + 1;
  for (std::size_t i = begin; i < end; ++i) {
    if (lines[i].kind != Kind::Value) continue;
    if (Same(lines[i].name, name)) {
      lines[i] = ValueLine(lines[i].name, value);
      return;
    }
    behind = i + 1;
  }
  lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(behind), ValueLine(name, value));
}

void RegistryText::Empty(const std::u16string& path) {
  const auto [begin, end] = Section(path);
  const auto at = [&](std::size_t i) { return lines.begin() + static_cast<std::ptrdiff_t>(i); };
  lines.erase(
      std::remove_if(at(begin), at(end), [](const Line& line) { return line.kind == Kind::Value; }),
      at(end));
}

void RegistryText::Erase(const std::u16string& path) {
  Empty(path);
  const auto [head, end] = Section(path);
  if (head == end) return;
  lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(head));
  // The empty line that was put in front of it, but never a comment.
  if (head > 0 && lines[head - 1].text.empty())
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(head) - 1);
}

}  // namespace platform
