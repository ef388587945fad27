// Tables of patterns, and the table of substitutions.

#include "kvorlib/searcharray.h"

#include <algorithm>
#include <utility>

namespace {

template <class C>
const std::basic_string<C>& Pattern(const STRINGPAIR<C>& pair) {
  return pair.first;
}

template <class C>
const std::basic_string<C>& Pattern(const TAGSDEF<C>& tag) {
  return tag.open;
}

}  // namespace

template <class T, class C>
void CSearchArray<T, C>::SetArray(const T* array, int count) {
  std::vector<T> given(array, array + std::max(count, 0));
  std::stable_sort(given.begin(), given.end(),
                   [](const T& a, const T& b) { return Pattern(a).size() > Pattern(b).size(); });
  records = std::move(given);
}

template <class T, class C>
bool CSearchArray<T, C>::CheckFirstPos(const BASE_STRING<C>& text, T& found) const {
  for (const T& record : records) {
    if (CmpPattern(text, Pattern(record).c_str()) == 0) continue;
    found = record;
    return true;
  }
  return false;
}

template <class T, class C>
const C* CSearchArray<T, C>::GetFirstElement(BASE_STRING<C> text, T& found) const {
  const C* best = nullptr;
  for (const T& record : records) {
    const C* hit = FindPattern(text, Pattern(record).c_str());
    if (hit == nullptr || (best != nullptr && hit >= best)) continue;
    best = hit;
    // A record with a zero character in its pattern is longer than what was found of it.
    const auto reach = hit - text.ptr + static_cast<std::ptrdiff_t>(Pattern(record).size());
    if (reach < text.len) text.len = static_cast<std::int32_t>(reach);
    found = record;
  }
  return best;
}

template <class T, class C>
const C* CSearchArray<T, C>::FindPattern(const BASE_STRING<C>& text, const C* pattern) const {
  return MyMemStr(text, pattern, caseless);
}

template <class T, class C>
int CSearchArray<T, C>::CmpPattern(const BASE_STRING<C>& text, const C* pattern) const {
  return StrEQU(text, pattern, caseless) ? 1 : 0;
}

template <class T>
bool TransArray<T>::Translate(BASE_STRING<T> text, std::basic_string<T>& result) const {
  std::basic_string<T> translated;
  STRINGPAIR<T> found;
  bool replaced = false;
  while (const T* hit = this->GetFirstElement(text, found)) {
    replaced = true;
    const auto before = static_cast<std::int32_t>(hit - text.ptr);
    translated.append(text.ptr, hit).append(found.second);
    text += before;
    if (found.first.empty()) {
      // Or the same zero character would be found for ever.
      translated += *hit;
      ++text;
    }
    text += static_cast<std::int32_t>(found.first.size());
  }
  if (text.len > 0) translated.append(text.ptr, static_cast<std::size_t>(text.len));
  result = std::move(translated);
  return replaced;
}

template <class T>
std::basic_string<T> TransArray<T>::ReverseSubst(const std::basic_string<T>& text) const {
  for (const STRINGPAIR<T>& pair : this->records)
    if (pair.second == text) return pair.first;
  return text;
}

template class CSearchArray<STRINGPAIR<char>, char>;
template class CSearchArray<STRINGPAIR<char16_t>, char16_t>;
template class CSearchArray<TAGSDEF<char>, char>;
template class CSearchArray<TAGSDEF<char16_t>, char16_t>;
template class TransArray<char>;
template class TransArray<char16_t>;
