// Whole files: by descriptor under a lock, and by name with their encoding found out.
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

#include "kb/pathtext.h"
#include "kvorlib/encoding.h"
#include "kvorlib/filehelpers.h"
#include "platform/fdio.h"
#include "util/currentcodepage.h"

namespace {

constexpr std::size_t Chunk = 10'000'000;
constexpr int Longest = std::numeric_limits<int>::max();

constexpr int Unstated = -1;
constexpr int Utf16 = 1200;
constexpr int Utf8 = 65001;
constexpr std::string_view Utf16Mark = "\xFF\xFE";
constexpr std::string_view Utf8Mark = "\xEF\xBB\xBF";

bool ReadChunks(int fd, char* out, std::size_t n) {
  for (std::size_t done = 0; done < n; done += Chunk)
    if (!platform::ReadAll(fd, out + done, std::min(Chunk, n - done))) return false;
  return true;
}

// How much FillBuf is to read; below zero if that cannot be said.
int LengthToRead(int fd, int maxLength) {
  const std::int64_t size = platform::SizeOf(fd);
  if (size < 0 || size > Longest || maxLength < -1) return -1;
  const int whole = static_cast<int>(size);
  return maxLength == -1 ? whole : std::min(whole, maxLength);
}

// With two zero bytes behind them. Null if there are not so many bytes, or no memory for them.
std::unique_ptr<char[]> ReadStart(int fd, int length) {
  const auto n = static_cast<std::size_t>(length);
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[n + 2]);
  if (buffer == nullptr || !ReadChunks(fd, buffer.get(), n)) return nullptr;
  buffer[n] = buffer[n + 1] = '\0';
  return buffer;
}

bool WriteChunks(int fd, const char* data, std::size_t n) {
  for (std::size_t done = 0; done < n; done += Chunk)
    if (!platform::WriteAll(fd, data + done, std::min(Chunk, n - done))) return false;
  return true;
}

// UTF-8 is not left to A2U and U2A: they set the current code page, which other threads may be
// using, and cut long texts within characters, A2U under 0 alone.
bool IsUtf8(int codePage) { return (codePage == 0 ? util::EffectiveCodePage() : codePage) == Utf8; }

std::string Encoded(const std::u16string& text, int codePage) {
  if (!IsUtf8(codePage)) return U2A(text, codePage);
  const char16_t* const toZero = text.c_str();
  return w_u8(toZero, toZero + std::char_traits<char16_t>::length(toZero));
}

struct FileText {
  std::unique_ptr<const char[]> buffer;
  std::string_view bytes;  // without a mark
  int codePage = Unstated;

  std::u16string Units() const {
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
      const auto low = static_cast<unsigned char>(bytes[2 * i]);
      const auto high = static_cast<unsigned char>(bytes[2 * i + 1]);
      units[i] = static_cast<char16_t>(low | (high << 8));
    }
    return units;
  }
  std::u16string Decoded() const {
    if (codePage == Utf16) return Units();
    const std::string_view toZero = bytes.substr(0, bytes.find('\0'));
    if (toZero.empty()) return {};
    return IsUtf8(codePage) ? u8_w(toZero.data(), toZero.data() + toZero.size())
                            : A2U(std::string(toZero), codePage);
  }
};

std::optional<FileText> ReadText(const std::string& path, int codePage) {
  const platform::FileNumber file(platform::OpenToRead(path));
  if (file.Get() < 0) return std::nullopt;
  FileText text;
  int length = 0;
  text.buffer.reset(FillBuf(file.Get(), length, -1));
  if (!text.buffer) return std::nullopt;
  text.bytes = std::string_view(text.buffer.get(), static_cast<std::size_t>(length));

  text.codePage = codePage == Unstated ? 0 : codePage;
  if (CheckUnicode(text.buffer.get(), length)) {
    text.codePage = Utf16;
  } else if (text.bytes.starts_with(Utf8Mark)) {
    text.codePage = Utf8;
  }
  if (text.bytes.starts_with(Utf16Mark)) {
    text.bytes.remove_prefix(Utf16Mark.size());
  } else if (text.bytes.starts_with(Utf8Mark)) {
    text.bytes.remove_prefix(Utf8Mark.size());
  }
  return text;
}

