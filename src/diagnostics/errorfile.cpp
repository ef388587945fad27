// Diagnostics as XML: saving and loading, with every failure turned into one more diagnostic.
#include "kvorlib/errorfile.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "diagnostics/decimal.h"

namespace {

constexpr const char16_t* kErrors = u"errors";
constexpr const char16_t* kError = u"error";
constexpr const char16_t* kCoord = u"coord";

constexpr const char16_t* kFailedReading = u"Failed reading a file";
constexpr const char16_t* kFailedWriting = u"Failed writing a file";

constexpr int kFileCodePage = 65001;

struct LevelWord {
  ErrData::ERRTYPE type;
  const char16_t* word;
};
constexpr LevelWord kLevels[] = {{ErrData::ERR_WARNING, u"Warning"},
                                 {ErrData::ERR_ERROR, u"Error"},
                                 {ErrData::ERR_FATAL, u"Fatal error"}};

void PutNumber(XMLAttrs& attrs, const char16_t* key, int number) {
  if (number != -1) attrs[key] = diagnostics::Decimal(number);
}

void PutWord(XMLAttrs& attrs, const char16_t* key, const std::u16string& word) {
  if (!word.empty()) attrs[key] = word;
}

}  // namespace

PermanentErrProc::PermanentErrProc(int limit)
    : ErrProc(limit, true), document(std::make_shared<XMLDoc>()) {}

std::u16string PermanentErrProc::ConvErrStr(ErrData::ERRTYPE type) {
  for (const LevelWord& level : kLevels)
    if (level.type == type) return level.word;
  return {};
}

ErrData::ERRTYPE PermanentErrProc::ConvErrStr(const std::u16string& word) {
  for (const LevelWord& level : kLevels)
    if (level.word == word) return level.type;
  return ErrData::ERR_NONE;
}

std::u16string PermanentErrProc::Search(const XMLAttrs& attrs, const std::u16string& key) {
  const auto found = attrs.find(key);
  return found != attrs.end() ? found->second : std::u16string();
}

int PermanentErrProc::SearchInt(const XMLAttrs& attrs, const std::u16string& key) {
  const std::u16string value = Search(attrs, key);
  if (value.empty()) return -1;
  // What is no ASCII ends a number as any other sign does. A number that is too great is the
  // greatest: a wrapped one might look like none, or like another place.
  std::string digits;
  for (const char16_t unit : value) digits += unit < 0x80 ? static_cast<char>(unit) : '?';
  constexpr long least = std::numeric_limits<int>::min();
  constexpr long most = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::strtol(digits.c_str(), nullptr, 10), least, most));
}

bool PermanentErrProc::StartWriting() const {
  if (GetXMLDoc() == nullptr) return false;
  XMLAttrs attrs;
  if (!docName.empty()) {
    attrs[u"fname"] = docName;
    PutNumber(attrs, u"mnum", maxNum);
    PutWord(attrs, u"mtype", ConvErrStr(mostSerious));
    attrs[u"throw"] = throwing ? u"true" : u"false";
  }
  WriteStartElement(kErrors, attrs);
  for (const ErrDescr& e : entries) SaveErrDescr(e);
  WriteEndElement(kErrors);
  return true;
}

bool PermanentErrProc::SaveErrDescr(const ErrDescr& e) const {
  XMLAttrs attrs;
  PutWord(attrs, u"message", e.message);
  PutWord(attrs, u"type", ConvErrStr(e.type));
  return WriteStartElement(kError, attrs) && SaveErrCoord(e.GetESource()) &&
         WriteEndElement(kError);
}

bool PermanentErrProc::SaveErrCoord(const ErrCoord& coord) const {
  XMLAttrs attrs;
  PutNumber(attrs, u"column", coord.column);
  PutNumber(attrs, u"length", coord.length);
  PutNumber(attrs, u"line", coord.line);
  PutWord(attrs, u"name", coord.name);
  return attrs.empty() || (WriteStartElement(kCoord, attrs) && WriteEndElement(kCoord));
}

