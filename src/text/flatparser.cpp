// The flat lexer.

#include "kvorlib/flatparser.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

#include "text/firstpattern.h"

namespace {

// Zero ends the text and the sets: it is in none of them.
bool In(const char* set, char c) { return c != '\0' && std::strchr(set, c) != nullptr; }

// The character at a position; behind the text there are only zeros.
char At(const PARSSTR& parser, std::int32_t position) {
  return position < parser.length ? parser.text[position] : '\0';
}

std::string_view Rest(const PARSSTR& parser) {
  return {parser.text + parser.position, static_cast<std::size_t>(parser.length - parser.position)};
}

int Classify(const PARSSTR& parser, char c) {
  if (c == '\0') return 4;
  if (In(parser.eol, c)) return 6;
  if (In(parser.separ, c)) return 2;
  if (In(parser.white, c)) return 1;
  return In(parser.ident, c) ? 3 : 5;
}

template <class Member>
std::size_t RunLength(std::string_view text, Member member) {
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), member) -
                                  text.begin());
}

struct Item {
  int code;
  std::string_view text;
  std::size_t used;  // how far it reaches
};

// The item that begins a text of at least one character.
Item Measure(const PARSSTR& parser, std::string_view text) {
  int code = Classify(parser, text.front());
  std::size_t length = code == 4 ? 0 : 1;
  if (code == 1) length = RunLength(text, [&](char c) { return In(parser.white, c); });
  if (code == 3 || code == 5) {
    length = RunLength(text, [&](char c) {
      return c != '\0' && !In(parser.white, c) && !In(parser.eol, c) && !In(parser.separ, c);
    });
    if (RunLength(text, [&](char c) { return In(parser.ident, c); }) < length) code = 5;
  }
  return {code, text.substr(0, length), length};
}

// Where the body, which begins `text`, is closed; npos if it is not.
std::size_t FindClose(std::string_view text, std::string_view close) {
  std::size_t hit = close.empty() ? std::string_view::npos : text.find(close);
  const auto escaped = [&] {
    return hit > 0 && text[hit - 1] == '\\' && (hit == 1 || text[hit - 2] != '\\');
  };
  while (hit != std::string_view::npos && escaped()) hit = text.find(close, hit + close.size());
  return hit;
}

// The command whose opening text begins `text`.
Item ReadCommand(const tagCommand& command, std::string_view text) {
  const std::string_view opening = command.open;
  if (command.close == nullptr)
    return {command.code, text.substr(0, opening.size()), opening.size()};
  const std::string_view inside = text.substr(opening.size());
  const std::string_view close = command.close;
  const std::size_t end = FindClose(inside, close);
  if (end == std::string_view::npos) return {-1, text.substr(0, opening.size()), opening.size()};
  return {command.code, inside.substr(0, end), opening.size() + end + close.size()};
}

template <class Record>
bool SetRecords(const Record* given, int count, Record (&records)[100], std::int32_t& used) {
  count = std::max(count, 0);
  std::copy(given, given + std::min(count, 100), records);
  if (count > 100) return false;
  used = count;
  return true;
}

}  // namespace

void ParsStrInit(PARSSTR* parser) {
  SetParsText(parser, nullptr, 0);
  SetParsParams(parser, nullptr, nullptr, nullptr, nullptr);
  parser->commandCount = 0;
  parser->transCount = 0;
}

void SetParsParams(PARSSTR* parser, const char* ident, const char* separ, const char* white,
                   const char* eol) {
  parser->ident = ident != nullptr ? ident : "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  parser->separ = separ != nullptr ? separ : ".,()?/\"';:";
  parser->white = white != nullptr ? white : " \t\v\r";
  parser->eol = eol != nullptr ? eol : "\n";
}

bool SetParsCommand(PARSSTR* parser, const tagCommand* commands, int count) {
  return SetRecords(commands, count, parser->commands, parser->commandCount);
}

bool SetParsTrans(PARSSTR* parser, const tagTransGroup* groups, int count) {
  return SetRecords(groups, count, parser->trans, parser->transCount);
}

void SetParsText(PARSSTR* parser, const char* text, int length) {
  parser->text = text;
  parser->length = std::max(length, 0);
  parser->position = 0;
}

bool SetParsPos(PARSSTR* parser, const char* position) {
  const std::less<> before;
  if (before(position, parser->text) || before(parser->text + parser->length, position))
    return false;
  parser->position = static_cast<std::int32_t>(position - parser->text);
  return true;
}

int GetItem(PARSSTR* parser, BASE_STRING<char>* item) {
  const std::string_view rest = Rest(*parser);
  if (rest.empty()) return 4;
  Item read = Measure(*parser, rest);
  // A command behind the item cannot shorten it, so none is sought there.
  const auto hit =
      text::FirstPattern(rest, std::max<std::size_t>(read.used, 1), parser->commandCount,
                         [&](int i) { return parser->commands[i].open; });
  if (hit.index >= 0)
    read = hit.place > 0 ? Measure(*parser, rest.substr(0, hit.place))
                         : ReadCommand(parser->commands[hit.index], rest);
  *item = BASE_STRING<char>(read.text.data(), static_cast<std::int32_t>(read.text.size()));
  parser->position += static_cast<std::int32_t>(read.used);
  return read.code;
}

void SkipLine(PARSSTR* parser) {
  const auto stops = [&](char c) { return c == '\0' || In(parser->eol, c); };
  const bool further = stops(At(*parser, parser->position));
  while (!stops(At(*parser, parser->position))) ++parser->position;
  if (further && parser->position < parser->length) ++parser->position;
}

void GetCurrLine(PARSSTR* parser, BASE_STRING<char>* line) {
  std::int32_t begin = parser->position;
  const auto atLineEnd = [&] { return In(parser->eol, At(*parser, begin)); };
  if (begin > 0 && atLineEnd()) --begin;
  while (begin > 0 && !atLineEnd()) --begin;
  if (begin > 0) ++begin;
  *line = BASE_STRING<char>(parser->text + begin, parser->position - begin);
}

int GetNumParsStro(PARSSTR* parser) {
  const std::string_view eol = parser->eol;
  std::string_view text(parser->text, static_cast<std::size_t>(parser->length));
  text = text.substr(0, text.find('\0'));
  const auto cursor = static_cast<std::size_t>(parser->position);
  int lines = 0;
  if (eol.empty()) return lines;
  for (std::size_t hit = text.find(eol); hit <= cursor && hit != std::string_view::npos;
       hit = text.find(eol, hit + eol.size()))
    ++lines;
  return lines;
}
