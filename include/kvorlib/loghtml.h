// The HTML log: a trace of one run as a page of foldable sections, with images of trees beside them
// and side pages for groups of alternatives.
//
//   LogHTML log;
//   if (!log.OpenLog(u"/tmp/trace/run.log", true, 'S', nullptr)) return false;  // run.html
//   const int section = log.OpenDiv(u"Morphology", u"", u"header");
//   LogStringMessage(MC_LOG, u"what any part of the program logs lands in the section\r\n");
//   log.CloseDiv(section, 0);
//   log.CloseLog();
//
// The page is made of templates in the folder DIR_CONFIG of the default knowledge base, and its
// style, script and icons are copied beside it: docs/html-log.md. Files are UTF-16, low byte first.
//
// The host owns the object and keeps it alive while it is installed; one that goes takes itself out
// as the process-wide logger. Nothing here is locked. Texts may hold anything; how far they are
// made safe for HTML is told with each operation. Failures are answers.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>

#include "kvorlib/export.h"
#include "kvorlib/messages.h"

class KVORLIB_API LogHTML : public MessLogger {
 public:
  LogHTML();
  ~LogHTML();
  LogHTML(const LogHTML&) = delete;
  LogHTML& operator=(const LogHTML&) = delete;

  // Starts a log and installs this object as the process-wide logger. The extension of `file` is
  // replaced, "html" or "txt"; without a folder it lies in DIR_TEMP; a name of less than four
  // characters becomes "kvor.html". `mode` is that of MessLogger. `header` is the template that the
  // page begins with, null for "header.html"; without it the run becomes a text log under the HTML
  // name. Other templates that are missing are done without.
  //
  // An HTML log also deletes, in the current folder of the process, the images and side pages that
  // earlier runs under the same name left there: "tree-*-NAME*" and "alts-*-NAME*".
  //
  // False if the log file cannot be opened; then this object is not installed.
  bool OpenLog(std::u16string file, bool html, char mode, const char16_t* header);
  // Ends the page and answers the name of the log file. The object stays installed and swallows
  // what is logged from now on. Sections that are open stay so, in the page too.
  std::u16string CloseLog();

  // Opens a section; the answer is its id, -1 without an open log. White space in `title` becomes
  // single blanks. With the kind "header" the section gets a heading that folds it, else the title
  // is its first text, in which "%%" stands for a percent sign. In a text log the title is all that
  // is written.
  int OpenDiv(const std::u16string& title, std::u16string cssClass, std::u16string kind);
  // Closes a section, after those that were opened in it and are still open. -1 in mode 'N', and if
  // no such section is open, which then can be read in the page; else 0. `flag` has no effect.
  int CloseDiv(int id, int flag);
  // Closes the sections inside `id`, which stays open. -1 if none is open at all, else 0.
  int CloseTo(int id);

  // An error of its own line; `text` is markup. Always 0.
  int Error(const std::u16string& text);
  // An error of the linguistic data; the text is made safe.
  void LegendError(const std::u16string& text);

  // Where the host writes the next image, and how it gets into the page, in this order. The name
  // stays the same until InsertImageRef.
  std::u16string GetImageFileName(const std::u16string& extension);
  void InsertImageRef(const std::u16string& extension);

  // To be called before each alternative of a group. From one call in `altThreshold` + 1 on, what
  // is logged goes to a new side page, which the main page links to. Always true.
  bool SwitchAltLogger();
  // Back to the main page; with `clear` no side pages are opened any more.
  void ResetAlternatives(bool clear);

 private:
  void LogClosing(const char16_t* format, int id);
  void CloseSidePage();
  std::u16string InFolder(const std::u16string& relative) const;
  std::u16string ImageName(const std::u16string& extension) const;

  SafeHtmlWriter mainWriter;
  SafeHtmlWriter altWriter;

 public:
  // How many calls of SwitchAltLogger pass before one opens a side page; -1 for no side pages.
  std::int32_t altThreshold = -1;

 private:
  std::int32_t altCounter = 0;
  std::int32_t altPage = 0;  // the number of the last side page
  std::u16string baseName;
  std::u16string folder;
  std::u16string spare;
  std::int32_t sectionCounter = 0;
  std::int32_t imageCounter = 0;
  bool isHtml = false;
  std::deque<std::int32_t> openSections;  // the innermost at the back

 public:
  // The next section of an HTML log opens folded. OpenDiv clears it.
  bool foldNext = false;

 private:
  std::array<std::u16string, 6> fixedFiles;
};

// The process-wide logger if it is an HTML log, else null.
KVORLIB_API LogHTML* pGetLogHTML();
// The same. Throws: the bare pointer (const char16_t*) u"LogHTML not install", if it is none.
KVORLIB_API LogHTML& GetLogHTML();

// The text with each of the characters "<>&\"" written as its entity.
KVORLIB_API std::u16string ToSafeHtmlText(const std::u16string& text);

// The text with each occurrence of `from` replaced; what is put in is not searched. An empty `from`
// occurs nowhere.
KVORLIB_API std::u16string Replace(std::u16string text, const std::u16string& from,
                                   const std::u16string& to);
