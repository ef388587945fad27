// How a record looks as a line of text, for each layout of keys.
#include "textform.h"

#include <charconv>
#include <cstdint>
#include <limits>

#include "json.h"

namespace kvor {
namespace {

constexpr std::size_t NumberBytes = 4;

bool ParseNumber(std::string_view text, std::int32_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

void AppendNumber(std::string& out, std::int32_t number) {
  const auto bits = static_cast<std::uint32_t>(number);
  for (unsigned shift = 0; shift < 32; shift += 8) out += static_cast<char>(bits >> shift & 0xFF);
}

std::int32_t NumberAt(std::string_view bytes) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < NumberBytes; ++i) {
    bits |= static_cast<std::uint32_t>(static_cast<std::uint8_t>(bytes[i])) << (8 * i);
  }
  return static_cast<std::int32_t>(bits);
}

std::string_view WithoutTerminator(std::string_view text) {
  if (!text.empty() && text.back() == '\0') text.remove_suffix(1);
  return text;
}

constexpr const char* NoNumber = "no whole number of 32 bits at the start";

bool FromDigits(std::string_view digits, std::string& bytes, std::string& reason) {
  reason = "not an even number of hexadecimal digits";
  return FromHex(digits, bytes);
}

// What the library takes.
bool Fits(const std::string& bytes) {
  return bytes.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max());
}

}  // namespace

// Bytes in front of the key that lines do not show.
std::size_t TextForm::HiddenFront() const {
  return kd.offset > 0 && (HiddenStop() || IsNumber()) ? static_cast<std::size_t>(kd.offset) : 0;
}

bool TextForm::NumberRecord(std::string_view line, std::string& record, std::string& reason) const {
  const std::size_t end = line.find_first_of("\t ");
  std::int32_t number = 0;
  if (!ParseNumber(line.substr(0, end), number)) {
    reason = NoNumber;
    return false;
  }
  if (end == std::string_view::npos) {
    reason = "no TAB behind the number";
    return false;
  }
  AppendNumber(record, number);
  record += line.substr(end + 1);
  return true;
}

bool TextForm::StopRecord(std::string_view line, std::string& record, std::string& reason) const {
  const std::size_t tab = line.find('\t');
  // Where the stop symbol is the terminator, a key alone is a whole record.
  if (tab == std::string_view::npos && kd.len != 0) {
    reason = "no TAB behind the key";
    return false;
  }
  record += line.substr(0, tab);
  if (tab == std::string_view::npos) return true;
  record += static_cast<char>(kd.len);
  record += line.substr(tab + 1);
  return true;
}

bool TextForm::ToRecord(std::string_view line, std::string& record, std::string& reason) const {
  if (line.empty()) {
    reason = "an empty line";
    return false;
  }
  if (!(inHex ? FromDigits(line, record, reason) : LineRecord(line, record, reason))) return false;
  reason = "Too long record";
  return Fits(record);
}

bool TextForm::LineRecord(std::string_view line, std::string& record, std::string& reason) const {
  record.assign(HiddenFront(), '\0');
  if (line.find('\0') != std::string_view::npos || !IsUtf8(line)) {
    reason = IsUtf8(line) ? "a zero byte inside the text" : "not valid UTF-8";
    return false;
  }
  if (IsNumber()) {
    if (!NumberRecord(line, record, reason)) return false;
  } else if (HiddenStop()) {
    if (!StopRecord(line, record, reason)) return false;
  } else {
    record += line;
  }
  record += '\0';
  return true;
}

std::string TextForm::ToLine(std::string_view record) const {
  if (inHex) return ToHex(record);
  const std::string_view shown = record.substr(std::min(record.size(), HiddenFront()));
  if (IsNumber()) {
    if (shown.size() < NumberBytes) return std::string(shown);
    std::string line = std::to_string(NumberAt(shown)) + '\t';
    return line += WithoutTerminator(shown.substr(NumberBytes));
  }
  std::string line(WithoutTerminator(shown));
  if (HiddenStop()) {
    const std::size_t stop = line.find(static_cast<char>(kd.len));
    if (stop != std::string::npos) line[stop] = '\t';
  }
  return line;
}

bool TextForm::ToKey(std::string_view text, std::string& key, std::string& reason) const {
  key.clear();
  if (inHex && !text.empty()) return FromDigits(text, key, reason);
  if (IsNumber() && !inHex) {
    std::int32_t number = 0;
    if (!ParseNumber(text, number)) {
      reason = "not a whole number of 32 bits";
      return false;
    }
    AppendNumber(key, number);
    return true;
  }
  if (text.empty()) {
    reason = "Empty key";
    return false;
  }
  key = text;
  if (!kd.IsText() && key.size() < kd.len) key.resize(kd.len, ' ');
  return true;
}

std::string TextForm::KeyText(std::string_view key) const {
  if (inHex) return ToHex(key);
  if (IsNumber() && key.size() == NumberBytes) return std::to_string(NumberAt(key));
  return std::string(key);
}

std::string DescribeLayout(const KEYDESCR& kd) {
  const std::string place = std::to_string(kd.offset);
  if (kd.type == 0) return "32-bit integer at byte " + place;
  if (!kd.IsText()) return std::to_string(kd.len) + " bytes at byte " + place;
  const std::string stop = kd.len == 0      ? "zero byte"
                           : kd.len == ' '  ? "blank"
                           : kd.len == '\n' ? "line feed"
                                            : "byte " + std::to_string(kd.len);
  return "text from byte " + place + " up to the first " + stop;
}

}  // namespace kvor
