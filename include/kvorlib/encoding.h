// Conversions between the three forms of text: wide text (UTF-16), UTF-8, and narrow text in a
// numbered code page; the process-wide code page; case; the catalogue of code pages.
//
// Names of files and terms are UTF-8. Old rule texts and consoles are in the current code page:
//
//   std::u16string name = A2U(fileName, 65001);
//   std::string line = U2A(text);                // to the current code page
//
// Nothing here is safe against threads: the conversions change the process-wide code page for the
// time of the call.
#pragma once

#include <locale>
#include <string>

#include "kvorlib/export.h"

// Narrow to wide and back. `codePage` is 0 for the current one, 65001 or -1 for UTF-8, or the
// number of any other code page.
//
// `fixEol` turns line ends: A2U puts a 13 before each 10 that has none, U2A makes a single 10 of
// each 13, 10. A lone 13 stays.
//
// Bad UTF-8 and lone surrogates never fail: each offending byte or unit becomes U+FFFD. A character
// that the code page lacks becomes what is nearest to it there, else '?'. The rest is by pieces:
// a text is converted in pieces of 64,000 bytes or units, and a caller can tell in these ways:
//   - The last piece (of a short text, the whole of it) ends at its first zero character; what is
//     behind it is dropped. In the pieces before, zero characters are kept.
//   - In a multibyte code page a character may be cut in two at the end of a piece, and both halves
//     are then converted as bad text. Only A2U with `codePage` 65001 or -1 makes its pieces longer
//     to avoid that; with 0 it does not, even when the current code page is UTF-8. U2A cuts
//     surrogate pairs.
//   - U2A to a multibyte code page other than UTF-8 fails when a piece needs more bytes than it has
//     units, as soon as it holds one character of two bytes.
//
// Throws: Except, by Win32ErrorReport, "ANSI to UTF16 conversion error" or "UTF16 to ANSI
// conversion error", when the platform cannot convert under the code page. The current code page is
// the former one again whichever way the call ends.
KVORLIB_API std::u16string A2U(const std::string& text, int codePage = 0, bool fixEol = false);
KVORLIB_API std::string U2A(const std::u16string& text, int codePage = 0, bool fixEol = false);

// UTF-8 to UTF-16 and back, of exactly the range, zero characters among it. They never fail: each
// byte that is no part of valid UTF-8, and each lone surrogate, gives one U+FFFD, and the next byte
// or unit is tried.
KVORLIB_API std::u16string u8_w(const char* first, const char* last);
KVORLIB_API std::string w_u8(const char16_t* first, const char16_t* last);

// Whether `size` bytes look like UTF-16 in little-endian order, with or without a mark. A guess,
// good for texts of some words. Of an odd size: no. Bytes FF FE in front: yes, whatever follows.
// Bytes FE FF in front (big-endian) or a zero unit: no.
KVORLIB_API bool CheckUnicode(const void* data, int size);

// UTF-8 to the current code page, wide to the current code page, current code page to wide.
// Each answers a buffer of its own, which its next call overwrites; a call that throws leaves it.
// Throws: as A2U and U2A.
// REQUIRES: a text that ends with a zero character; not null.
KVORLIB_API const char* MBSTR2STR(const char* utf8);
KVORLIB_API const char* TSTR2STR(const char16_t* text);
KVORLIB_API const char16_t* STR2TSTR(const char* text);

// Sets the current code page, -1 standing for 65001, and returns the former one. Any number is
// taken; one that the platform does not know makes the next conversion fail. 0, the value at the
// start, is the system's default: the code page of the user's locale, 65001 if it names none.
KVORLIB_API int SetCP(int codePage);
// The current code page, 0 while it is the system's default.
KVORLIB_API int GetLocal();

// Sets the process's locale, in all categories, and makes its code page the current one. Returns
// the former code page. Returns 0, and leaves the code page alone, for a name that the platform
// does not know and for a locale without a code page ("C"). Names are those of the platform, and
// everywhere ".ACP", the locale of the user's environment, and ".1251" and its like, the same with
// a code page of one's own. A null name takes over the code page of the present locale.
KVORLIB_API int SetLocale(const char* name);
KVORLIB_API int SetLocale(const std::u16string& name);

// The locale of the user's environment, all categories; the classic one where the platform has no
// such locale. Built at first use, lives as long as the library.
KVORLIB_API const std::locale& user_locale();

// Case, unit by unit: the length never changes, surrogates and characters without a single
// counterpart (U+00DF) stay. to_title makes the first unit upper case and all others lower case.
KVORLIB_API std::u16string to_lower(std::u16string text);
KVORLIB_API std::u16string to_upper(std::u16string text);
KVORLIB_API std::u16string to_title(std::u16string text);

// The catalogue: the name that texts on the web use for a code page ("windows-1251"), its
// description ("Cyrillic (Windows)"), and the code page of a charset name, whatever its case, its
// hyphens and its underscores ("UTF8", "cp1251" and the like are known, too). Code pages are given
// by their own number: neither 0 nor -1 is in the catalogue.
// Throws: Except "Multianguage support error" when the catalogue has no such entry.
KVORLIB_API std::u16string CP2chset(int codePage);
KVORLIB_API std::u16string CP2name(int codePage);
KVORLIB_API int chset2CP(const std::u16string& charset);
