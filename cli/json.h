// Writing JSON: one value at a time into a text, escaped as RFC 8259 asks.
#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace kvor {

bool IsUtf8(std::string_view bytes);
std::string ToHex(std::string_view bytes);
// False, with `bytes` unspecified, unless `hex` is an even number of hexadecimal digits.
bool FromHex(std::string_view hex, std::string& bytes);

// An object or an array, built from front to back.
//   Json("file", name)("records", 5)("sound", true).Text()
class Json {
 public:
  Json() = default;
  template <class V>
  Json(std::string_view name, const V& value) {
    (*this)(name, value);
  }

  Json& operator()(std::string_view name, bool value) {
    return Raw(name, value ? "true" : "false");
  }
  template <std::integral N>
  requires(!std::same_as<N, bool>) Json& operator()(std::string_view name, N value) {
    return Raw(name, std::to_string(value));
  }
  Json& operator()(std::string_view name, double value);
  // Bytes that are no UTF-8 cannot stand in JSON: they come in hexadecimal, as the member
  // NAME followed by "Hex".
  Json& operator()(std::string_view name, std::string_view text);
  Json& operator()(std::string_view name, const std::string& text) {
    return (*this)(name, std::string_view(text));
  }
  Json& operator()(std::string_view name, const char* text) {
    return (*this)(name, std::string_view(text));
  }
  // `json` is a value in its written form.
  Json& Raw(std::string_view name, std::string_view json);

  std::string Text() const { return "{" + members + "}"; }

  static std::string Quoted(std::string_view utf8);

 private:
  std::string members;
};

}  // namespace kvor
