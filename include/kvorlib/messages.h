// The message logger with its sinks, and the host's two callbacks.
//
// Progress and trace output goes through one process-wide MessLogger, which lets a message pass by
// its class and hands it to a LogWriter:
//
//   FileLogWriter file;
//   file.OpenLog(u"run.log", u"wb");
//   MessLogger logger(&file, 'S');
//   MessLogger::SetMessLogger(&logger);
//   LogMessage(MC_LOG, u"%s: %d articles\n", name.c_str(), count);
//
// Formats are those of printf; in wide ones %s takes wide text and %hs narrow text, in the current
// code page. Pointers to texts and formats are not null.
//
// The host owns logger, writers and callbacks, and keeps them alive for as long as they are
// installed. Nothing here is locked.
#pragma once

#include <cstdarg>
#include <memory>
#include <string>

#include "kvorlib/export.h"

// What a message is, and in which modes it passes. Any other number passes like MC_ALWAYS.
enum enMessageClass : int {
  MC_ALWAYS = 0,
  MC_LOG = 1,     // in every mode but 'N'
  MC_DETAIL = 2,  // in mode 'M' alone
};

// A sink. This base swallows everything. Never deleted through a pointer to it.
class KVORLIB_API LogWriter {
 public:
  // Each answers whether the text was written.
  virtual bool Write(const std::u16string& text);
  // `args` is used up, so the caller only ends it afterwards. A list binds to the reference only
  // where it was declared as a variable: whoever has it as a parameter makes one with va_copy.
  virtual bool vsWrite(const char16_t* format, va_list& args);
};

// What vsWrite is asked to write, for sinks of a host's own: no standard function formats wide
// text. Uses `args` up, as vsWrite does. Throws: as A2U does, for narrow texts among the arguments.
KVORLIB_API std::u16string FormatLogText(const char16_t* format, va_list& args);

// A sink that is a file of UTF-16, low byte first. Every write is flushed, so that the log can be
// read after a crash. Line ends are written as they come.
class KVORLIB_API FileLogWriter : public LogWriter {
 public:
  FileLogWriter();
  ~FileLogWriter();  // closes the file
  FileLogWriter(const FileLogWriter&) = delete;
  FileLogWriter& operator=(const FileLogWriter&) = delete;

  // False when no file is open, and when writing fails.
  // Throws: vsWrite as A2U does, for narrow texts among its arguments.
  bool Write(const std::u16string& text) override;
  bool vsWrite(const char16_t* format, va_list& args) override;

  // Opens as fopen does and writes U+FEFF, also where `mode` appends. The name is kept even if this
  // fails; then there is no open file. One that is open already is written to no more, and is
  // closed only when this object goes.
  virtual bool OpenLog(const std::u16string& name, const std::u16string& mode);
  // The name of the file that was closed; empty if none was open.
  virtual std::u16string CloseLog();
  virtual std::u16string& GetFileName();

 protected:
  bool IsOpen() const;

 private:
  // Writes past every override.
  bool Put(const std::u16string& text);

  struct Handles;
  std::unique_ptr<Handles> handles;
  std::u16string fileName;
};

// A file sink whose plain texts can be made safe for HTML. Formatted output is never changed: that
// is how markup gets through.
class KVORLIB_API SafeHtmlWriter : public FileLogWriter {
 public:
  // With no open file nothing happens and the answer is true. In safe mode a text with any of
  // "&<>" passes ToSafeHtmlText first.
  bool Write(const std::u16string& text) override;

  void SetSafeMode(bool safe) { safeMode = safe; }
  bool& GetSafeMode() { return safeMode; }

 private:
  bool safeMode = false;
};

// The filter before a sink. Never deleted through a pointer to it when it is the base of another.
class KVORLIB_API MessLogger {
 public:
  // The mode is one letter: 'N' lets pass MC_ALWAYS alone, 'M' every class, any other letter
  // MC_ALWAYS and MC_LOG. Without a writer nothing passes.
  explicit MessLogger(LogWriter* logWriter = nullptr, char logMode = 'N')
      : writer(logWriter), mode(logMode) {}

