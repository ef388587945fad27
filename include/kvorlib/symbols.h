// The letters of languages, and a foreign script written out in another and turned back.
//
//   SymbControl* const symbols = GetSymbControl();
//   symbols->Load(nullptr);                            // symbols.dat of the default knowledge base
//   if (symbols->CheckLexem(Name2Code(u"russian"), word) != -1) …   // a foreign letter
//   symbols->SetTranslitMode(true);
//   symbols->Translit(text);                           // "… arabic{ktāb} …"
//
// Both come from a text file of items. A comment goes from // to the end of its line; line ends,
// blanks and tabs mean nothing; a name consists of Latin letters, '_' and '-'.
//
//   [SYMBOLS]
//   russian = "абвгд…-";         // a term that is a language, and all characters of its words
//   [TRANSLIT]
//   "я" = "ya";                  // a foreign text, and what it is written as
//
// Sections come in any order and number; a further [TRANSLIT] replaces the pairs of the one before.
// In strings a backslash keeps a quotation mark from being the end. It is dropped again on the left
// of a pair alone; on its right and among letters it stays.
//
// A mistake is a message of MC_ALWAYS with its line, "!!!   Wrong string russian "абв";   !!!". The
// line behind it is passed over, too, and the name or left string before the mistake waits for its
// "=" from there on. So one mistake brings others, and a file with one is seldom read to its end.
//
// Nothing here is locked, and CheckLexem changes the object, too.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "kvorlib/export.h"
#include "kvorlib/searcharray.h"
#include "kvorlib/textbuffer.h"

class KVORLIB_API SymbControl {
 public:
  SymbControl() = default;
  SymbControl(const SymbControl&) = default;
  SymbControl& operator=(const SymbControl&) = default;
  virtual ~SymbControl();

  // Reads a file in place of what was there. The name is UTF-8; null stands for Config/symbols.dat
  // of the default knowledge base. The file is UTF-16, or in the current code page.
  //
  // False, after messages, when it cannot be read or a mistake keeps it from being read to its end.
  // What was read is kept, but the object answers as one that has loaded nothing.
  // Throws: as TermCode does.
  bool Load(const char* fileName);
  // Back to nothing loaded. The mode of Translit stays.
  void Unload();

  // Where the first character of the text stands that is no letter of the language, which is 0 in
  // a language without letters; -1 if there is none, and also when nothing is loaded.
  int CheckLexem(std::uint16_t language, const std::u16string& text);

  // Writes each stretch of foreign letters out, in braces behind the name of the term 0x2707. The
  // text itself when nothing is loaded, and in the mode at the start, which is off. The narrow text
  // is UTF-8.
  //
  // Mind: a stretch goes on by one character as long as an entry begins there. It may therefore end
  // inside the last entry of several characters, which is then not replaced.
  // Throws: as TermName does.
  std::u16string Translit(const std::u16string& text);
  std::string Translit(const std::string& text);
  // Turns written-out stretches back, in any mode; the text itself when nothing is loaded.
  //
  // Mind: this is not the inverse of Translit. It looks for the name with "&#{" behind it, the last
  // character before the "}" is dropped, and the "}" stays. Without a "}" the stretch is the rest.
  // Throws: as TermName does.
  std::u16string Detranslit(const std::u16string& text);

  // Answers the mode before.
  bool SetTranslitMode(bool on);

 protected:
  // The first stretch of the text in which an entry of `table` begins at every character, and the
  // name that marks it; false, and they stay, if there is none.
  bool GetFirstElement(BASE_STRING<char16_t> text, TransArray<char16_t>& table,
                       BASE_STRING<char16_t>& run, std::u16string& mark);

 private:
  static int GetItem(LoadText<char16_t>& text, BASE_STRING<char16_t>& item);
  static std::u16string GetItem(LoadText<char16_t>& text);
  static bool CheckItem(LoadText<char16_t>& text, const char16_t* expected);
  static bool ErrProc(LoadText<char16_t>& text, const char16_t* message);
  static bool ReadValue(LoadText<char16_t>& text, BASE_STRING<char16_t>& value, int& code);
  int LoadComsymb(LoadText<char16_t>& text, BASE_STRING<char16_t>& item);
  int LoadTranslit(LoadText<char16_t>& text, BASE_STRING<char16_t>& item);
  static void AssignStr(std::u16string& target, const BASE_STRING<char16_t>& source);

  bool loaded = false;
  bool translitMode = false;
  std::map<std::uint16_t, std::u16string> alphabets;
  TransArray<char16_t> transliteration;
};

// The one instance of the process; it lives as long as the library.
KVORLIB_API SymbControl* GetSymbControl();
