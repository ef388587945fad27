// The flat lexer of older rule texts: one plain structure and functions on it, for 8-bit text.
//
//   PARSSTR parser;
//   ParsStrInit(&parser);
//   SetParsText(&parser, text, length);
//   BASE_STRING<char> item;
//   for (int code; (code = GetItem(&parser, &item)) != 4;) use(code, item);
//
// Its item codes are those of lexer.h, and -1; its rules are not. A line end is one character of a
// set and is tested first, then separators, then white space; the classes at the start differ; a
// text between two commands is never one item with them.
//
// The structure is the caller's, and all text that it points to must outlive it. Nothing is thrown.
// Pointers to structures and arrays must not be null.
#pragma once

#include <cstdint>

#include "kvorlib/export.h"
#include "kvorlib/searcharray.h"

// A tag of the text. A command whose `open` is null or empty is never found.
struct tagCommand {
  const char* open;
  const char* close;  // null for a command of a single text
  std::int32_t code;  // what GetItem answers for it
};

// A substitution. One whose `from` is null or empty is never made.
struct tagTransGroup {
  const char* from;
  const char* to;  // not null
};

struct PARSSTR {
  const char* text;
  std::int32_t length;
  std::int32_t position;  // where GetItem reads on
  std::int32_t commandCount;
  std::int32_t transCount;
  const char* ident;
  const char* separ;
  const char* white;
  const char* eol;  // a set, but for GetNumParsStro
  tagCommand commands[100];
  tagTransGroup trans[100];
};

// No text, no commands, no substitutions, and the classes of the start: letters; ".,()?/\"';:";
// blank, tab, vertical tab and 13; 10.
KVORLIB_API void ParsStrInit(PARSSTR* parser);
// Null stands for a class of the start.
KVORLIB_API void SetParsParams(PARSSTR* parser, const char* ident, const char* separ,
                               const char* white, const char* eol);
// Copies the records, not the texts. False for more than 100: the first 100 places are overwritten
// then, and as many are in use as before.
KVORLIB_API bool SetParsCommand(PARSSTR* parser, const tagCommand* commands, int count);
KVORLIB_API bool SetParsTrans(PARSSTR* parser, const tagTransGroup* groups, int count);
// REQUIRES: `length` characters and a zero behind them.
KVORLIB_API void SetParsText(PARSSTR* parser, const char* text, int length);
// False, and the position stays, for a place outside of the text; its end is inside.
KVORLIB_API bool SetParsPos(PARSSTR* parser, const char* position);

// The next item: its code, and the text in `item`, which is a command's body, or its opening text
// if it has no closing one. -1 is a command that nothing closes; the item is its opening text, and
// reading goes on behind that. In a body a backslash protects a closing text, two do not. At the
// end 4, and `item` stays. A zero character within the text is an end that nothing gets past.
KVORLIB_API int GetItem(PARSSTR* parser, BASE_STRING<char>* item);

// To the next line end. Only from a line end, or a zero character, does it go one character past
// what it comes to: from inside a line it takes two calls to reach the next.
KVORLIB_API void SkipLine(PARSSTR* parser);
// What stands before the cursor in its line. The cursor stays. A line end that begins the text
// belongs to the line behind it.
KVORLIB_API void GetCurrLine(PARSSTR* parser, BASE_STRING<char>* line);
// How many line ends begin at or before the cursor. The line end is the whole string of its class
// here; there is none behind a zero character.
KVORLIB_API int GetNumParsStro(PARSSTR* parser);

// Where the first `from` stands in the text, the longest at one place and of equals the last; null
// if there is none. `index` is set to its place in the list on a hit only.
KVORLIB_API const char* GetFirstTrans(const char* text, int length, const tagTransGroup* groups,
                                      int count, int* index);
// Puts the text with each `from` replaced, and a zero behind it, into `buffer`, which may overlap
// the text. False, with the buffer untouched, when that takes more than `capacity` bytes, or there
// is no memory.
KVORLIB_API bool TranslateStr(BASE_STRING<char>* text, char* buffer, int capacity,
                              const tagTransGroup* groups, int count);
// The same with the parser's substitutions.
KVORLIB_API bool TranslateStrPars(BASE_STRING<char>* text, char* buffer, int capacity,
                                  PARSSTR* parser);
