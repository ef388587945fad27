// MD5 digests (RFC 1321) as 32 lower-case hexadecimal digits. They tell texts and files apart; they
// protect nothing against somebody who wants two to have the same digest.
//
//   char* digits = MD5File("words.dat");
//   if (digits != nullptr) puts(digits);
//   free(digits);
//
// Each text handed out ends with a zero character and belongs to the caller, who frees it with
// free(). Null only where it is said, and when memory is exhausted. Nothing is thrown.
#pragma once

#include "kvorlib/export.h"

// Of the bytes in front of the terminating zero, whatever their encoding.
// REQUIRES: `text` is not null.
KVORLIB_API char* MD5String(const char* text);

// Of the units in front of the terminating zero, two bytes each, the low one first: not the digest
// of the same letters as narrow text.
// REQUIRES: `text` is not null.
KVORLIB_API char16_t* MD5Wstring(const char16_t* text);

// Of what is read from a file, a pipe or a device; `path` is UTF-8. Null for a folder, and for what
// cannot be opened. A read that fails counts as the end of the file: what came before is digested,
// and no error shows.
// REQUIRES: `path` is not null.
KVORLIB_API char* MD5File(const char* path);
