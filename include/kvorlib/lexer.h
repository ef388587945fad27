// The lexer: which kind of item a text begins with, and how long it is.
//
//   SimpleParser<char> parser;
//   TAGSDEF<char> quoted(7, "\"", "\"", '\\');
//   parser.SetParsTags(&quoted, 1);
//   BASE_STRING<char> input("name = \"a b\"", -1), item;
//   int length = 0;
//   while (parser.GetItem(input, item, length) != 4) input += length;  // 3, 1, 2, 1, 7
//
// Item codes:
//   0  no tag here (GetTaggedItem only)
//   1  white space, a run
//   2  a separator, one character
//   3  an identifier: a word of identifier characters only
//   4  the end of the text
//   5  any other word, up to the next separator, white space or character of the line end; and the
//      plain stretch that GetTaggedItems reads
//   6  a line end
//   7… a tag: the code that its record gives it
//
// A lexer has no position and no text: DefText (textbuffer.h) has. One lexer may serve many texts,
// and items may be read from it at the same time as long as nobody changes it.
#pragma once

#include <string>
#include <vector>

#include "kvorlib/export.h"
#include "kvorlib/searcharray.h"

// The classes of characters that a new lexer has.
template <class T>
inline constexpr const T* STANDARD_WHITE_SYMBOLS = nullptr;
template <>
inline constexpr const char* STANDARD_WHITE_SYMBOLS<char> = " \t\r";
template <>
inline constexpr const char16_t* STANDARD_WHITE_SYMBOLS<char16_t> = u" \t\r";

template <class T>
inline constexpr const T* STANDARD_SEPAR_SYMBOLS = nullptr;
template <>
inline constexpr const char* STANDARD_SEPAR_SYMBOLS<char> = "=.;(){}";
template <>
inline constexpr const char16_t* STANDARD_SEPAR_SYMBOLS<char16_t> = u"=.;(){}";

// Without digits: a word with a digit in it is no identifier.
template <class T>
inline constexpr const T* STANDARD_IDENT_SYMBOLS = nullptr;
template <>
inline constexpr const char* STANDARD_IDENT_SYMBOLS<char> =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
template <>
inline constexpr const char16_t* STANDARD_IDENT_SYMBOLS<char16_t> =
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";

template <class T>
inline constexpr const T* STANDARD_EOLINE = nullptr;
template <>
inline constexpr const char* STANDARD_EOLINE<char> = "\n";
template <>
inline constexpr const char16_t* STANDARD_EOLINE<char16_t> = u"\n";

// Items of the text that `input` begins. `item` becomes the item's slice, `length` the number of
// characters to move on by, and the code is returned.
template <class T>
class KVORLIB_API BaseTextParser {
 public:
  virtual int GetItem(BASE_STRING<T>& input, BASE_STRING<T>& item, int& length) const = 0;
};

extern template class BaseTextParser<char>;
extern template class BaseTextParser<char16_t>;

// The table of a lexer's tags: quoted strings, comments, markers.
template <class T>
class KVORLIB_API TagsProc : public CSearchArray<TAGSDEF<T>, T> {
 public:
  TagsProc() = default;
  TagsProc(const TAGSDEF<T>* array, int count) : CSearchArray<TAGSDEF<T>, T>(array, count) {}

  // The length of the body between the tag's opening and closing text. 0 when nothing closes it,
  // and for a marker; -1 when the text does not begin with the tag. An escape before a closing text
  // protects it, two do not, and three count as two.
  int GetTagBodyLen(BASE_STRING<T> text, const TAGSDEF<T>& tag) const;

 private:
  bool CheckEscSym(const T* begin, const T* pos, T escape) const;
};

extern template class TagsProc<char>;
extern template class TagsProc<char16_t>;

// Classes of characters are numbered as the items that they make: 1 white, 2 separators,
// 3 identifier characters; 6 is the line end, which is one string and no set. A zero character in
// a text counts as a member of each set.
template <class T>
class KVORLIB_API SimpleParser : public BaseTextParser<T> {
 public:
  // Null stands for the class's default.
  SimpleParser(const T* ident, const T* separ, const T* white, const T* eol);
  SimpleParser() : SimpleParser(nullptr, nullptr, nullptr, nullptr) {}

  // A tag if one opens here, else white space, else a separator, else a line end, else a word:
  // a character of several classes is of the first of them. `input` stays. `length` is that of the
  // item in the text: for a tag with the opening and closing text, even where the text ends
  // unclosed before, so that it may be longer than what is left.
  // With a line end of several characters one of them alone is an identifier of length 0.
  int GetItem(BASE_STRING<T>& input, BASE_STRING<T>& item, int& length) const override;

  // The characters of a class; of any other number, those that end a word: the classes 2, 1 and 6.
  // Good until the class changes.
  const T* GetParsParam(int kind);
  // Sets a class. `text` may be the parser's own. Any other number sets what ends a word, until
  // one of the classes 1, 2 and 6 is set.
  // REQUIRES: a text that is not null.
  void SetParsParam(const T* text, int kind);

  // Copies the table, or makes one of an array. An item that the lexer reads anew may then be a
  // tag.
  void SetParsTags(const TagsProc<T>& tags);
  void SetParsTags(const TAGSDEF<T>* array, int count);
  TagsProc<T>& GetParsTags() { return current.tags; }

  // Puts the classes and tags aside, and takes the latest ones back, if there are any.
  void PushPar();
  void PopPar();

 protected:
  // Each takes a slice that starts where it is to look, shortens it to the item and answers the
  // item's code, or leaves it and answers 0. CheckIdent always finds a word.
  virtual int CheckEol(BASE_STRING<T>& item) const;
  virtual int CheckWhite(BASE_STRING<T>& item) const;
  virtual int CheckSepar(BASE_STRING<T>& item) const;
  virtual int CheckIdent(BASE_STRING<T>& item) const;

 public:
  // The tag that opens here, 4 at the end of the text, 0 when there is no tag: the item is then the
  // whole input. The item is the tag's body, for a marker its own text.
  virtual int GetTaggedItem(BASE_STRING<T>& input, BASE_STRING<T>& item, int& length) const;
  // The tag that opens here, or the plain text before the next one, with code 5.
  //
  // Mind: the stretch ends as many characters before the tag as the tag's opening text is long,
  // and `input` has moved on by `length` already. Where the tag is nearer than that, `length` is
  // negative and the item empty; `input` stays, since what is before it may be no text.
  // Without a tag ahead the item is all the rest, and `input` stays too.
  virtual int GetTaggedItems(BASE_STRING<T>& input, BASE_STRING<T>& item, int& length) const;

 protected:
  // As SetParsParam, but null stands for the default, and what ends a word is left as it is.
  void _SetParsParam(const T* text, int kind);
  // Makes what ends a word anew of the classes 2, 1 and 6.
  void SetAllSepar();
  // Null for a number that is no class.
  const T* GetDefaultSyms(int kind) const;
  // The string of a class; of any other number, what ends a word.
  std::basic_string<T>& GetSyms(int kind);

 private:
  struct Params {
    std::basic_string<T> ident;
    std::basic_string<T> separ;
    std::basic_string<T> white;
    std::basic_string<T> eol;
    std::basic_string<T> allSepar;
    TagsProc<T> tags;
  };

  Params current;
  std::vector<Params> saved;
};

extern template class SimpleParser<char>;
extern template class SimpleParser<char16_t>;
