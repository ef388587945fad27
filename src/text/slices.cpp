// The two comparisons on which every search in a text rests.

#include <algorithm>
#include <string>

#include "kvorlib/searcharray.h"
#include "text/charcase.h"

namespace {

// In 64 bits: a pattern may be longer than any slice.
template <class T>
std::int64_t Length(const T* text) {
  return static_cast<std::int64_t>(std::char_traits<T>::length(text));
}

template <class T>
bool BeginsWith(const BASE_STRING<T>& slice, const T* text, std::int64_t length, bool ignoreCase) {
  if (length > slice.len) return false;
  if (!ignoreCase) return std::equal(text, text + length, slice.ptr);
  return std::equal(text, text + length, slice.ptr,
                    [](T a, T b) { return text::Fold(a) == text::Fold(b); });
}

template <class T>
const T* Find(BASE_STRING<T> slice, const T* pattern, bool ignoreCase) {
  const T first = pattern[0];
  const T other = ignoreCase ? text::OtherCase(first) : first;
  const std::int64_t length = Length(pattern);
  while (slice.len > 0) {
    const T* end = slice.ptr + slice.len;
    const T* hit = std::find_if(slice.ptr, end, [&](T c) { return c == first || c == other; });
    slice += static_cast<std::int32_t>(hit - slice.ptr);
    if (hit == end || length > slice.len) return nullptr;
    if (BeginsWith(slice, pattern, length, ignoreCase)) return hit;
    ++slice;
  }
  return nullptr;
}

}  // namespace

bool StrEQU(const BASE_STRING<char>& slice, const char* text, bool ignoreCase) {
  return BeginsWith(slice, text, Length(text), ignoreCase);
}

bool StrEQU(const BASE_STRING<char16_t>& slice, const char16_t* text, bool ignoreCase) {
  return BeginsWith(slice, text, Length(text), ignoreCase);
}

const char* MyMemStr(BASE_STRING<char> slice, const char* pattern, bool ignoreCase) {
  return Find(slice, pattern, ignoreCase);
}

const char16_t* MyMemStr(BASE_STRING<char16_t> slice, const char16_t* pattern, bool ignoreCase) {
  return Find(slice, pattern, ignoreCase);
}
