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

// Which record stands first in the text by `find(i, text)`, and where; null if none does. Once one
// was found, those behind it are sought only as far as it reaches.
template <class T, class C, class Find>
const T* FirstRecord(const std::vector<T>& records, BASE_STRING<C> text, const C*& place,
                     Find find) {
  const T* first = nullptr;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const C* hit = find(i, text);
    if (hit == nullptr || (first != nullptr && hit >= place)) continue;
    place = hit;
    first = &records[i];
    // A record with a zero character in its pattern is longer than what was found of it.
    const auto reach = hit - text.ptr + static_cast<std::ptrdiff_t>(Pattern(*first).size());
    if (reach < text.len) text.len = static_cast<std::int32_t>(reach);
  }
  return first;
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
  const C* place = nullptr;
  const T* first =
      FirstRecord(records, text, place, [this](std::size_t i, const BASE_STRING<C>& within) {
        return FindPattern(within, Pattern(records[i]).c_str());
      });
  if (first != nullptr) found = *first;
  return place;
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
  const T* const end = text.ptr + text.len;
  // Where each record stands next, `end` for nowhere. It holds until the text is read beyond it:
  // what is rare is not sought again after each hit of what is not.
  std::vector<const T*> places(this->records.size(), nullptr);
  const auto find = [&](std::size_t i, const BASE_STRING<T>& within) -> const T* {
    const T* const pattern = this->records[i].first.c_str();
    if (places[i] == nullptr || places[i] < text.ptr) {
      const T* const next = this->FindPattern(text, pattern);
      places[i] = next != nullptr ? next : end;
    }
    const T* const last = within.ptr + within.len;
    const auto length = static_cast<std::ptrdiff_t>(std::char_traits<T>::length(pattern));
    return places[i] < last && last - places[i] >= length ? places[i] : nullptr;
  };
  const T* hit = nullptr;
  bool replaced = false;
  while (const STRINGPAIR<T>* const found = FirstRecord(this->records, text, hit, find)) {
    replaced = true;
    const auto before = static_cast<std::int32_t>(hit - text.ptr);
    translated.append(text.ptr, hit).append(found->second);
    text += before;
    if (found->first.empty()) {
      // Or the same zero character would be found for ever.
      translated += *hit;
      ++text;
    }
    text += static_cast<std::int32_t>(found->first.size());
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
