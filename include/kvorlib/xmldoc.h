// Reading and writing XML by events. An object takes part by deriving from DataConstr:
//
//   struct Titles : DataConstr {
//     bool ReadStartElement(const std::u16string& name, const XMLAttrs& attrs) override {
//       inTitle = name == u"title";
//       return true;
//     }
//     bool ReadCharacters(const std::u16string& text) override {
//       if (inTitle) titles += text;
//       return true;
//     }
//     bool inTitle = false;
//     std::u16string titles;
//   } titles;
//
//   XMLDoc doc;
//   doc.SetCallback(&titles, XMLDoc::DC_READ);
//   if (!doc.LoadFile(u"books.xml")) doc.GetLastError().GetErrDescr(stream);
//
// The same object can write itself, in the same terms:
//
//   bool StartWriting() const override {
//     WriteStartElement(u"title", {{u"lang", u"en"}});
//     WriteCharacters(titles);
//     return WriteEndElement(u"title");
//   }
//   …
//   doc.SetCallback(&titles, XMLDoc::DC_WRITE);
//   doc.SaveFile(u"titles.xml");
//
// There is no tree of the document: an object that wants one builds it. A stack of objects lets the
// element being read hand the events of its children to another object (PutToXMLDoc) and take them
// back at its end tag (PushFromXMLDoc).
//
// A document belongs to one thread, and calls its objects while it loads or saves only.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "kvorlib/errors.h"
#include "kvorlib/export.h"

class SAXContentHandlerImpl;
class SAXErrorHandlerImpl;
class XMLDoc;
class XMLWriter;

// Nothing in the library reads it.
struct ExtraInfo;

// Attributes by their qualified names.
using XMLAttrs = std::map<std::u16string, std::u16string>;

// The base of all objects that an XMLDoc reads or writes. Never deleted through a pointer to it.
class KVORLIB_API DataConstr {
 public:
  // The events. Names are qualified names, as they stand in the document; declarations of
  // namespaces (xmlns, xmlns:*) are no attributes. A backslash and the letter n in an attribute's
  // value come as "\r\n", two backslashes as one.
  //
  // The answer false to ReadStartElement or ReadEndElement ends the reading, and the load is still
  // a success: so an object stops when it has what it needs. To stop with a diagnostic at this very
  // tag, throw XMLErrData from one of the two; thrown from the others it goes, as any exception
  // does, to the caller of the load. The answers of the others are not looked at.
  //
  // Text comes line by line: what stands before a line feed, if anything, then the line feed alone,
  // and so on. A line comes in one call, whatever comments, entities or CDATA sections it is made
  // of; only a tag parts it.
  virtual bool ReadStartDocument();
  virtual bool ReadEndDocument();  // nothing calls it
  virtual bool ReadStartElement(const std::u16string& name, const XMLAttrs& attrs);
  virtual bool ReadEndElement(const std::u16string& name);
  virtual bool ReadCharacters(const std::u16string& text);

  // Writes the object, by the three operations below; false when there is nothing that it can
  // write. The second is called in place of the first under XMLDoc::USER_DEFINED.
  virtual bool StartWriting() const;
  virtual bool StartWritingAlt() const;

  // The document that the object works with, null at first. Set by the document, which does not
  // take it back when it goes: then it must not be used, nor the operations that need it. A copy of
  // the object has the same.
  XMLDoc* GetXMLDoc() const { return document; }
  void SetXMLDoc(XMLDoc* doc) const { document = doc; }

  // From now on the child gets the events of this object's document.
  void PutToXMLDoc(DataConstr* child);
  // Takes the top off the stack of this object's document, whatever object that is. In spite of the
  // name it is the reverse of PutToXMLDoc. With an empty stack, or no document, nothing happens.
  void PushFromXMLDoc();

  // Write to this object's document while it is being saved. False with no document.
  //
  // "<", ">" and "&" are escaped, in attributes also quotation marks, backslashes and "\r\n"; a
  // lone line feed or tab in an attribute is not, and is read as a blank. Characters that XML does
  // not have become U+FFFD in attributes. In text such characters, and names, are written as they
  // are: the document may then be one that no reader takes.
  //
  // If the top of the document's read stack is an object other than this, start tags are offered to
  // it (its false is the answer, and nothing is written) and then written, while end tags and text
  // go to it instead of being written.
  bool WriteStartElement(const std::u16string& name, const XMLAttrs& attrs = {}) const;
  bool WriteEndElement(const std::u16string& name) const;
  bool WriteCharacters(const std::u16string& text) const;

 protected:
  // Reports to the document, without a place. With no document nothing happens.
  void ProcessError(const std::u16string& message, ErrData::ERRTYPE type);

 private:
  DataConstr* Listener() const;

  mutable XMLDoc* document = nullptr;
};

// The reader and writer.
//
// Bytes are read as UTF-8, as UTF-16 in either order (told by the mark, or by the first "<"), or in
// the code page that the declaration names. Wide text is read as it is, whatever its declaration
// says. Bytes that the encoding does not have and zero characters are faults like any other.
//
// Entities that the document defines are expanded; nothing outside of the document is ever opened.
// There are limits, each with a diagnostic of its own: MAX_DEPTH levels of elements,
// MAX_ENTITY_DEPTH levels of entities within entities, and from 8 MiB on the DTD must not make the
// document grow a hundredfold.
//
// A diagnostic of the parser, and one thrown as XMLErrData, has the line and the column (both from
// 1) where the faulty piece or the tag begins; for the end of an element in the short form, where
// that ends; in an entity's text, where the entity is named. A column is one character of the
// document: a tab is one, and so is a character of two units. "\r\n", "\n" and a lone "\r" end
// lines.
class KVORLIB_API XMLDoc {
 public:
  // Features, to be added up.
  static constexpr std::int32_t DEFAULT = 0;
  static constexpr std::int32_t KEEP_WHITESPACE = 1;      // for callers; nothing here tests it
  static constexpr std::int32_t FORMAT = 2;               // saving indents; see SaveFile
  static constexpr std::int32_t OMIT_XMLDECLARATION = 4;  // for callers; nothing here tests it
  static constexpr std::int32_t USER_DEFINED = 8;  // saving calls StartWritingAlt, not StartWriting

