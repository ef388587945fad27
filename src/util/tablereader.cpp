// Reading text tables: bytes to lines, by the encoding that was found out, and lines to cells.
#include <cstdio>
#include <string_view>

#include "kvorlib/encoding.h"
#include "kvorlib/messages.h"
#include "kvorlib/tables.h"
#include "platform/codepage.h"
#include "platform/stdiofile.h"
#include "util/currentcodepage.h"

namespace {

constexpr int Utf8 = 65001;
constexpr int Utf16 = 1200;
constexpr int Unmarked = 0;
constexpr std::size_t ProbeSize = 512;
constexpr std::size_t LongestPiece = 4095;
constexpr char16_t Mark = 0xFEFF;
constexpr std::string_view Utf8Mark = "\xEF\xBB\xBF";

}  // namespace

RdTable::RdTable() = default;
RdTable::RdTable(const RdTable& other) = default;
RdTable& RdTable::operator=(const RdTable& other) = default;
RdTable::~RdTable() = default;

// What copies of a table share. The stream goes with Close, this stays: the object is taken.
struct TxtRdTable::File {
  platform::Stream stream;
  int codePage = Unmarked;  // of the bytes
  std::u16string line;      // which is handed out in pieces
  std::size_t handedOut = 0;
  bool atEnd = false;

  // Up to `n` bytes; fewer at the end of the file and where it cannot be read.
  std::string Bytes(std::size_t n) {
    std::string bytes(n, '\0');
    bytes.resize(std::fread(bytes.data(), 1, n, stream.get()));
    return bytes;
  }

  // Leaves out the mark, which stands at the beginning or not at all.
  void PassMark() {
    const std::size_t size = codePage == Utf16 ? sizeof Mark : Utf8Mark.size();
    const std::string mark = codePage == Utf16 ? "\xFF\xFE" : std::string(Utf8Mark);
    if (Bytes(size) != mark) std::rewind(stream.get());
  }

  std::u16string NextPiece() {
    if (handedOut == line.size()) {
      line = NextLine();
      handedOut = 0;
    }
    std::u16string piece = line.substr(handedOut, LongestPiece);
    handedOut += piece.size();
    if (!piece.ends_with(u'\n') && piece.size() < LongestPiece) atEnd = true;
    return piece;
  }

 private:
  std::u16string NextLine() {
    std::u16string text = codePage == Utf16 ? Units() : Narrow();
    if (text.ends_with(u"\r\n")) text.erase(text.size() - 2, 1);
    return text;
  }

  std::u16string Units() {
    std::u16string text;
    while (!text.ends_with(u'\n')) {
      const int low = std::getc(stream.get());
      const int high = std::getc(stream.get());
      if (high == EOF) break;  // an odd byte at the end is no character
      text += static_cast<char16_t>(low | high << 8);
    }
    return text;
  }

  // The end of a line is taken off first, so that half a character before it cannot swallow it.
  std::u16string Narrow() {
    std::string bytes;
    int c = std::getc(stream.get());
    for (; c != '\n' && c != EOF; c = std::getc(stream.get())) bytes += static_cast<char>(c);
    std::u16string text;
    platform::DecodeCodePage(codePage, bytes, text);
    if (c == '\n') text += u'\n';
    return text;
  }
};

TxtRdTable::TxtRdTable() : TxtRdTable(u"\t") {}
TxtRdTable::TxtRdTable(const char16_t* parting)
    : separator(parting != nullptr ? parting : u""), lineEnd(u"\n") {}
TxtRdTable::TxtRdTable(const TxtRdTable& other) = default;
TxtRdTable& TxtRdTable::operator=(const TxtRdTable& other) = default;
TxtRdTable::~TxtRdTable() = default;

// What the first bytes of the file tell; it stands at its beginning afterwards.
int TxtRdTable::GetCP() {
  const std::string bytes = file->Bytes(ProbeSize);
  std::rewind(file->stream.get());
  if (CheckUnicode(bytes.data(), static_cast<int>(bytes.size()))) return Utf16;
  return bytes.starts_with(Utf8Mark) ? Utf8 : Unmarked;
}

bool TxtRdTable::Open(const std::u16string& fileName, int columnCount) {
  if (file != nullptr) return false;
  auto stream = platform::OpenStream(U2A(fileName, Utf8), "rb");
  // A folder may be opened here and there, but never read, and a pipe not from its beginning.
  if (stream == nullptr || (std::getc(stream.get()) == EOF && std::ferror(stream.get()) != 0) ||
      std::fseek(stream.get(), 0, SEEK_SET) != 0)
    return false;
  file = std::make_shared<File>();
  file->stream = std::move(stream);
  file->codePage = GetCP();
  if (file->codePage != Unmarked) {
    file->PassMark();
  } else {
    file->codePage = util::EffectiveCodePage();
    std::u16string nothing;
    if (!platform::DecodeCodePage(file->codePage, {}, nothing)) {
      file = nullptr;
      return false;
    }
  }
  columns = columnCount;
  return true;
}

bool TxtRdTable::Read(std::vector<std::u16string>& row) {
  row.clear();
  if (file == nullptr || file->stream == nullptr || file->atEnd) return false;
  const std::u16string piece = file->NextPiece();
  const std::u16string_view text(piece.c_str());  // up to the first zero
  if (file->atEnd && text.empty()) return false;
  const std::u16string_view parting(separator);
  const auto wrong = [] {
    UserMessage(std::u16string(u"Table read error"));
    return false;
  };
  std::int32_t count = 0;
  std::size_t cell = 0;
  const auto next = [&] { return parting.empty() ? text.npos : text.find(parting, cell); };
  for (std::size_t at = next(); at != text.npos; at = next(), ++count) {
    if (columns != -1 && count > columns) return wrong();
    row.emplace_back(text.substr(cell, at - cell));
    cell = at + parting.size();
  }
  const std::size_t end = text.find(lineEnd, cell);
  if (end != 0) {  // an empty line has no cell, but one that ends with a separator has an empty one
    row.emplace_back(text.substr(cell, end - cell));
    ++count;
  }
  return columns == -1 || columns == count || wrong();
}

bool TxtRdTable::Close() {
  if (file == nullptr) return false;
  file->stream = nullptr;
  return true;
}
