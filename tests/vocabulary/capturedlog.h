// What is logged in a scope, as UTF-8 without carriage returns.
#pragma once

#include <string>

#include "kvorlib/encoding.h"
#include "kvorlib/messages.h"

struct CapturedLog : LogWriter {
  CapturedLog() { MessLogger::SetMessLogger(&logger); }
  ~CapturedLog() { MessLogger::SetMessLogger(nullptr); }
  bool Write(const std::u16string& words) override {
    text += U2A(words, 65001);
    std::erase(text, '\r');
    return true;
  }
  bool vsWrite(const char16_t* format, va_list& args) override {
    return Write(FormatLogText(format, args));
  }

  MessLogger logger{this};
  std::string text;
};
