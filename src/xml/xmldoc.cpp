// The document: its life, its callbacks, loading and saving.
#include "kvorlib/xmldoc.h"

#include <cerrno>
#include <utility>

#include "kvorlib/encoding.h"
#include "platform/fdio.h"
#include "platform/file.h"
#include "xml/documenttext.h"
#include "xml/saxcontenthandler.h"
#include "xml/saxerrorhandler.h"
#include "xml/saxresult.h"
#include "xml/xmlwriter.h"

namespace {

[[noreturn]] void RaiseWrongState() { throw ErrData(ErrData::ERR_FATAL, u"Wrong XMLDoc state"); }

// 0, or an `errno` value.
int ReadWholeFile(const std::u16string& path, std::string& bytes) {
  int error = 0;
  const auto file = platform::OpenFile(w_u8(path.data(), path.data() + path.size()),
                                       platform::OpenMode::ReadOnly, platform::Sharing::All, error);
  if (file == nullptr) return error;
  const std::int64_t size = file->Size();
  if (size < 0) return file->LastError();
  bytes.resize(static_cast<std::size_t>(size));
  const std::ptrdiff_t got = file->Read(0, bytes.data(), bytes.size());
  if (got < 0) return file->LastError();
  bytes.resize(static_cast<std::size_t>(got));
  return 0;
}

}  // namespace

// A load from its beginning to its end, whichever way it ends.
class XMLDoc::Loading {
 public:
  Loading(XMLDoc& doc, const char16_t* name) : document(doc) {
    if (!doc.IsValid() || doc.loading) RaiseWrongState();
    doc.errorHandler->Reset();
    doc.SetFileName(name);
    doc.loading = true;
  }
  ~Loading() { document.loading = false; }
  Loading(const Loading&) = delete;
  Loading& operator=(const Loading&) = delete;

 private:
  XMLDoc& document;
};

// The same of a save. One may be made from within a load, but not from within a save.
class XMLDoc::Saving {
 public:
  explicit Saving(XMLDoc& doc) : document(doc) {
    if (!doc.IsValid() || doc.saving) RaiseWrongState();
    doc.saving = true;
  }
  ~Saving() { document.saving = false; }
  Saving(const Saving&) = delete;
  Saving& operator=(const Saving&) = delete;

 private:
  XMLDoc& document;
};

XMLDoc::XMLDoc(int featureSet) : features(featureSet) { Init(); }

XMLDoc::XMLDoc(const XMLDoc& other)
    : codePage(other.codePage), features(other.features), comment(other.comment) {
  Init();
}

XMLDoc& XMLDoc::operator=(const XMLDoc& other) {
  codePage = other.codePage;
  features = other.features;
  if (this != &other) comment = other.comment;
  return *this;
}

XMLDoc::~XMLDoc() { Release(); }

void XMLDoc::Init() {
  errorHandler = std::make_unique<SAXErrorHandlerImpl>(nullptr);
  writer = std::make_unique<XMLWriter>(*this);
  writer->ApplyFeatures(features);
  contentHandler = std::make_unique<SAXContentHandlerImpl>(*this);
  if (contentHandler->Init()) return;
  Release();
  throw ErrData(ErrData::ERR_FATAL, u"XMLDoc initialization error");
}

void XMLDoc::Free() {
  if (loading || saving) RaiseWrongState();
  Release();
}

void XMLDoc::Release() {
  contentHandler.reset();
  writer.reset();
  errorHandler.reset();
}

bool XMLDoc::IsValid() const { return errorHandler != nullptr || writer != nullptr; }

void XMLDoc::SetFeatures(int set) {
  features = set;
  if (writer != nullptr) writer->ApplyFeatures(features);
}

void XMLDoc::SetCallback(DataConstr* object, SETDCMODE mode) {
  if (mode == DC_READ) SetReadCallback(object, true);
  if (mode == DC_WRITE) SetWriteCallback(object, nullptr);
}

