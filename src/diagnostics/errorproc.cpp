// The collector of diagnostics: what is merged, what is counted, what is thrown.
#include "diagnostics/decimal.h"
#include "kvorlib/errors.h"

void ErrProc::ProcError(ErrData::ERRTYPE type, const std::u16string& message,
                        const std::u16string& name, int line, int column, int length) {
  ProcError(ErrDescr(ErrData(type, message), ErrCoord(line, column, length, name)));
}

void ErrProc::ProcError(const ErrDescr& e) {
  if (e.source.name.empty()) e.source.name = docName;
  // A copy: `e` may be an entry of this very collector, which moves when another is added.
  const ErrDescr entry = e;
  if (entry.type != ErrData::ERR_FATAL && MergeIntoLast(entry)) return;
  entries.push_back(entry);
  CheckType(entry.type);
  if (throwing && entry.type == ErrData::ERR_FATAL) {
    throwing = false;  // a handler may report a further fatal one here
    throw ErrDescr(entry);
  }
}

bool ErrProc::MergeIntoLast(const ErrDescr& e) {
  if (entries.empty() || !(entries.back().source == e.source)) return false;
  ErrDescr& last = entries.back();
  if (!last.message.empty() && last.message.back() != u'\n') last.message += u"\r\n";
  last.message += e.message;
  if (e.type > last.type) last.type = e.type;
  return true;
}

void ErrProc::CheckType(ErrData::ERRTYPE type) {
  if (type > mostSerious) mostSerious = type;
}

void ErrProc::CheckMaxNum() {
  if (maxNum == 0 || GetENum() <= static_cast<unsigned>(maxNum)) return;
  const std::u16string words =
      u"Limit of error messages (" + diagnostics::Decimal(maxNum) + u") exceed";
  ProcError(ErrDescr(ErrData(ErrData::ERR_FATAL, words), entries.back().source));
}

void ErrProc::Reset(int limit, bool throwMode) {
  maxNum = limit;
  entries.clear();
  mostSerious = ErrData::ERR_NONE;
  throwing = throwMode;
}

void ErrProc::GetErrDescr(std::basic_ostream<char16_t>& stream) const {
  for (const ErrDescr& e : entries) e.GetErrDescr(stream);
}
