// A cursor over a text in memory.

#include <algorithm>
#include <functional>
#include <string>

#include "kvorlib/textbuffer.h"

template <class T>
void DefText<T>::SetText(const BASE_STRING<T>& text) {
  cursor = text;
  start = cursor.ptr;
}

template <class T>
void DefText<T>::GetText(BASE_STRING<T>& text) const {
  text = BASE_STRING<T>(start, GetTextLen());
}

template <class T>
int DefText<T>::GetTextLen() const {
  return static_cast<int>(cursor.ptr - start) + cursor.len;
}

template <class T>
bool DefText<T>::SetCurPos(const T* position) {
  // Any pointer may come, and < of pointers into different texts means nothing.
  const std::less<> before;
  if (before(position, start) || before(cursor.ptr + cursor.len, position)) return false;
  cursor += static_cast<std::int32_t>(position - cursor.ptr);
  return true;
}

template <class T>
DefText<T>& DefText<T>::operator+=(int count) {
  cursor += std::max(count, -static_cast<int>(cursor.ptr - start));
  return *this;
}

template <class T>
int DefText<T>::GetItem(BASE_STRING<T>& item) {
  int length = 0;
  const int code = lexer->GetItem(cursor, item, length);
  *this += length;
  return code;
}

template <class T>
int DefText<T>::GetTaggedItems(BASE_STRING<T>& item) {
  const T* before = cursor.ptr;
  int length = 0;
  const int code = lexer->GetTaggedItems(cursor, item, length);
  // Every move before a tag is made twice; a lexer leaves both moves back to the text, which knows
  // where they must end.
  if (length < 0 && cursor.ptr == before) *this += length;
  *this += length;
  return code;
}

template <class T>
bool DefText<T>::GetCurrLine(BASE_STRING<T>& line) {
  const std::basic_string<T> eol = lexer->GetParsParam(6);
  const T* begin = cursor.ptr;
  const auto n = static_cast<std::ptrdiff_t>(eol.size());
  while (begin - start >= n && !std::equal(eol.begin(), eol.end(), begin - n)) --begin;
  const bool skipped = SkipLine();
  line = BASE_STRING<T>(begin, static_cast<std::int32_t>(cursor.ptr - begin));
  return skipped;
}

template <class T>
bool DefText<T>::SkipLine() {
  const BASE_STRING<T> eol(lexer->GetParsParam(6), -1);
  if (const T* hit = MyMemStr(cursor, eol.ptr, true)) return SetCurPos(hit + eol.len);
  if (cursor.len <= 0) return false;
  cursor += cursor.len;
  return true;
}

template <class T>
void DefText<T>::GetCoord(int& line, int& column) {
  // The wide count goes by two: callers number lines by it.
  constexpr int step = sizeof(T) == 1 ? 1 : 2;
  const int position = static_cast<int>(cursor.ptr - start);
  const T* end = start + position;
  int mark = 0;
  int next = 0;
  for (line = 1;; ++line) {
    mark = next;
    if (mark + step >= position) break;
    const T* hit = std::find(start + mark + step, end, T(10));
    if (hit == end) break;
    next = static_cast<int>(hit - start);
  }
  column = position - mark;
}

template class DefText<char>;
template class DefText<char16_t>;