void XMLDoc::SetReadCallback(DataConstr* object, bool clearWrite) {
  if (clearWrite) writeCallback = nullptr;
  readCallbacks.clear();
  PushReadCallback(object);
}

void XMLDoc::SetWriteCallback(DataConstr* object, DataConstr* reader) {
  writeCallback = object;
  SetReadCallback(reader, false);
  if (object != nullptr) object->SetXMLDoc(this);
}

void XMLDoc::PushReadCallback(DataConstr* object) {
  if (object == nullptr) return;
  readCallbacks.push_back(object);
  object->SetXMLDoc(this);
}

void XMLDoc::PopReadCallback() {
  if (!readCallbacks.empty()) readCallbacks.pop_back();
}

DataConstr* XMLDoc::GetCallback(SETDCMODE mode) const {
  if (mode == DC_WRITE) return writeCallback;
  return mode == DC_READ && !readCallbacks.empty() ? readCallbacks.back() : nullptr;
}

void XMLDoc::SetFileName(const char16_t* name) {
  if (errorHandler != nullptr) errorHandler->SetFileName(name);
}

bool XMLDoc::LoadFile(const std::u16string& path) {
  const Loading load(*this, path.c_str());
  std::string bytes;
  const int error = ReadWholeFile(path, bytes);
  if (error == 0) return ParseBytes(std::move(bytes));
  if (error == ENOENT || error == ENOTDIR)
    errorHandler->ReportResult(xml::kFileNotFound);
  else
    errorHandler->Report(-1, -1, {ErrData::ERR_FATAL, u"Could not read file"});
  return false;
}

bool XMLDoc::LoadFromString(const std::u16string& text, const char16_t* name) {
  const Loading load(*this, name);
  return Parse(xml::DecodeWide(text));
}

bool XMLDoc::LoadArray(const char* data, int size, const char16_t* name) {
  const Loading load(*this, name);
  return ParseBytes(size > 0 ? std::string(data, static_cast<std::size_t>(size)) : std::string());
}

bool XMLDoc::ParseBytes(std::string&& bytes) {
  const xml::DocumentText text = xml::DecodeDocument(std::move(bytes));
  if (text.fault.empty()) return Parse(text.utf8);
  const auto [line, column] = xml::PlaceOf(text.utf8, text.faultAt);
  errorHandler->Report(line, column, {ErrData::ERR_FATAL, text.fault});
  return false;
}

bool XMLDoc::Parse(std::string_view utf8) {
  const platform::SaxResult result = contentHandler->Parse(utf8, *errorHandler);
  // An object that has what it needs stops the parse, and that is no failure.
  const bool stopped =
      result == xml::kStop && errorHandler->GetLastError().type <= ErrData::ERR_WARNING;
  if (result < 0 && !stopped) {
    errorHandler->ReportResult(result);
    return false;
  }
  const std::string& encoding = contentHandler->DeclaredEncoding();
  if (!encoding.empty()) codePage = chset2CP({encoding.begin(), encoding.end()});
  return true;
}

bool XMLDoc::SaveFile(const std::u16string& path) {
  if (!IsValid() || saving) RaiseWrongState();  // before the file is emptied
  const platform::FileNumber file(
      platform::OpenToReplace(w_u8(path.data(), path.data() + path.size())));
  if (file.Get() >= 0) return SaveFile(file.Get());
  ProcError(ErrData::ERR_FATAL, u"Could not open file");
  return false;
}

bool XMLDoc::SaveFile(int fd) {
  if (!IsValid()) return false;
  const Saving save(*this);
  return writer->Save(fd, codePage);
}

void XMLDoc::SaveString(std::u16string& out) {
  const Saving save(*this);
  writer->Save(out);
}

const ErrDescr& XMLDoc::GetLastError() const {
  static const ErrDescr none;
  return errorHandler != nullptr ? errorHandler->GetLastError() : none;
}

void XMLDoc::ProcError(ErrData::ERRTYPE type, const std::u16string& message) {
  if (errorHandler != nullptr) errorHandler->Record({{type, message}, {}});
}
