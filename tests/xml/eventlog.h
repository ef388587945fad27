// An object that writes down the events it gets, and may answer them as a test likes.
#pragma once

#include <functional>
#include <sstream>
#include <string>

#include "kvorlib/xmldoc.h"

struct EventLog : DataConstr {
  bool ReadStartDocument() override { return log += u"^", false; }
  bool ReadStartElement(const std::u16string& name, const XMLAttrs& attrs) override {
    log += u"<" + name;
    for (const auto& [attr, value] : attrs) log += u" " + attr + u"=" + value;
    log += u">";
    return !onStart || onStart(name);
  }
  bool ReadEndElement(const std::u16string& name) override {
    log += u"</" + name + u">";
    return !onEnd || onEnd(name);
  }
  bool ReadCharacters(const std::u16string& text) override {
    log += u"[" + text + u"]";
    if (onText) onText(text);
    return false;
  }

  std::u16string log;  // <a attr=value>[text]</a>
  std::function<bool(const std::u16string&)> onStart;
  std::function<bool(const std::u16string&)> onEnd;
  std::function<void(const std::u16string&)> onText;
};

inline bool LoadBytes(XMLDoc& doc, const std::string& bytes, const char16_t* name = u"doc") {
  return doc.LoadArray(bytes.data(), static_cast<int>(bytes.size()), name);
}

// The diagnostic as callers print it, without its line end; empty if there is none.
inline std::u16string LastError(const XMLDoc& doc) {
  if (doc.GetLastError() == ErrDescr()) return {};
  std::basic_ostringstream<char16_t> stream;
  doc.GetLastError().GetErrDescr(stream);
  return stream.str().substr(0, stream.str().size() - 2);
}

// The events and, if there is one, the diagnostic.
inline std::u16string EventsOf(const std::string& bytes) {
  EventLog events;
  XMLDoc doc;
  doc.SetCallback(&events, XMLDoc::DC_READ);
  LoadBytes(doc, bytes);
  return events.log + LastError(doc);
}
