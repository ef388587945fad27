// A text in memory with a cursor, and a text that is loaded from a file.
//
//   LoadText<char16_t> text(u"rules.txt", nullptr);
//   SimpleParser<char16_t> parser;
//   text.SetTextParser(&parser);
//   BASE_STRING<char16_t> item;
//   if (!text.IsEmpty())
//     for (int code; (code = text.GetItem(item)) != 4;) use(code, item);
//
// A text is used by one thread at a time.
#pragma once

#include <string>

#include "kvorlib/export.h"
#include "kvorlib/lexer.h"
#include "kvorlib/searcharray.h"

// A cursor over characters that it does not own, and the lexer (not owned either) that takes items
// from them. A copy shares both. Operations that need the lexer say so.
template <class T>
class KVORLIB_API DefText {
 public:
  DefText() = default;
  explicit DefText(const BASE_STRING<T>& text) { SetText(text); }

  // A new text, with the cursor at its beginning. The lexer stays.
  void SetText(const BASE_STRING<T>& text);
  // Whether no text was set. A text of length 0 is one.
  bool IsEmpty() const { return start == nullptr; }

  // The whole text, wherever the cursor is.
  const T* GetText() const { return start; }
  void GetText(BASE_STRING<T>& text) const;
  int GetTextLen() const;

  // What is left to read.
  const T* GetCurrPos() const { return cursor.ptr; }
  void GetCurrPos(BASE_STRING<T>& rest) const { rest = cursor; }
  // Puts the cursor anywhere in the text, its end included; false, and it stays, for any place
  // outside.
  bool SetCurPos(const T* position);
  // Moves the cursor forward, or back for a negative count, but never out of the text.
  DefText& operator+=(int count);

  void SetTextParser(SimpleParser<T>* parser) { lexer = parser; }
  SimpleParser<T>* GetTextParser() { return lexer; }

  // The next item and its code (lexer.h); the cursor moves past it.
  // REQUIRES: a lexer.
  virtual int GetItem(BASE_STRING<T>& item);
  // The next tag, or the plain text before one. Mind SimpleParser::GetTaggedItems: before a tag
  // further on, the cursor moves by twice the length of what was read.
  // REQUIRES: a lexer.
  int GetTaggedItems(BASE_STRING<T>& item);

  // The line that the cursor is in, with its line end, and moves behind it. False when the cursor
  // is at the end of the text already; `line` is then the last line even so. Without a line end
  // before it, a line begins one character less than a line end is long behind the text's start.
  // REQUIRES: a lexer, for its line end.
  bool GetCurrLine(BASE_STRING<T>& line);
  // Moves the cursor behind the next line end, or to the end of the text; false when it is there
  // already.
  // REQUIRES: a lexer, for its line end.
  bool SkipLine();

  // Where the cursor is, for messages. Lines are ended by the character 10, whatever the lexer
  // thinks, and count from 1; columns count characters, from 0 on the first line and from 1 on all
  // others. A line break that begins the text is not counted, nor, in wide text, one right behind
  // a counted one or behind the first character.
  void GetCoord(int& line, int& column);

 private:
  const T* start = nullptr;
  BASE_STRING<T> cursor;
  SimpleParser<T>* lexer = nullptr;
};

extern template class DefText<char>;
extern template class DefText<char16_t>;

// Owns its text. A copy has a text of its own, and its cursor at the same place in it.
template <class T>
class KVORLIB_API LoadText : public DefText<T> {
 public:
  LoadText() = default;
  // Loads, and drops the answer: ask IsEmpty, which holds too when the file had no bytes.
  LoadText(const T* fileName, const TransArray<T>* translation);
  LoadText(const LoadText& source);
  LoadText& operator=(const LoadText& source);
  ~LoadText() = default;

  // Reads a file; a narrow name is UTF-8. What looks like UTF-16 (CheckUnicode, encoding.h) is
  // taken as that, without its mark and never swapped; all else as bytes. Narrow text gets UTF-16
  // as UTF-8 with each 13, 10 as a 10, and bytes as they are. Wide text gets UTF-16 as it is, and
  // bytes from the current code page, with each lone 10 as 13, 10. Then the text is put through
  // `translation`, unless that is null, and it ends at the first zero character.
  //
  // False, and there is no text, when the file cannot be opened or read, is no plain file, has
  // 2 GB or more, or cannot be converted. An empty file gives true and no text. Never throws.
  bool Load(const T* fileName, const TransArray<T>* translation);

  // Copies the text, which may be a part of this one, up to its first zero character.
  void SetText(const BASE_STRING<T>& text);
  void SetText(const std::basic_string<T>& text);

 private:
  void Take(std::basic_string<T> text);

  std::basic_string<T> owned;
};

extern template class LoadText<char>;
extern template class LoadText<char16_t>;
