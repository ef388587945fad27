// Languages: their names and codes, a cheap guess at the language of a text; lists of features as
// text; and keys, a term with two characters behind it.
//
//   const std::uint16_t code = Name2Code(u"Russian");       // 0x2702
//   std::vector<std::u16string> features;
//   GetFeatFromString(u"noun,plural", features, u",");      // "noun" and "plural"
//
// A language's code is that of its term (terms.h), but the six languages of this table are known
// without any term file. But for RegKey nothing here fails; what is not known gets the answers
// that are told.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kvorlib/export.h"

// "russian" 0x2702, "english" 0x2703, "unl" 0x2710 (the interlingua), "arabic" 0x2707, "french"
// 0x2705 and "spanish" 0x0886, in any case; 0 for any other name. The narrow name is in `codePage`.
// Throws: the narrow form as A2U does.
KVORLIB_API std::uint16_t Name2Code(const std::u16string& name);
KVORLIB_API std::uint16_t Name2Code(const std::string& name, int codePage);
// The name in lower case, null for any other code. It stays for ever.
KVORLIB_API const char16_t* Code2Name(std::uint16_t code);

// Which language a text seems to be in, by its letters alone: 0x2702 with more Cyrillic letters
// than Latin ones; then Spanish or French, whichever has more of its own letters, be it a single
// one; then 0x2710 if more than a tenth are the interlingua's signs, and less than nine tenths
// Latin letters; else 0x2703.
//
// Mind: Spanish is 0x2708 here, a code that Code2Name and the delivered terms do not know. No other
// language is ever answered.
KVORLIB_API std::uint16_t AutoDetermineLanguage(const std::u16string& text);

// Splits a text. `separator` is sought as a whole, and all characters that follow it and are its
// own belong to the same break: "a,,b" has two features. A text that begins with the separator has
// an empty first feature, but none has an empty last one. An empty separator splits nothing.
KVORLIB_API void GetFeatFromString(const std::u16string& text,
                                   std::vector<std::u16string>& features,
                                   const std::u16string& separator);
// Joins. With a separator of one character GetFeatFromString gives the list back, if no feature is
// empty or holds the separator.
KVORLIB_API void SetFeatToString(const std::vector<std::u16string>& features, std::u16string& text,
                                 const std::u16string& separator);

// A term with a suffix of two characters: in text "noun.b1".
struct KVORLIB_API RegKey {
  std::uint16_t Code = 0;
  char Suffix[3] = {};  // ASCII and a zero; a zero in front for no suffix

  // Reads the text of a key, which has a suffix. False when there is none, with what was read of it
  // until then kept, and for an unknown term, with a Code of 0.
  // Throws: as TermCode does.
  bool Set(const std::u16string& text);
  // The text of the key, without point and characters if it has no suffix.
  // Throws: as TermName does.
  std::u16string wGetName() const;
};
