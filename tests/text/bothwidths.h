// What the typed suites of this family share: texts in either width, from and to UTF-8.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>

#include "kvorlib/encoding.h"
#include "kvorlib/searcharray.h"

using namespace std::string_view_literals;
using Widths = testing::Types<char, char16_t>;

template <class T>
std::basic_string<T> W(std::string_view utf8) {
  if constexpr (sizeof(T) == 1) return std::string(utf8);
  if constexpr (sizeof(T) == 2) return u8_w(utf8.data(), utf8.data() + utf8.size());
}
inline std::string U8(BASE_STRING<char> text) { return std::string(text.ptr, text.ptr + text.len); }
inline std::string U8(BASE_STRING<char16_t> text) { return w_u8(text.ptr, text.ptr + text.len); }

template <class T>
BASE_STRING<T> Slice(const std::basic_string<T>& text) {
  return {text.data(), static_cast<int>(text.size())};
}
