// The sinks: the base that swallows, the file, the file that can make texts safe for HTML.
#include <bit>
#include <vector>

#include "kvorlib/encoding.h"
#include "kvorlib/loghtml.h"
#include "kvorlib/messages.h"
#include "platform/fdio.h"
#include "platform/stdiofile.h"
#include "util/wideformat.h"

static_assert(std::endian::native == std::endian::little, "logs are written as they lie in memory");

bool LogWriter::Write(const std::u16string& /*text*/) { return true; }
bool LogWriter::vsWrite(const char16_t* /*format*/, va_list& /*args*/) { return true; }

std::u16string FormatLogText(const char16_t* format, va_list& args) {
  return util::FormatWide(format, args);
}

struct FileLogWriter::Handles {
  // Of what has reached the file; -1 if that cannot be told.
  std::int64_t Size() const { return platform::SizeOf(platform::NumberOf(file.get())); }

  platform::Stream file;
  std::int64_t size = 0;  // as far as it was written by whole texts
  std::vector<platform::Stream> former;
};

FileLogWriter::FileLogWriter() : handles(std::make_unique<Handles>()) {}
FileLogWriter::~FileLogWriter() = default;

bool FileLogWriter::IsOpen() const { return handles->file != nullptr; }

// A disk that is full may have taken half of a character, and what is written later would be behind
// that half.
bool FileLogWriter::Put(const std::u16string& text) {
  std::FILE* const file = handles->file.get();
  if (file == nullptr) return false;
  const std::size_t n = text.size();
  const bool written =
      std::fwrite(text.data(), sizeof(char16_t), n, file) == n && std::fflush(file) == 0;
  if (written) {
    handles->size += static_cast<std::int64_t>(n * sizeof(char16_t));
    return true;
  }
  const std::int64_t size = handles->Size();
  const std::int64_t half = size > handles->size ? (size - handles->size) % 2 : 0;
  if (half != 0 && platform::ChangeSize(platform::NumberOf(file), size - half))
    static_cast<void>(std::fseek(file, 0, SEEK_END));
  handles->size = size - half;
  return false;
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
  handles->size = handles->Size();
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
