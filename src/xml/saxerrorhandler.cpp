// Diagnostics of the parser, of callbacks and of result codes, put into records.
#include "xml/saxerrorhandler.h"

#include "diagnostics/decimal.h"
#include "xml/saxresult.h"

using platform::SaxLocator;
using platform::SaxResult;

SaxResult SAXErrorHandlerImpl::error(const SaxLocator& place, const std::u16string& message,
                                     SaxResult code) {
  Report(place, {ErrData::ERR_ERROR, message});
  return code;
}

SaxResult SAXErrorHandlerImpl::fatalError(const SaxLocator& place, const std::u16string& message,
                                          SaxResult code) {
  if (code != xml::kStop) Report(place, {ErrData::ERR_FATAL, message});
  return code;
}

SaxResult SAXErrorHandlerImpl::ignorableWarning(const SaxLocator& place,
                                                const std::u16string& message, SaxResult /*code*/) {
  Report(place, {ErrData::ERR_WARNING, message});
  return platform::kSaxOk;
}

void SAXErrorHandlerImpl::Reset() {
  if (collector != nullptr) collector->Reset(0, true);
  last = ErrDescr();
}

void SAXErrorHandlerImpl::SetFileName(const char16_t* name) {
  fileName = name != nullptr ? name : u"<string>";
}

void SAXErrorHandlerImpl::Report(const SaxLocator& place, const ErrData& data) {
  Report(place.getLineNumber(), place.getColumnNumber(), data);
}

void SAXErrorHandlerImpl::Report(int line, int column, const ErrData& data) {
  Record({data, ErrCoord(line, column, -1, fileName)});
}

void SAXErrorHandlerImpl::ReportResult(SaxResult code) {
  if (collector == nullptr && !(last == ErrDescr())) return;
  const std::u16string message = code == xml::kFileNotFound
                                     ? u"Couldnot found file"
                                     : u"System error code:" + diagnostics::Decimal(code);
  Record({{ErrData::ERR_FATAL, message}, {}});
}

void SAXErrorHandlerImpl::Record(const ErrDescr& e) {
  last = e;
  if (collector != nullptr) collector->ProcError(e);
}
