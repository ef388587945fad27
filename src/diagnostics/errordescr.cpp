// The text form of one diagnostic, and the exception that carries the system's code.
#include "diagnostics/decimal.h"
#include "kvorlib/errors.h"
#include "platform/lasterror.h"

namespace {

const char16_t* PrefixOf(ErrData::ERRTYPE type) {
  switch (type) {
    case ErrData::ERR_WARNING:
      return u"Warning: ";
    case ErrData::ERR_ERROR:
      return u"Error: ";
    case ErrData::ERR_FATAL:
      return u"Fatal error: ";
    default:
      return u"";
  }
}

std::u16string PlaceOf(const ErrCoord& coord) {
  if (coord.line == -1 && coord.column == -1) return {};
  std::u16string place = u"(";
  if (coord.line != -1) place += diagnostics::Decimal(coord.line);
  if (coord.line != -1 && coord.column != -1) place += u',';
  if (coord.column != -1) place += diagnostics::Decimal(coord.column);
  return place + u')';
}

}  // namespace

void ErrDescr::GetErrDescr(std::basic_ostream<char16_t>& stream) const {
  std::u16string line = source.name + PlaceOf(source) + u' ' + PrefixOf(type) + message;
  if (!message.ends_with(u"\r\n")) line += u"\r\n";
  stream.write(line.data(), static_cast<std::streamsize>(line.size()));
}

bool ErrDescr::operator==(const ErrDescr& o) const {
  return source == o.source && static_cast<const ErrData&>(*this) == o;
}

void Except::Win32ErrorReport(const char* text) {
  const int code = platform::LastSystemError();
  std::string words;
  if (text != nullptr) words = std::string(text) + '\n';
  if (code != 0) words += "Win32 Error: " + std::to_string(code);
  throw Except(words.c_str());
}
