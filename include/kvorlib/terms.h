// The table of terms: the numbers of all grammatical and lexical categories, their names and their
// hierarchy, read from the file term.xml of a knowledge base.
//
//   std::uint16_t const noun = TermCode("noun");
//   if (Belong(code, noun, -1)) std::puts(TermName(code).c_str());
//
// Every function works on the current table. At first that is the library's own default table;
// choosing a default knowledge base makes the table of that base current (SetTermMap), so a host
// seldom calls more of this than the lookups. A table is read when it is first needed.
//
// A term file is XML in which two elements mean something, at any depth: <term> is a leaf, <group>
// has members.
//
//   <vocabulary>
//     <term name="1.1" code="FFFF"/>                   the version of the format, "1.0" if missing
//     <group name="part-of-speech" code="1000">        codes are hexadecimal, cut to 16 bits
//       <group name="noun" code="1010" nonrep="1">     its members exclude each other
//         <term name="common-noun" code="1011"/>
//
// Loading another file into a table merges: an entry replaces one of the same code in the search by
// code, and one of the same name in the search by name.
//
// Names are UTF-8 in narrow texts. Nothing here is locked, and the current table is the process's.
//
// Throws, unless said otherwise: the text "Terms not loaded" (char const*) when the current table
// is not loaded and its file cannot be read; the text u"Internal error" (char16_t const*) when
// there is no current table, as after CloseTerms. Why a file was refused is a message of MC_ALWAYS.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kvorlib/export.h"

// One entry. It belongs to its table and lives until the table is emptied (UnloadTerm, ReloadTerm)
// or goes (CloseTerms), even if another entry has taken its place in the meantime.
struct Term {
  std::u16string name;
  std::uint16_t code = 0;
  // -1 for a leaf. For a group the repeat class: 1 when its members exclude each other, 0 when not;
  // a group inside a group has the class of that one unless it states its own.
  std::int32_t nonrep = 0;
  Term* parent = nullptr;  // the enclosing entry, null at the top
};

// Loads a file, or Config/term.xml of the default knowledge base for null, on top of what the
// current table holds. False, after a message, when the file cannot be read or parsed, or when its
// version is not from "1.0" to "1.1"; what was read until then stays.
// Throws: u"Internal error" alone.
KVORLIB_API bool LoadTerm(const char16_t* fileName);
// Empties the current table, or makes one if there is none, and loads the default file. Throws
// nothing.
KVORLIB_API bool ReloadTerm();
// Makes the table of `key`, the name of a knowledge base, current, and loads the default file into
// it; it stays current whatever the answer. Null stands for the library's default table, which is
// not loaded now: the answer is true. Throws nothing.
KVORLIB_API bool SetTermMap(const std::u16string* key);
// Empties the current table, if there is one. The next lookup loads it again. Throws nothing.
KVORLIB_API void UnloadTerm();
// Frees all tables but the default one, and leaves none current until SetTermMap or ReloadTerm.
// Throws nothing.
KVORLIB_API void CloseTerms();

// The code of a name, 0 for an unknown one. A name of digits is a number: 1 to 254 give as much
// above the code of the entry "0", greater ones the code of the entry "BIGNUM".
KVORLIB_API std::uint16_t TermCode(const std::string& name);
// "UNKNOWN" for an unknown code.
KVORLIB_API std::string TermName(std::uint16_t code);
// The record of a name, null for an unknown one. Numbers mean nothing here.
KVORLIB_API const Term* GetTerm(const std::u16string& name);

// These three answer from what the table holds, and never load it. Throws: u"Internal error" alone.
// The code of the entry around this one; 0 at the top and for an unknown code.
KVORLIB_API std::uint16_t TermGroup(std::uint16_t code);
KVORLIB_API bool IsTerm(std::uint16_t code);
KVORLIB_API bool IsGroup(std::uint16_t code);

// Whether an entry is `group` or lies in it, at most `depth` levels below; -1 for any depth.
// Everything belongs to the group 0x1C01, unknown codes too.
KVORLIB_API bool Belong(std::uint16_t code, std::uint16_t group, int depth);
// Whether the innermost group around both entries has the repeat class 1, so that the two exclude
// each other. Of an entry and one of its ancestors (or itself) that is the group around the
// ancestor.
KVORLIB_API bool InNonRepGroup(std::uint16_t a, std::uint16_t b);
// All leaves of a group, in the order of their codes; the codes alone. `result` is emptied first.
KVORLIB_API void GetTermList(std::uint16_t group, std::vector<Term*>& result);
KVORLIB_API void GetTermListRec(std::uint16_t group, std::vector<std::uint16_t>& result);

// Writes a C header with a line "#define T_name 0xcode" for each entry, in the order of codes.
// Names are made identifiers: Cyrillic capitals are written in Latin letters, and signs in words. A
// point stays, so that compilers warn of the line of the file's version.
// False when the file cannot be written. `fileName` is UTF-8.
KVORLIB_API bool CreateHeader(const char* fileName);
