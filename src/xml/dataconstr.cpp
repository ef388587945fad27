// The base of objects that read themselves: what they do unless told otherwise, and their way to
// the document.
#include "kvorlib/xmldoc.h"

bool DataConstr::ReadStartDocument() { return true; }
bool DataConstr::ReadEndDocument() { return true; }
bool DataConstr::ReadStartElement(const std::u16string& /*name*/, const XMLAttrs& /*attrs*/) {
  return true;
}
bool DataConstr::ReadEndElement(const std::u16string& /*name*/) { return true; }
bool DataConstr::ReadCharacters(const std::u16string& /*text*/) { return true; }
bool DataConstr::StartWriting() const { return false; }
bool DataConstr::StartWritingAlt() const { return false; }

void DataConstr::PutToXMLDoc(DataConstr* child) {
  if (document != nullptr) document->PushReadCallback(child);
}

void DataConstr::PushFromXMLDoc() {
  if (document != nullptr) document->PopReadCallback();
}

void DataConstr::ProcessError(const std::u16string& message, ErrData::ERRTYPE type) {
  if (document != nullptr) document->ProcError(type, message);
}
