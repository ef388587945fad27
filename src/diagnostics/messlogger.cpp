// The filter, the process-wide logger, and the free functions that reach its writer.
#include <cstdio>

#include "kvorlib/encoding.h"
#include "kvorlib/messages.h"

namespace {

constexpr std::size_t NarrowLimit = 8192;

int logCodePage = -1;

// Where a message of this class goes; null for nowhere.
LogWriter* SinkFor(enMessageClass messageClass) {
  MessLogger* const logger = MessLogger::GetMessLogger(messageClass);
  return logger != nullptr ? logger->GetLogWriter() : nullptr;
}

}  // namespace

MessLogger* MessLogger::log = nullptr;

bool MessLogger::CheckMode(enMessageClass messageClass) const {
  if (writer == nullptr) return false;
  if (messageClass == MC_LOG) return mode != 'N';
  if (messageClass == MC_DETAIL) return mode == 'M';
  return true;
}

bool MessLogger::LogMessage(enMessageClass messageClass, const char16_t* format, ...) {
  if (!CheckMode(messageClass)) return true;
  va_list args;
  va_start(args, format);
  const bool written = writer->vsWrite(format, args);
  va_end(args);
  return written;
}

bool MessLogger::LogStringMessage(enMessageClass messageClass, const std::u16string& text) {
  return !CheckMode(messageClass) || writer->Write(text);
}

void MessLogger::SetLogWriter(LogWriter* logWriter) { writer = logWriter; }
LogWriter* MessLogger::GetLogWriter() { return writer; }

MessLogger* MessLogger::GetMessLogger(enMessageClass messageClass) {
  return log != nullptr && log->CheckMode(messageClass) ? log : nullptr;
}

void MessLogger::SetLogMode(char logMode) {
  if (log != nullptr) log->SetMode(logMode);
}

SafeModeGuard::SafeModeGuard(bool safe) {
  MessLogger* const logger = MessLogger::GetMessLogger();
  if (logger == nullptr) return;
  writer = dynamic_cast<SafeHtmlWriter*>(logger->GetLogWriter());
  if (writer == nullptr) return;
  saved = writer->GetSafeMode();
  writer->SetSafeMode(safe);
}

SafeModeGuard::~SafeModeGuard() {
  if (writer != nullptr) writer->SetSafeMode(saved);
}

char GetLogMode() {
  const MessLogger* const logger = MessLogger::GetMessLogger();
  return logger != nullptr ? logger->GetMode() : 'N';
}

void SetLogCP(int codePage) { logCodePage = codePage; }

void LogMessage(enMessageClass messageClass, const char16_t* format, ...) {
  LogWriter* const sink = SinkFor(messageClass);
  if (sink == nullptr) return;
  va_list args;
  va_start(args, format);
  sink->vsWrite(format, args);
  va_end(args);
}

void LogMessage(enMessageClass messageClass, const char* format, ...) {
  LogWriter* const sink = SinkFor(messageClass);
  if (sink == nullptr) return;
  char text[NarrowLimit];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  if (length >= 0) sink->Write(A2U(text, logCodePage, true));
}

void LogStringMessage(enMessageClass messageClass, const char16_t* text) {
  if (LogWriter* const sink = SinkFor(messageClass)) sink->Write(text);
}

void LogStringMessage(enMessageClass messageClass, const char* text) {
  if (LogWriter* const sink = SinkFor(messageClass)) sink->Write(A2U(text, logCodePage, true));
}
