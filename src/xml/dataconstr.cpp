// The base of objects that read and write themselves: what they do unless told otherwise, and their
// way to the document.
#include "kvorlib/xmldoc.h"
#include "xml/xmlwriter.h"

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

// The object on top of the document's read stack, unless that is this one.
DataConstr* DataConstr::Listener() const {
  DataConstr* const top = document->GetCallback(XMLDoc::DC_READ);
  return top != this ? top : nullptr;
}

bool DataConstr::WriteStartElement(const std::u16string& name, const XMLAttrs& attrs) const {
  if (document == nullptr || document->writer == nullptr) return false;
  DataConstr* const listener = Listener();
  if (listener != nullptr && !listener->ReadStartElement(name, attrs)) return false;
  document->writer->StartElement(name, attrs);
  return true;
}

bool DataConstr::WriteEndElement(const std::u16string& name) const {
  if (document == nullptr || document->writer == nullptr) return false;
  if (DataConstr* const listener = Listener())
    listener->ReadEndElement(name);
  else
    document->writer->EndElement(name);
  return true;
}

bool DataConstr::WriteCharacters(const std::u16string& text) const {
  if (document == nullptr || document->writer == nullptr) return false;
  if (DataConstr* const listener = Listener())
    listener->ReadCharacters(text);
  else
    document->writer->Characters(text);
  return true;
}
