// Slices of text that somebody else owns, and tables of patterns that are searched as a set.
//
//   TransArray<char> entities;
//   const STRINGPAIR<char> pairs[] = {{"&lt;", "<"}, {"&amp;", "&"}};
//   entities.SetArray(pairs, 2);
//   std::string plain;
//   entities.Translate(BASE_STRING<char>("a &lt; b", -1), plain);  // "a < b"
//
// Everything is there for char and char16_t and behaves alike in both. Searches change nothing and
// may run at the same time on one table; nothing here fails but for want of memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "kvorlib/export.h"

// A piece of text: not terminated, not owned, good only as long as its owner keeps the characters.
template <class T>
struct KVORLIB_API BASE_STRING {
  const T* ptr = nullptr;
  std::int32_t len = 0;

  BASE_STRING() = default;
  // `length` -1 measures the text up to its terminator, but for what is behind 2^31 - 1 characters;
  // null measures 0.
  // REQUIRES: `length` >= -1.
  BASE_STRING(const T* text, std::int32_t length)
      : ptr(text), len(length == -1 ? Measure(text) : length) {}

  // Moves the beginning forward by `n` characters, never past the end. A negative `n` moves it
  // back and lengthens the slice. A null slice stays.
  // REQUIRES: that the owner has -`n` characters before a slice that moves back.
  BASE_STRING& operator+=(std::int32_t n) {
    if (ptr != nullptr) {
      if (n > len) n = len;
      ptr += n;
      len -= n;
    }
    return *this;
  }
  // Forward by one character, unless there is none.
  BASE_STRING& operator++() { return len == 0 ? *this : *this += 1; }

 private:
  static std::int32_t Measure(const T* text) {
    if (text == nullptr) return 0;
    constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(most, std::char_traits<T>::length(text)));
  }
};

// Whether the slice BEGINS with the terminated text, of which the empty one begins everything.
//
// Case is folded character by character: narrow text by the process's locale, wide text by the
// simple mappings of Unicode, the same in every language.
KVORLIB_API bool StrEQU(const BASE_STRING<char>& slice, const char* text, bool ignoreCase);
KVORLIB_API bool StrEQU(const BASE_STRING<char16_t>& slice, const char16_t* text, bool ignoreCase);

// The first place in the slice where the terminated pattern stands, or null. An empty pattern is
// found only at a zero character.
//
// Without regard to case the pattern's first character is sought in two forms, which are those of
// the process's 8-bit locale in both widths: wide text beyond it must have the first character in
// the pattern's own case, and all others in any.
KVORLIB_API const char* MyMemStr(BASE_STRING<char> slice, const char* pattern, bool ignoreCase);
KVORLIB_API const char16_t* MyMemStr(BASE_STRING<char16_t> slice, const char16_t* pattern,
                                     bool ignoreCase);

// One substitution.
template <class T>
struct KVORLIB_API STRINGPAIR {
  std::basic_string<T> first;   // what is searched for
  std::basic_string<T> second;  // what it stands for
};

// One tag of the lexer (lexer.h).
template <class T>
struct KVORLIB_API TAGSDEF {
  std::basic_string<T> open;   // what opens it
  std::basic_string<T> close;  // what closes it; empty for a tag that is only a marker
  T escape = 0;                // protects a `close` inside the body; 0 for none
  std::int32_t code = 0;       // what the lexer answers for it; 7 and above

  TAGSDEF() = default;
  TAGSDEF(std::int32_t itemCode, const std::basic_string<T>& opening,
          const std::basic_string<T>& closing, T escapeSymbol)
      : open(opening), close(closing), escape(escapeSymbol), code(itemCode) {}
};

// A table of records T, each with a pattern (`first` or `open`) of characters C. SetArray puts
// longer patterns first, so that the longest wins wherever two match at the same place; records
// of one length keep their order.
template <class T, class C>
class KVORLIB_API CSearchArray {
 public:
  CSearchArray() = default;
  CSearchArray(const T* array, int count) { SetArray(array, count); }

  // Replaces the contents by `count` records, which may be the table's own.
  void SetArray(const T* array, int count);
  void Clear() { records.clear(); }
  bool empty() const { return records.empty(); }
  // Whether comparisons ignore case; at first they do not.
  void SetCaseMode(bool ignoreCase) { caseless = ignoreCase; }
  // The records themselves. What a caller adds is not sorted in: it is tried where it stands.
  std::vector<T>& GetArray() { return records; }

  // Whether the text begins with a pattern; `found` becomes the first record that fits, and stays
  // as it is if none does.
  bool CheckFirstPos(const BASE_STRING<C>& text, T& found) const;
  // Where the first occurrence of any pattern begins, or null; `found` becomes its record. Once
  // a record was found, those behind it are sought only as far as that occurrence reaches.
  const C* GetFirstElement(BASE_STRING<C> text, T& found) const;

 protected:
  // Where the pattern stands in the text, or null.
  virtual const C* FindPattern(const BASE_STRING<C>& text, const C* pattern) const;
  // Not 0 when the text begins with the pattern: a truth value, no ordering.
  virtual int CmpPattern(const BASE_STRING<C>& text, const C* pattern) const;

  std::vector<T> records;
  bool caseless = false;
};

extern template class CSearchArray<STRINGPAIR<char>, char>;
extern template class CSearchArray<STRINGPAIR<char16_t>, char16_t>;
extern template class CSearchArray<TAGSDEF<char>, char>;
extern template class CSearchArray<TAGSDEF<char16_t>, char16_t>;

// A table of substitutions.
template <class T>
class KVORLIB_API TransArray : public CSearchArray<STRINGPAIR<T>, T> {
 public:
  TransArray() = default;
  TransArray(const STRINGPAIR<T>* array, int count)
      : CSearchArray<STRINGPAIR<T>, T>(array, count) {}

  // Puts the text with every pattern replaced into `result`, which may own the text; answers
  // whether anything was replaced. What was put in is not searched again. An empty pattern, which
  // is found at a zero character, puts its `second` before that character.
  bool Translate(BASE_STRING<T> text, std::basic_string<T>& result) const;
  // The `first` of the first record whose `second` is exactly `text`, in this very case; `text`
  // itself if there is none.
  std::basic_string<T> ReverseSubst(const std::basic_string<T>& text) const;
};

extern template class TransArray<char>;
extern template class TransArray<char16_t>;
