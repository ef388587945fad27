// The table of tags: how far the body of a tag reaches.

#include "kvorlib/lexer.h"

template <class T>
int TagsProc<T>::GetTagBodyLen(BASE_STRING<T> text, const TAGSDEF<T>& tag) const {
  if (this->CmpPattern(text, tag.open.c_str()) == 0) return -1;
  if (tag.close.empty()) return 0;
  text += static_cast<std::int32_t>(tag.open.size());
  const T* body = text.ptr;
  while (const T* hit = this->FindPattern(text, tag.close.c_str())) {
    // What was searched before is out of sight: an escape there protects nothing here.
    if (!CheckEscSym(text.ptr, hit, tag.escape)) return static_cast<int>(hit - body);
    text += static_cast<std::int32_t>(hit + 1 - text.ptr);
  }
  return 0;
}

// Looks back by two characters and no further.
template <class T>
bool TagsProc<T>::CheckEscSym(const T* begin, const T* pos, T escape) const {
  if (escape == 0 || pos == begin || pos[-1] != escape) return false;
  return pos - begin == 1 || pos[-2] != escape;
}

template class TagsProc<char>;
template class TagsProc<char16_t>;
