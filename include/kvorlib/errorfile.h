// Diagnostics in a file, so that one tool hands them to another or keeps them between runs.
//
//   PermanentErrProc errors;
//   errors.SetDocName(u"rules.txt");
//   …
//   errors.SaveDataToDisk(u"rules.err");
//
// The file is XML: UTF-8 with a mark, a root element "errors", in it for each diagnostic an
// "error", and in that a "coord" unless the place is wholly unknown.
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "kvorlib/errors.h"
#include "kvorlib/export.h"
#include "kvorlib/xmldoc.h"

// A collector that saves and loads its diagnostics. It starts in throw mode.
//
// The name of the document is saved with them, and only together with that name also the limit, the
// throw mode and the most serious level: a collector without a name comes back with the limit -1,
// throw mode off and the level ERR_NONE.
//
// Copies share one XMLDoc, which goes with the last of them; otherwise they are independent.
class KVORLIB_API PermanentErrProc : public ErrProc, public DataConstr {
 public:
  explicit PermanentErrProc(int limit = 0);
  PermanentErrProc(const PermanentErrProc&) = default;
  PermanentErrProc& operator=(const PermanentErrProc&) = default;

  // Both add "Failed writing a file", ERR_FATAL, when that fails; in throw mode the first such
  // diagnostic is caught here, switches the mode off, and is followed by a second. A string has no
  // declaration.
  // Throws: what XMLDoc::SaveFile and SaveString throw.
  bool SaveDataToDisk(const std::u16string& path);
  bool SaveDataToString(std::u16string& out);

  // Both empty the collector and fill it from the file. Entries come as they were saved: nothing is
  // merged or counted, and the most serious level is what the file says.
  //
  // A failure adds "Failed reading a file", ERR_FATAL, behind what has been read and behind the
  // cause; in throw mode as above. A file of another kind is "Wrong data in error file", ERR_FATAL;
  // where the file itself has switched the throw mode off, this ends the reading with the answer
  // true. So look at the entries, not at the answer alone.
  // Throws: ReadDataFromString what XMLDoc::LoadFromString throws.
  bool ReadDataFromDisk(const std::u16string& path);
  bool ReadDataFromString(const std::u16string& text);

  bool ReadStartElement(const std::u16string& name, const XMLAttrs& attrs) override;
  bool ReadEndElement(const std::u16string& name) override;
  bool StartWriting() const override;
  virtual ~PermanentErrProc() = default;

 protected:
  // The level as a word, empty for none, and back.
  static std::u16string ConvErrStr(ErrData::ERRTYPE type);
  static ErrData::ERRTYPE ConvErrStr(const std::u16string& word);
  // An attribute; empty, or -1, when there is none.
  static std::u16string Search(const XMLAttrs& attrs, const std::u16string& key);
  static int SearchInt(const XMLAttrs& attrs, const std::u16string& key);

  void ClearBuf() { current = ErrDescr(); }

  bool SaveErrDescr(const ErrDescr& e) const;
  bool SaveErrCoord(const ErrCoord& coord) const;
  // Each reads the start of its element, which is open from then on. False, and nothing done, when
  // the element does not belong here.
  bool ReadErrors(const XMLAttrs& attrs);
  bool ReadError(const XMLAttrs& attrs);
  bool ReadCoord(const XMLAttrs& attrs);

 private:
  void BeginReading();
  void Fail(const char16_t* message);
  void FailAt(const char16_t* message, const ErrCoord& coord);
  bool IsIn(const char16_t* element) const;

  std::shared_ptr<XMLDoc> document;
  ErrDescr current;                 // the entry being read
  std::deque<std::u16string> open;  // elements
};
