// Numbered code pages: conversion to and from UTF-16, the catalogue of their names, and the guess
// whether bytes are UTF-16. A port owes exactly what this header says.
//
// Numbers are those of Windows on every platform: 1251, 866, 20866, 65001 …
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

constexpr int kUtf8CodePage = 65001;

// The code page of the user's environment; 65001 when it names none. Never 0.
int SystemCodePage();

// Converts all of `text`, zero characters included, and appends it to `out`. Bad bytes give the
// page's own sign for them; bytes without a meaning give private-use units that convert back.
// Never more than two units for a byte. False, with `errno` EINVAL and `out` untouched, when there
// is no conversion under this number.
bool DecodeCodePage(int codePage, std::string_view text, std::u16string& out);

// How many bytes in front are characters of the page: all of them, or those before the first bad
// one. Nothing when there is no conversion under this number.
std::optional<std::size_t> ValidLength(int codePage, std::string_view text);

// Converts all of `text` and appends it to `out`. What the page lacks becomes what is nearest to it
// there, else '?' (a surrogate pair: two). False, with `out` untouched: `errno` EINVAL when there
// is no conversion under this number, ENOBUFS when the result has more than `room` bytes.
bool EncodeCodePage(int codePage, std::u16string_view text, std::size_t room, std::string& out);

// One entry of the catalogue. Not every page that converts is in it, nor the reverse.
struct CodePageInfo {
  int codePage;
  const char* webCharset;   // ASCII
  const char* description;  // ASCII
};

// Null when the catalogue has no such page.
const CodePageInfo* FindCodePage(int codePage);
// The code page that texts labelled `charset` are in, whatever the case of the letters and the
// hyphens and underscores between them.
std::optional<int> FindCharset(std::u16string_view charset);

// Whether the bytes look like UTF-16, little-endian.
bool LooksLikeUtf16(const void* data, std::size_t size);

}  // namespace platform
