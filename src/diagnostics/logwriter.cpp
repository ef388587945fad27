// The sinks: the base that swallows, the file, the file that can make texts safe for HTML.
#include <bit>
#include <vector>

#include "kvorlib/encoding.h"
#include "kvorlib/loghtml.h"
#include "kvorlib/messages.h"
#include "platform/stdiofile.h"
#include "util/wideformat.h"

static_assert(std::endian::native == std::endian::little, "logs are written as they lie in memory");

bool LogWriter::Write(const std::u16string& /*text*/) { return true; }
bool LogWriter::vsWrite(const char16_t* /*format*/, va_list& /*args*/) { return true; }

std::u16string FormatLogText(const char16_t* format, va_list& args) {
  return util::FormatWide(format, args);
}

struct FileLogWriter::Handles {
  platform::Stream file;
  std::vector<platform::Stream> former;
};

FileLogWriter::FileLogWriter() : handles(std::make_unique<Handles>()) {}
FileLogWriter::~FileLogWriter() = default;

bool FileLogWriter::IsOpen() const { return handles->file != nullptr; }

bool FileLogWriter::Put(const std::u16string& text) {
  std::FILE* const file = handles->file.get();
  return file != nullptr &&
         std::fwrite(text.data(), sizeof(char16_t), text.size(), file) == text.size() &&
         std::fflush(file) == 0;
}

bool FileLogWriter::Write(const std::u16string& text) { return Put(text); }

bool FileLogWriter::vsWrite(const char16_t* format, va_list& args) {
  return IsOpen() && Put(util::FormatWide(format, args));
}

bool FileLogWriter::OpenLog(const std::u16string& name, const std::u16string& mode) {
  fileName = name;
  if (IsOpen()) handles->former.push_back(std::move(handles->file));
  handles->file = platform::OpenStream(w_u8(name.data(), name.data() + name.size()),
                                       w_u8(mode.data(), mode.data() + mode.size()));
  if (!IsOpen()) return false;
  Put(u"\uFEFF");
  return true;
}

std::u16string FileLogWriter::CloseLog() {
  if (!IsOpen()) return {};
  handles->file.reset();
  return fileName;
}

std::u16string& FileLogWriter::GetFileName() { return fileName; }

bool SafeHtmlWriter::Write(const std::u16string& text) {
  if (!IsOpen()) return true;
  const bool unsafe = safeMode && text.find_first_of(u"&<>") != std::u16string::npos;
  return FileLogWriter::Write(unsafe ? ToSafeHtmlText(text) : text);
}
