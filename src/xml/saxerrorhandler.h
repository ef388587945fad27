// What becomes of diagnostics: the last one is kept.
#pragma once

#include <string>

#include "kvorlib/errors.h"
#include "platform/saxreader.h"

class SAXErrorHandlerImpl : public platform::SaxErrorHandler {
 public:
  // The collector, if any, is not owned and gets every diagnostic, too.
  explicit SAXErrorHandlerImpl(ErrProc* errors) : collector(errors) {}
  virtual ~SAXErrorHandlerImpl() = default;

  platform::SaxResult error(const platform::SaxLocator& place, const std::u16string& message,
                            platform::SaxResult code) override;
  // A handler's own stop is not reported: whoever stopped has said what there is to say.
  platform::SaxResult fatalError(const platform::SaxLocator& place, const std::u16string& message,
                                 platform::SaxResult code) override;
  platform::SaxResult ignorableWarning(const platform::SaxLocator& place,
                                       const std::u16string& message,
                                       platform::SaxResult code) override;

  void Reset();
  // Null gives "<string>".
  void SetFileName(const char16_t* name);
  const ErrDescr& GetLastError() const { return last; }

  void Report(const platform::SaxLocator& place, const ErrData& data);
  void Report(int line, int column, const ErrData& data);
  // Without a place. The first diagnostic is the better one: with no collector, a code behind it is
  // not recorded.
  void ReportResult(platform::SaxResult code);
  void Record(const ErrDescr& e);

 private:
  ErrProc* collector;
  std::u16string fileName;
  ErrDescr last;
};
