// The records of one diagnostic, the reporters that they pass through, the process-wide report
// target, and the exceptions that cross the library.
//
// A caller who wants to see what goes wrong in a run collects it:
//
//   ErrProc errors(100, false);                      // more than 100 are too many; never throws
//   SetErrorReport(&errors, /*ignoreWarnings=*/false);
//   …
//   errors.CheckMaxNum();                            // says so if there are too many
//   errors.GetErrDescr(stream);                      // one line for each: name(12,5) Error: text
//
// Only a diagnostic of ERR_FATAL ever changes the flow of control, and only in a collector's throw
// mode. Nothing here is locked: a collector belongs to one thread, and the report target is set
// once at the start.
#pragma once

#include <cstdint>
#include <exception>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "kvorlib/export.h"

// What happened and how serious it is.
struct KVORLIB_API ErrData {
  // The numbers are the order of seriousness, and the error levels of persistent maps.
  enum ERRTYPE : int { ERR_NONE = 0, ERR_WARNING = 1, ERR_ERROR = 2, ERR_FATAL = 3 };

  ERRTYPE type = ERR_NONE;
  std::u16string message;

  ErrData() = default;
  ErrData(ERRTYPE level, std::u16string text) : type(level), message(std::move(text)) {}

  ERRTYPE GetEType() const { return type; }
  std::u16string GetEMessage() const { return message; }

  bool operator==(const ErrData&) const = default;
};

// Where it happened. -1 stands for each number that is not known.
struct KVORLIB_API ErrCoord {
  std::int32_t line = -1;
  std::int32_t column = -1;
  std::int32_t length = -1;  // of the faulty span
  std::u16string name;       // of the document or source

  ErrCoord() = default;
  ErrCoord(int atLine, int atColumn, int ofLength, std::u16string source)
      : line(atLine), column(atColumn), length(ofLength), name(std::move(source)) {}

  bool operator==(const ErrCoord&) const = default;
};

// One diagnostic, whole. A collector throws it for the first fatal one.
struct KVORLIB_API ErrDescr : ErrData {
  ErrDescr() = default;
  ErrDescr(const ErrData& data, const ErrCoord& coord) : ErrData(data), source(coord) {}

  int GetELine() const { return source.line; }
  int GetEColumn() const { return source.column; }
  int GetELength() const { return source.length; }
  std::u16string GetEName() const { return source.name; }
  ErrCoord& GetESource() { return source; }
  const ErrCoord& GetESource() const { return source; }

  // Writes "name(line,column) Error: message" and a line end, leaving out what is not known; a
  // column without a line stands alone, as a line would. A message that ends in "\r\n" gets none.
  void GetErrDescr(std::basic_ostream<char16_t>& stream) const;

  bool operator==(const ErrDescr& o) const;

 private:
  // A collector names the document in a record that is only lent to it: see ErrProc::ProcError.
  friend class ErrProc;
  mutable ErrCoord source;
};

// Whoever wishes to receive reports. Not owned, and never deleted, through this base.
class KVORLIB_API ErrProcBase {
 public:
  virtual void ProcError(ErrData::ERRTYPE type, const std::u16string& message,
                         const std::u16string& name, int line, int column, int length) = 0;

 protected:
  ErrProcBase() = default;
  ErrProcBase(const ErrProcBase&) = default;
  ErrProcBase& operator=(const ErrProcBase&) = default;
  ~ErrProcBase() = default;
};

// The collector: keeps diagnostics in the order of their arrival. Never deleted through a pointer
// to this class when it is the base of another.
//
// Further ones at the place of the last one are merged into it, as more lines of its message. Such
// a merge raises the level of the entry but not GetMostSeriousError(), and is neither counted nor
// thrown. A fatal one is never merged.
class KVORLIB_API ErrProc : public ErrProcBase {
 public:
  // `limit`: how many entries CheckMaxNum lets pass, 0 for any number. `throwMode`: the first fatal
  // diagnostic is kept and then thrown as an ErrDescr; this switches the mode off.
  explicit ErrProc(int limit = 0, bool throwMode = true) : maxNum(limit), throwing(throwMode) {}