bool PermanentErrProc::IsIn(const char16_t* element) const {
  return !open.empty() && open.back() == element;
}

bool PermanentErrProc::ReadErrors(const XMLAttrs& attrs) {
  if (!open.empty()) return false;
  docName = Search(attrs, u"fname");
  mostSerious = ConvErrStr(Search(attrs, u"mtype"));
  maxNum = SearchInt(attrs, u"mnum");
  throwing = Search(attrs, u"throw") == u"true";
  open.emplace_back(kErrors);
  return true;
}

bool PermanentErrProc::ReadError(const XMLAttrs& attrs) {
  if (!IsIn(kErrors)) return false;
  current.message = Search(attrs, u"message");
  current.type = ConvErrStr(Search(attrs, u"type"));
  open.emplace_back(kError);
  return true;
}

bool PermanentErrProc::ReadCoord(const XMLAttrs& attrs) {
  if (!IsIn(kError)) return false;
  current.GetESource() = ErrCoord(SearchInt(attrs, u"line"), SearchInt(attrs, u"column"),
                                  SearchInt(attrs, u"length"), Search(attrs, u"name"));
  open.emplace_back(kCoord);
  return true;
}

bool PermanentErrProc::ReadStartElement(const std::u16string& name, const XMLAttrs& attrs) {
  const bool fits = (name == kErrors && ReadErrors(attrs)) ||
                    (name == kError && ReadError(attrs)) || (name == kCoord && ReadCoord(attrs));
  if (!fits) Fail(u"Wrong data in error file");
  return fits;
}

bool PermanentErrProc::ReadEndElement(const std::u16string& name) {
  if (open.empty() || open.back() != name) {
    Fail(u"Wrong data in error file");
    return false;
  }
  if (name == kError) {
    entries.push_back(current);
    ClearBuf();
  }
  open.pop_back();
  return true;
}

void PermanentErrProc::Fail(const char16_t* message) {
  ErrProcBase& self = *this;
  self.ProcError(ErrData::ERR_FATAL, message, {}, -1, -1, -1);
}

// Something was thrown already: not a second time.
void PermanentErrProc::FailAt(const char16_t* message, const ErrCoord& coord) {
  throwing = false;
  ErrProc::ProcError(ErrDescr({ErrData::ERR_FATAL, message}, coord));
}

// What a failed reading left half-done is forgotten.
void PermanentErrProc::BeginReading() {
  Reset(0, true);
  open.clear();
  ClearBuf();
  document->SetCallback(this, XMLDoc::DC_READ);
}

bool PermanentErrProc::ReadDataFromDisk(const std::u16string& path) {
  try {
    BeginReading();
    if (document->LoadFile(path)) return true;
    Fail(kFailedReading);
  } catch (const ErrDescr& e) {
    FailAt(kFailedReading, e.GetESource());
  } catch (...) {
    FailAt(kFailedReading, {});
  }
  return false;
}

bool PermanentErrProc::ReadDataFromString(const std::u16string& text) {
  try {
    BeginReading();
    if (document->LoadFromString(text)) return true;
    Fail(kFailedReading);
  } catch (const ErrDescr& e) {
    FailAt(kFailedReading, e.GetESource());
  }
  return false;
}

bool PermanentErrProc::SaveDataToDisk(const std::u16string& path) {
  try {
    document->SetCallback(this, XMLDoc::DC_WRITE);
    document->SetCP(kFileCodePage);  // one in another encoding may have been read
    if (document->SaveFile(path)) return true;
    Fail(kFailedWriting);
  } catch (const ErrDescr& e) {
    FailAt(kFailedWriting, e.GetESource());
  }
  return false;
}

bool PermanentErrProc::SaveDataToString(std::u16string& out) {
  try {
    document->SetCallback(this, XMLDoc::DC_WRITE);
    document->SaveString(out);
    return true;
  } catch (const ErrDescr& e) {
    FailAt(kFailedWriting, e.GetESource());
  }
  return false;
}
