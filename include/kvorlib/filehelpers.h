// File and process helpers: whole files with their encoding found out, folders searched, made and
// cleared, processes started, a date stamp and its order.
//
//   std::u16string rules;
//   if (!GetText(GetExecPath() + u"/rules.txt", rules, -1)) return false;
//   std::vector<std::u16string> tables;
//   SearchFiles(tables, u"Data/Source", u"*.tbl", true);
//
// Paths: wide ones are UTF-16, narrow ones UTF-8 where nothing else is said. The separator is '/';
// every other character belongs to a name, a backslash too. Pointers to texts are not null.
//
// Code pages: 1200 is UTF-16 with the low byte first, 65001 UTF-8, 0 the current one, and -1 means
// that none is stated.
//
// Failures are answers; what is thrown is told where it is. Nothing here keeps a state. Only
// exhausted memory adds std::bad_alloc.
#pragma once

#include <string>
#include <vector>

#include "kvorlib/export.h"

// How CreateProc starts a process. Any other number counts as CRPROC_WAIT.
enum CRPROCMODE : int {
  CRPROC_HIDDEN = 0,  // nothing is seen of it, its standard streams lead nowhere; waits for its end
  CRPROC_NOWAIT = 1,  // goes on at once; the process leaves nothing behind when it ends
  CRPROC_WAIT = 2,    // waits for its end
};

// The folder, in full and with links resolved, that the library's file lies in; of the program's
// file where the library is linked into that. Empty if it cannot be had.
KVORLIB_API std::u16string GetExecPath();

// Starts `commandLine`: a program, searched for as the shell does, and its arguments. Blanks and
// tabs part them but for those inside double quotes; \" is a quote of an argument's own, and a
// quote that is never closed reaches to the end. No shell is in between. No file but the standard
// streams is passed on.
//
// Answers whether the process was started, not how it ended; if not, `msg` is "Cannot start ", the
// command line, "; error " and the number of the system's error, else it is left alone.
KVORLIB_API bool CreateProc(const char16_t* commandLine, CRPROCMODE mode, std::u16string& msg);

// Opens a file, folder or address with the program that the user's desktop has for it, and does not
// wait. On failure UserMessage (messages.h) gets "Shell open error".
KVORLIB_API bool ShellOpen(const std::u16string& path);

// Appends the full path of each file in `folder` whose name fits `mask`, by name in the order of
// its bytes, then, if `recursive`, those in its subfolders. An empty folder is the present one. The
// form with one path takes it as folder and mask, parted by the last separator.
//
// In a mask '*' stands for any text and '?' for any one character; letters are distinct from their
// capitals. ".*" at its end fits a name without extension too, so that "*.*" fits every name. Links
// to files count as files; links to folders are neither found nor followed.
//
// Wide: false if the search of `folder` itself fails in another way than by there being no such
// name; so true if nothing fits, and if there is no such folder. Narrow: the same, and folders in
// which nothing, neither file nor folder, fits the mask keep their subfolders unsearched. Every
// folder holds "." and "..", so "*" never comes to that.
KVORLIB_API bool SearchFiles(std::vector<std::u16string>& found, std::u16string path,
                             bool recursive);
KVORLIB_API bool SearchFiles(std::vector<std::u16string>& found, const std::u16string& folder,
                             const std::u16string& mask, bool recursive);
KVORLIB_API bool SearchFiles(std::vector<std::string>& found, const std::string& folder,
                             const std::string& mask, bool recursive);

// Makes `folder` with all folders above it that are missing. True if it is there in the end; false
// also when something else has its name, when the folder right above it is missing and called
// `stop`, compared exactly, and when `folder` ends with a separator and had to be made.
KVORLIB_API bool MakeDir(const std::u16string& folder, const std::u16string& stop);

// Deletes the files in `folder` and in all folders below it, and removes those of its subfolders
// that have none of their own. Links are deleted, not followed. A file that somebody has open as a
// store, or that may not be deleted, is left.
//
// The answer is not what one expects, and callers rely on it: false if a file was left or there was
// any subfolder, removed or not, and then `folder` itself stays; otherwise true without
// `removeSelf`. With `removeSelf` the now empty folder is removed too, and the answer is true only
// if there was no such folder in the first place. Whoever must know looks afterwards.
KVORLIB_API bool ClearFolder(const std::u16string& folder, bool removeSelf);

// The content of the file `fd`, of its first `maxLength` bytes if that is not -1, and behind it two
// zero bytes that `length` does not count. It is read under a lock (see SaveBuf). Null on failure,
// for files of 2 GB and more among others; what `length` is then is not said. `fd` stands at the
// start afterwards.
// The caller deletes it: delete[] buffer;
// REQUIRES: `fd` is open for reading, in binary mode.
KVORLIB_API const char* FillBuf(int fd, int& length, int maxLength);

// Makes the content of the file `fd` the prefix, if not null, and `length` bytes of `data`, and
// hands it to the disk. Answers whether all of that worked; if not, any part may have been written.
// Of the prefix `prefixLength` bytes are written, all if that is -1; the file is given room for the
// whole of it in any case.
//
// FillBuf and SaveBuf lock the bytes that they read or write: processes that use them (readers
// among each other excepted) wait for one another, trying ten times, once a second. The lock ends
// with the call.
// REQUIRES: `fd` is open for writing, in binary mode; `prefix` ends with a zero byte.
KVORLIB_API bool SaveBuf(int fd, const char* data, int length, const char* prefix,
                         int prefixLength);

// The text of a file. What its bytes tell goes before the code page given: UTF-16 as CheckUnicode
// finds it, UTF-8 by its mark. A mark is no part of the text. Answers whether the file was read; if
// not, `text` is as before. A text that has to be converted ends at its first zero character, a
// UTF-16 text that the wide form reads does not; an odd byte at the end of that is dropped.
//
// Wide form: a file that tells nothing is in `codePage`, in the current one if that is -1.
//
// Narrow form: `path` is in the current code page, and the text comes out in `codePage`. If that is
// -1 or 1200, it becomes that of the file, or 0 if the file's is 1200. A file that tells nothing is
// in `codePage` already, and its bytes are handed out as they are.
//
// Throws: Except, as A2U and U2A do; the text is then as before.
KVORLIB_API bool GetText(const std::u16string& path, std::u16string& text, int codePage);
KVORLIB_API bool GetText(const std::string& path, std::string& text, int& codePage);

// Makes `text` the content of a file: in UTF-16 with a mark for 1200 and -1, in UTF-8 with a mark
// for 65001, else in that code page without one. Other than in UTF-16 the text ends at its first
// zero character. Answers whether all of it is on the disk; a file that stays locked by others
// keeps its content.
// Throws: Except, as U2A does; the file is then as before.
KVORLIB_API bool SaveText(const std::u16string& path, const std::u16string& text, int codePage);

// The local time now, in the format of strftime, "%d %m %Y %H:%M:%S" if that is null. Empty if it
// comes to 100 characters or more.
KVORLIB_API std::u16string FormCurrentDate(const char16_t* format);

// The order of two dates of FormCurrentDate's default form: -1, 0 or 1. An empty one comes before
// all others. The fields are compared as texts, so they need their leading zeros; the characters
// between them are not looked at.
// Throws: the bare pointer (const char16_t*) u"Ошибочный формат даты", if neither is empty and
// either is not 19 characters long.
KVORLIB_API int DateCompare(const std::u16string& first, const std::u16string& second);