std::string Utf16Bytes(const std::u16string& text) {
  std::string bytes;
  bytes.reserve(2 * text.size());
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFFU);
    bytes += static_cast<char>(unit >> 8U);
  }
  return bytes;
}

bool Overwrite(const std::string& path, const std::string& bytes, std::string_view mark) {
  if (bytes.size() > static_cast<std::size_t>(Longest)) return false;
  // Not emptied as it is opened: until the lock is had, others may still be reading.
  const platform::FileNumber file(platform::OpenToOverwrite(path));
  return file.Get() >= 0 && SaveBuf(file.Get(), bytes.data(), static_cast<int>(bytes.size()),
                                    mark.empty() ? nullptr : mark.data(), -1);
}

}  // namespace

const char* FillBuf(int fd, int& length, int maxLength) {
  length = 0;
  if (!platform::Rewind(fd)) return nullptr;
  const int locked = LengthToRead(fd, maxLength);
  if (locked < 0 || !platform::LockStart(fd, locked)) return nullptr;
  // Who held the lock until now may have changed the size.
  if (locked > 0) length = LengthToRead(fd, maxLength);
  std::unique_ptr<char[]> buffer = length < 0 ? nullptr : ReadStart(fd, length);
  const bool rewound = platform::Rewind(fd);
  platform::UnlockStart(fd, locked);
  return rewound ? buffer.release() : nullptr;
}

bool SaveBuf(int fd, const char* data, int length, const char* prefix, int prefixLength) {
  const std::size_t wholePrefix = prefix != nullptr ? std::strlen(prefix) : 0;
  const auto total = static_cast<std::int64_t>(wholePrefix) + length;
  if (length < 0 || total > Longest || prefixLength < -1) return false;
  const std::size_t written = prefix == nullptr || prefixLength == -1
                                  ? wholePrefix
                                  : static_cast<std::size_t>(prefixLength);

  if (!platform::Rewind(fd) || !platform::LockStart(fd, total)) return false;
  bool saved = platform::ChangeSize(fd, total);
  if (saved) {
    // What became of the prefix shows in the data behind it.
    platform::WriteAll(fd, prefix, written);
    saved = WriteChunks(fd, data, static_cast<std::size_t>(length));
    saved &= platform::Commit(fd);
  }
  const bool rewound = platform::Rewind(fd);
  return platform::UnlockStart(fd, total) && rewound && saved;
}

bool GetText(const std::u16string& path, std::u16string& text, int codePage) {
  const auto file = ReadText(kb::NarrowPath(path), codePage);
  if (!file) return false;
  text = file->Decoded();
  return true;
}

bool GetText(const std::string& path, std::string& text, int& codePage) {
  const auto file = ReadText(kb::NarrowPath(A2U(path, 0)), codePage);
  if (!file) return false;
  const int detected = file->codePage;
  const int wanted =
      codePage != Unstated && codePage != Utf16 ? codePage : (detected == Utf16 ? 0 : detected);
  text = wanted == detected ? std::string(file->bytes) : Encoded(file->Decoded(), wanted);
  codePage = wanted;
  return true;
}

bool SaveText(const std::u16string& path, const std::u16string& text, int codePage) {
  const std::string name = kb::NarrowPath(path);
  switch (codePage) {
    case Utf16:
    case Unstated:
      return Overwrite(name, Utf16Bytes(text), Utf16Mark);
    case Utf8:
      return Overwrite(name, Encoded(text, Utf8), Utf8Mark);
    default:
      return Overwrite(name, Encoded(text, codePage), {});
  }
}
