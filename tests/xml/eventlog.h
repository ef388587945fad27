// An object that writes down the events it gets, and does at each what a test wants.
#pragma once

#include <functional>
#include <sstream>
#include <string>

#include "kvorlib/xmldoc.h"
#include "util/textsupport.h"

struct EventLog : DataConstr {
  bool ReadStartDocument() override { return Note(u"^"), false; }
  bool ReadStartElement(const std::u16string& name, const XMLAttrs& attrs) override {
    std::u16string tag = u"<" + name;
    for (const auto& [attr, value] : attrs) tag += u" " + attr + u"=" + value;
    return Note(tag + u">");
  }
  bool ReadEndElement(const std::u16string& name) override { return Note(u"</" + name + u">"); }
  bool ReadCharacters(const std::u16string& text) override {
    return Note(u"[" + text + u"]"), false;
  }

  using DataConstr::ProcessError;

  bool Note(const std::u16string& event) {
    log += event;
    return !hook || hook(event);
  }

  std::u16string log;  // ^<a attr=value>[text]</a>
  std::function<bool(const std::u16string& event)> hook;
};

inline bool LoadBytes(XMLDoc& doc, const std::string& bytes) {
  return doc.LoadArray(bytes.data(), static_cast<int>(bytes.size()), u"doc");
}

inline std::u16string Wide(const std::string& utf8) {
  return u8_w(utf8.data(), utf8.data() + utf8.size());
}

// The diagnostic as callers print it, but for its line end; empty if there is none.
inline std::u16string LastError(const XMLDoc& doc) {
  std::basic_ostringstream<char16_t> stream;
  doc.GetLastError().GetErrDescr(stream);
  const std::u16string line = stream.str();
  return line == u" \r\n" ? u"" : line.substr(0, line.size() - 2);
}

// The events, and the diagnostic behind them.
inline std::u16string EventsOf(const std::string& bytes) {
  EventLog events;
  XMLDoc doc;
  doc.SetCallback(&events, XMLDoc::DC_READ);
  LoadBytes(doc, bytes);
  return events.log + LastError(doc);
}
