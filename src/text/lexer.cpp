// The lexer: tags, plain items, and the classes of characters that these are made of.

#include "kvorlib/lexer.h"

#include <algorithm>
#include <utility>

namespace {

// A zero character is a member of every set, as if it were searched with the set's terminator.
template <class T>
bool IsMember(const std::basic_string<T>& set, T c) {
  return c == 0 || set.find(c) != std::basic_string<T>::npos;
}

// How many of the slice's first characters are members, or are not.
template <class T>
std::int32_t RunLength(const BASE_STRING<T>& slice, const std::basic_string<T>& set, bool members) {
  std::int32_t n = 0;
  while (n < slice.len && IsMember(set, slice.ptr[n]) == members) ++n;
  return n;
}

}  // namespace

template <class T>
SimpleParser<T>::SimpleParser(const T* ident, const T* separ, const T* white, const T* eol) {
  _SetParsParam(ident, 3);
  _SetParsParam(separ, 2);
  _SetParsParam(white, 1);
  _SetParsParam(eol, 6);
  SetAllSepar();
}

template <class T>
int SimpleParser<T>::GetItem(BASE_STRING<T>& input, BASE_STRING<T>& item, int& length) const {
  int code = GetTaggedItem(input, item, length);
  if (code != 0) return code;
  item = input;
  const bool found = (code = CheckWhite(item)) == 1 || (code = CheckSepar(item)) == 2 ||
                     (code = CheckEol(item)) == 6;
  if (!found) code = CheckIdent(item);
  length = item.len;
  return code;
}

template <class T>
int SimpleParser<T>::CheckEol(BASE_STRING<T>& item) const {
  if (!StrEQU(item, current.eol.c_str(), false)) return 0;
  item.len = static_cast<std::int32_t>(current.eol.size());
  return 6;
}

template <class T>
int SimpleParser<T>::CheckWhite(BASE_STRING<T>& item) const {
  const std::int32_t run = RunLength(item, current.white, true);
  if (run == 0) return 0;
  item.len = run;
  return 1;
}

template <class T>
int SimpleParser<T>::CheckSepar(BASE_STRING<T>& item) const {
  if (item.len <= 0 || !IsMember(current.separ, *item.ptr)) return 0;
  item.len = 1;
  return 2;
}

template <class T>
int SimpleParser<T>::CheckIdent(BASE_STRING<T>& item) const {
  item.len = RunLength(item, current.allSepar, false);
  return RunLength(item, current.ident, true) == item.len ? 3 : 5;
}

template <class T>
int SimpleParser<T>::GetTaggedItem(BASE_STRING<T>& input, BASE_STRING<T>& item, int& length) const {
  item = input;
  length = 0;
  if (input.len <= 0) return 4;
  TAGSDEF<T> tag;
  if (!current.tags.CheckFirstPos(input, tag)) return 0;
  const int body = current.tags.GetTagBodyLen(input, tag);
  const auto opening = static_cast<std::int32_t>(tag.open.size());
  length = opening;
  if (tag.close.empty()) {
    item.len = std::min(item.len, opening);
  } else {
    item += opening;
    item.len = body;
    length += body + static_cast<int>(tag.close.size());
  }
  return tag.code;
}

template <class T>
int SimpleParser<T>::GetTaggedItems(BASE_STRING<T>& input, BASE_STRING<T>& item,
                                    int& length) const {
  const int code = GetTaggedItem(input, item, length);
  if (code != 0) return code;
  TAGSDEF<T> tag;
  const T* hit = current.tags.GetFirstElement(input, tag);
  if (hit == nullptr) {
    item = input;
    length = input.len;
    return 5;
  }
  length = static_cast<int>(hit - input.ptr) - static_cast<int>(tag.open.size());
  item = input;
  item.len = std::max(length, 0);
  // Back would be into what may be no text at all: DefText, which knows its text, goes there.
  if (length > 0) input += length;
  return 5;
}

template <class T>
const T* SimpleParser<T>::GetParsParam(int kind) {
  return GetSyms(kind).c_str();
}

template <class T>
void SimpleParser<T>::SetParsParam(const T* text, int kind) {
  // The text may lie in a string that is about to change.
  const std::basic_string<T> given(text);
  _SetParsParam(given.c_str(), kind);
  if (kind != 3) SetAllSepar();
  // Once more, for the string that SetAllSepar has just made anew.
  GetSyms(kind) = given;
}

template <class T>
void SimpleParser<T>::SetParsTags(const TagsProc<T>& tags) {
  current.tags = tags;
}

template <class T>
void SimpleParser<T>::SetParsTags(const TAGSDEF<T>* array, int count) {
  current.tags = TagsProc<T>(array, count);
}

template <class T>
void SimpleParser<T>::PushPar() {
  saved.push_back(current);
}

template <class T>
void SimpleParser<T>::PopPar() {
  if (saved.empty()) return;
  current = std::move(saved.back());
  saved.pop_back();
}

template <class T>
void SimpleParser<T>::_SetParsParam(const T* text, int kind) {
  if (text == nullptr) text = GetDefaultSyms(kind);
  if (text != nullptr) GetSyms(kind) = text;
}

template <class T>
void SimpleParser<T>::SetAllSepar() {
  current.allSepar = current.separ + current.white + current.eol;
}

template <class T>
const T* SimpleParser<T>::GetDefaultSyms(int kind) const {
  switch (kind) {
    case 1:
      return STANDARD_WHITE_SYMBOLS<T>;
    case 2:
      return STANDARD_SEPAR_SYMBOLS<T>;
    case 3:
      return STANDARD_IDENT_SYMBOLS<T>;
    case 6:
      return STANDARD_EOLINE<T>;
    default:
      return nullptr;
  }
}

template <class T>
std::basic_string<T>& SimpleParser<T>::GetSyms(int kind) {
  switch (kind) {
    case 1:
      return current.white;
    case 2:
      return current.separ;
    case 3:
      return current.ident;
    case 6:
      return current.eol;
    default:
      return current.allSepar;
  }
}

template class BaseTextParser<char>;
template class BaseTextParser<char16_t>;
template class SimpleParser<char>;
template class SimpleParser<char16_t>;
