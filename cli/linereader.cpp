// The lines of an input: a file, or standard input.
#include "linereader.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>

#include "codepages.h"
#include "kvorlib/encoding.h"
#include "outcome.h"
#include "terminal.h"

namespace kvor {

namespace {

// A byte that is in no UTF-8, in the place of what is no text.
constexpr char NoText = '\xFF';

// Whether the unit is half of a surrogate pair without the other half beside it.
bool IsLone(std::u16string_view units, std::size_t at) {
  const auto is = [&](std::size_t i, unsigned kind) {
    return i < units.size() && (units[i] & 0xFC00U) == kind;
  };
  constexpr unsigned high = 0xD800;
  constexpr unsigned low = 0xDC00;
  return (is(at, high) && !is(at + 1, low)) || (is(at, low) && (at == 0 || !is(at - 1, high)));
}

std::string FromUtf16(std::string_view bytes, bool highFirst) {
  const std::u16string units = UnitsOf(bytes, highFirst);
  std::string text;
  const char16_t* rest = units.data();
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (!IsLone(units, i)) continue;
    text += w_u8(rest, &units[i]) + NoText;
    rest = &units[i] + 1;
  }
  text += w_u8(rest, units.data() + units.size());
  if (bytes.size() % 2 != 0) text += NoText;
  return text;
}

}  // namespace

LineReader::LineReader(const std::string& input, Content content)
    : name(input == "-" ? "standard input" : input), in(&std::cin) {
  if (input == "-") {
    std::ios::sync_with_stdio(false);
    std::cin.tie(nullptr);
  } else {
    errno = 0;
    file.open(input, std::ios::binary);
    if (!file) throw Failure(input, errno != 0 ? std::strerror(errno) : "cannot be opened");
    in = &file;
  }
  if (content == Content::AnyText) ReadAll();
}

void LineReader::ReadAll() {
  std::string all;
  std::array<char, std::size_t{64} * 1024> piece{};
  do {
    in->read(piece.data(), piece.size());
    all.append(piece.data(), static_cast<std::size_t>(in->gcount()));
  } while (*in);
  if (in->bad()) throw Failure(name, std::strerror(errno));
  const int codePage = GuessCodePage(all).codePage;
  if (codePage == Utf16 || codePage == BigEndianUtf16)
    all = FromUtf16(all, codePage == BigEndianUtf16);
  text.str(std::move(all));
  in = &text;
}

bool LineReader::Stalls() const {
  return in == &std::cin && in->rdbuf()->in_avail() <= 0 && !InputComesSoon();
}

bool LineReader::Next(std::string& line, Output& out, bool workPending) {
  const bool mayWait = in->rdbuf()->in_avail() <= 0;
  if (mayWait) out.Flush();
  InterruptScope::Waiting(mayWait && !workPending);
  std::getline(*in, line);
  InterruptScope::Waiting(false);
  if (in->bad()) throw Failure(name, std::strerror(errno));
  if (in->fail()) return false;  // nothing before the end
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (++number == 1 && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
  return true;
}

}  // namespace kvor