  static constexpr int MAX_DEPTH = 4096;
  static constexpr int MAX_ENTITY_DEPTH = 100;

  enum SETDCMODE : int { DC_READ = 0, DC_WRITE = 1 };

  // Throws: ErrData, ERR_FATAL "XMLDoc initialization error", when the parser cannot be made.
  explicit XMLDoc(int features = DEFAULT);
  // The copy has code page, features and comment, and no callbacks.
  XMLDoc(const XMLDoc& other);
  // Takes over code page, features and comment, and nothing else.
  XMLDoc& operator=(const XMLDoc& other);
  // REQUIRES: not called from a callback of its own.
  ~XMLDoc();

  // Gives everything up; after that only the tests of validity are of use. Throws: ErrData,
  // ERR_FATAL "Wrong XMLDoc state", while it is loading or saving; nothing is given up then.
  void Free();
  bool IsValid() const;

  // The code page of the document: 65001 at first, then what the latest document that was read
  // declared. One without a declared encoding leaves it. Used for saving.
  int GetCP() const { return codePage; }
  void SetCP(int number) { codePage = number; }
  int GetFeatures() const { return features; }
  void SetFeatures(int set);
  // Kept and copied, and written nowhere.
  void SetComment(const std::u16string& text) { comment = text; }

  // The objects are not owned. They stay until others are set.
  //
  // DC_READ: the object alone is on the stack, and there is no write callback any more. DC_WRITE:
  // as SetWriteCallback without a reader.
  void SetCallback(DataConstr* object, SETDCMODE mode);
  // Null leaves the stack empty; then a document is only checked.
  void SetReadCallback(DataConstr* object, bool clearWrite);
  void SetWriteCallback(DataConstr* object, DataConstr* reader);
  // A null object is not pushed.
  void PushReadCallback(DataConstr* object);
  // The write callback, or the top of the stack; null if there is none.
  DataConstr* GetCallback(SETDCMODE mode) const;

  // The name of the document in diagnostics; null gives "<string>".
  void SetFileName(const char16_t* name);

  // Each reads a document, sends its events to the top of the stack, and answers whether that went
  // well; if not, GetLastError() tells. What a callback throws goes to the caller, but for
  // XMLErrData at a tag: ERR_ERROR and ERR_FATAL fail the load, lower levels do not.
  //
  // A missing file is "Couldnot found file". A null name is "<string>".
  //
  // Throws: Except "Multianguage support error" for an encoding name that chset2CP does not know.
  // ErrData, ERR_FATAL "Wrong XMLDoc state", when the document is not valid, and from a callback of
  // its own load.
  bool LoadFile(const std::u16string& path);
  bool LoadFromString(const std::u16string& text, const char16_t* name = nullptr);
  bool LoadArray(const char* data, int size, const char16_t* name = nullptr);

  // Write what the write callback's StartWriting writes. A file begins with a mark, if the code
  // page is 65001 or 1200 (UTF-16, low byte first), and with a declaration that names the encoding;
  // it ends where the document ends, whatever it held before. A character that the code page lacks
  // is written as what is nearest to it there, escaped like any other, else as '?'. A string has
  // neither mark nor declaration.
  //
  // With FORMAT each tag stands on a line of its own, indented by tabs, but for those in an element
  // that has text before them: there a line break would change what is read. Lines end with "\r\n".
  //
  // A file that cannot be opened is "Could not open file", the answer false of StartWriting is "XML
  // document could not be written", both ERR_FATAL. The descriptor is open for writing, in binary
  // mode, and stays so; where it only adds to its file, what stood there stays. The answer is false
  // for one that has no beginning to go to, such as a pipe. A file that is made is for its owner
  // alone. SaveString leaves `out` alone when there was nothing to write.
  //
  // Throws: std::runtime_error "Couldn't write file."; Except, by CP2chset, for a code page without
  // a name; what StartWriting throws. ErrData, ERR_FATAL "Wrong XMLDoc state", when the document is
  // not valid (but with a descriptor the answer is false then), and while it is saving.
  bool SaveFile(const std::u16string& path);
  bool SaveFile(int fd);
  void SaveString(std::u16string& out);

  // The last diagnostic of the latest load and of what came after it, ERR_NONE if there was none.
  const ErrDescr& GetLastError() const;
  // Records a diagnostic without a place.
  void ProcError(ErrData::ERRTYPE type, const std::u16string& message);

 private:
  friend class DataConstr;
  friend class XMLWriter;
  class Loading;
  class Saving;

  SAXErrorHandlerImpl* GetErrorHandler() const { return errorHandler.get(); }
  void SetExtraInfo(ExtraInfo* info) { extraInfo = info; }

  void Init();
  void Release();
  void PopReadCallback();
  bool Parse(std::string_view utf8);
  bool ParseBytes(std::string&& bytes);

  std::int32_t codePage = 65001;
  std::unique_ptr<XMLWriter> writer;
  std::unique_ptr<SAXContentHandlerImpl> contentHandler;
  std::unique_ptr<SAXErrorHandlerImpl> errorHandler;
  std::deque<DataConstr*> readCallbacks;
  DataConstr* writeCallback = nullptr;
  std::int32_t features;
  std::u16string comment;
  ExtraInfo* extraInfo = nullptr;
  bool loading = false;
  bool saving = false;
};