  void ProcError(ErrData::ERRTYPE type, const std::u16string& message, const std::u16string& name,
                 int line, int column, int length) override;
  // The same for a whole record. One without a name takes the document name, and keeps it: this is
  // seen in the caller's own object.
  void ProcError(const ErrDescr& e);

  // Reports "Limit of error messages (N) exceed" as fatal, at the place of the last entry, when
  // there are more entries than the limit. For the owner to call; nothing else does. A negative
  // limit is never exceeded.
  void CheckMaxNum();

  // The name of those that come without one, from now on.
  void SetDocName(const std::u16string& name) { docName = name; }
  std::u16string GetDocName() const { return docName; }
  void SetThrowMode(bool throwMode) { throwing = throwMode; }
  bool GetThrowMode() const { return throwing; }
  ErrData::ERRTYPE GetMostSeriousError() const { return mostSerious; }

  unsigned GetENum() const { return static_cast<unsigned>(entries.size()); }
  // Valid until the next diagnostic. Throws: std::out_of_range.
  ErrDescr& GetError(int index) { return entries.at(static_cast<std::size_t>(index)); }
  const ErrDescr& GetError(int index) const { return entries.at(static_cast<std::size_t>(index)); }

  // Empties the collector; the document name stays.
  void Reset(int limit, bool throwMode);

  // Writes all entries in order.
  void GetErrDescr(std::basic_ostream<char16_t>& stream) const;

 protected:
  // Told the level of each new entry.
  virtual void CheckType(ErrData::ERRTYPE type);

 private:
  // Saves and restores a collector as it is.
  friend class PermanentErrProc;

  bool MergeIntoLast(const ErrDescr& e);

  ErrData::ERRTYPE mostSerious = ErrData::ERR_NONE;
  std::int32_t maxNum;
  std::vector<ErrDescr> entries;
  bool throwing;
  std::u16string docName;
};

// Installs the process-wide report target (null for none) and answers the one before. With
// `ignoreWarnings`, warnings do not reach it.
// REQUIRES: the target stays until another is installed.
KVORLIB_API ErrProcBase* SetErrorReport(ErrProcBase* target, bool ignoreWarnings);
KVORLIB_API bool GetIgnWarn();

// Reports ERR_ERROR or, with `isError` false, ERR_WARNING to the target, if there is one. Narrow
// texts are in the current code page; their line ends become "\r\n".
// Throws: what the target throws; the narrow form also as A2U does.
KVORLIB_API void ErrorReport(bool isError, const std::u16string& message,
                             const std::u16string& name, int line, int column, int length);
KVORLIB_API void ErrorReport(bool isError, const std::string& message, const std::string& name,
                             int line, int column, int length);

// A failure in words. what() says nothing of it; the words are in GetText().
class KVORLIB_API Except : public std::exception {
 public:
  // A null text gives empty words.
  explicit Except(const char* text) : words(text != nullptr ? text : "") {}

  const std::string& GetText() const { return words; }

  // Throws an Except: `text`, if not null, and a line feed, then "Win32 Error: " with the calling
  // thread's last system error code, if that is not 0. The name stands for the system's code of
  // every platform.
  [[noreturn]] static void Win32ErrorReport(const char* text);

 private:
  std::string words;
};

// The exception inside the store's layers: words and a level (a number of ErrData::ERRTYPE). It
// does not leave a PersistentMap.
class KVORLIB_API ErrBuf {
 public:
  ErrBuf(std::string message, int errLevel) : mess(std::move(message)), level(errLevel) {}

  int GetLevel() const { return level; }
  // Lives as long as the object.
  const char* GetMess() const { return mess.c_str(); }

 private:
  std::string mess;
  std::int32_t level;
};

// What a host's class throws from inside its reading callbacks to have a diagnostic reported there.
struct KVORLIB_API XMLErrData {
  ErrData::ERRTYPE type = ErrData::ERR_NONE;
  std::u16string message;

  XMLErrData() = default;
  XMLErrData(ErrData::ERRTYPE level, std::u16string text) : type(level), message(std::move(text)) {}
};
