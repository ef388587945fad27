// Writing JSON: one value at a time into a text, escaped as RFC 8259 asks.
#include "json.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace kvor {
namespace {

constexpr std::string_view Digits = "0123456789abcdef";

int DigitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// How many bytes the character at `at` takes; 0 when it is no sound UTF-8 (overlong forms,
// surrogates and numbers above 10FFFF are none).
std::size_t CharacterAt(std::string_view s, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(s[at + i]); };
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || s.size() - at < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  const std::uint8_t second = byte(1);
  if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
      (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
    return 0;
  }
  return length;
}

}  // namespace

bool IsUtf8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t length = CharacterAt(bytes, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string ToHex(std::string_view bytes) {
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    hex += Digits[byte >> 4];
    hex += Digits[byte & 15];
  }
  return hex;
}

bool FromHex(std::string_view hex, std::string& bytes) {
  bytes.clear();
  if (hex.size() % 2 != 0) return false;
  bytes.reserve(hex.size() / 2);
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const int high = DigitOf(hex[i]);
    const int low = DigitOf(hex[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes += static_cast<char>(high * 16 + low);
  }
  return true;
}

std::string Json::Quoted(std::string_view utf8) {
  std::string out = "\"";
  for (const char c : utf8) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else if (byte < 0x20 || byte == 0x7F) {
      out += "\\u00";
      out += Digits[byte >> 4];
      out += Digits[byte & 15];
    } else {
      out += c;
    }
  }
  return out + '"';
}

Json& Json::Raw(std::string_view name, std::string_view json) {
  if (!members.empty()) members += ',';
  members += Quoted(name);
  members += ':';
  members += json;
  return *this;
}

Json& Json::operator()(std::string_view name, double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.4f", value);
  return Raw(name, text.data());
}

Json& Json::operator()(std::string_view name, std::string_view text) {
  if (IsUtf8(text)) return Raw(name, Quoted(text));
  return Raw(std::string(name) + "Hex", Quoted(ToHex(text)));
}

}  // namespace kvor