  // The answer of the writer; true for a message that does not pass.
  virtual bool LogMessage(enMessageClass messageClass, const char16_t* format, ...);
  virtual bool LogStringMessage(enMessageClass messageClass, const std::u16string& text);
  virtual void SetLogWriter(LogWriter* logWriter);
  virtual LogWriter* GetLogWriter();

  void SetMode(char logMode) { mode = logMode; }
  char GetMode() const { return mode; }

  // The process-wide logger; null for none.
  static void SetMessLogger(MessLogger* logger) { log = logger; }
  static MessLogger* GetMessLogger() { return log; }
  // The same, but null also if messages of this class do not pass.
  static MessLogger* GetMessLogger(enMessageClass messageClass);
  // Sets the mode of the process-wide logger, if there is one.
  static void SetLogMode(char logMode);

  static MessLogger* log;

 protected:
  bool CheckMode(enMessageClass messageClass) const;

 private:
  LogWriter* writer;
  char mode;
};

// Sets the safe mode of the writer of the process-wide logger for the time of a scope, if that is a
// SafeHtmlWriter.
// REQUIRES: the writer outlives the guard.
class KVORLIB_API SafeModeGuard {
 public:
  explicit SafeModeGuard(bool safe);
  ~SafeModeGuard();
  SafeModeGuard(const SafeModeGuard&) = delete;
  SafeModeGuard& operator=(const SafeModeGuard&) = delete;

 private:
  SafeHtmlWriter* writer = nullptr;
  bool saved = false;
};

// The mode of the process-wide logger, 'N' if there is none.
KVORLIB_API char GetLogMode();

// Messages to the writer of the process-wide logger, if there is one and the class passes. They go
// there directly, past the logger's own LogMessage. The narrow forms convert from the log code
// page, give every line end the form "\r\n", and cut a formatted text to 8191 bytes.
// Throws: the narrow forms as A2U does.
KVORLIB_API void LogMessage(enMessageClass messageClass, const char16_t* format, ...);
KVORLIB_API void LogMessage(enMessageClass messageClass, const char* format, ...);
KVORLIB_API void LogStringMessage(enMessageClass messageClass, const char16_t* text);
KVORLIB_API void LogStringMessage(enMessageClass messageClass, const char* text);

// The code pages of the narrow forms of LogMessage and LogStringMessage (at first -1, UTF-8) and of
// UserMessage (at first 0, the current one).
KVORLIB_API void SetLogCP(int codePage);
KVORLIB_API void SetUserCP(int codePage);

// How the host shows a message to the user, or asks. Null for not at all.
using UserCallback = void (*)(const std::u16string& text);
using UserQuestCallback = bool (*)(const std::u16string& text);
KVORLIB_API void SetUserCallback(UserCallback callback);
KVORLIB_API void SetUserQuestCallback(UserQuestCallback callback);

// Nothing happens without a callback. The line ends of a narrow text become "\r\n".
// Throws: what the callback throws; the narrow form also as A2U does.
KVORLIB_API void UserMessage(const std::string& text);
KVORLIB_API void UserMessage(const std::u16string& text);
// False without a callback.
KVORLIB_API bool UserQuestion(const std::u16string& text);

// The host's view of a long operation such as a copy: what was said, and whether to go on.
class KVORLIB_API ProcessMess {
 public:
  virtual ~ProcessMess();
  // Called once for each record, with -1 and -1; false stops the operation.
  virtual bool Progress(int done, int total) = 0;

  // Passes `line` with "\r\n" behind it to UserMessage, and collects it.
  void AddMessage(const std::u16string& line);
  const std::u16string& GetMessages() const { return messages; }

 protected:
  ProcessMess() = default;
  ProcessMess(const ProcessMess&) = default;
  ProcessMess& operator=(const ProcessMess&) = default;

  std::u16string messages;
};
