// The process-wide report target.
#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"

namespace {

ErrProcBase* reportTarget = nullptr;
bool warningsIgnored = false;

}  // namespace

ErrProcBase* SetErrorReport(ErrProcBase* target, bool ignoreWarnings) {
  warningsIgnored = ignoreWarnings;
  return std::exchange(reportTarget, target);
}

bool GetIgnWarn() { return warningsIgnored; }

void ErrorReport(bool isError, const std::u16string& message, const std::u16string& name, int line,
                 int column, int length) {
  if (reportTarget == nullptr || (!isError && warningsIgnored)) return;
  reportTarget->ProcError(isError ? ErrData::ERR_ERROR : ErrData::ERR_WARNING, message, name, line,
                          column, length);
}

void ErrorReport(bool isError, const std::string& message, const std::string& name, int line,
                 int column, int length) {
  ErrorReport(isError, A2U(message, 0, true), A2U(name, 0, true), line, column, length);
}
