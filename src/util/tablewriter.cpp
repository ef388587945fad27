// Writing text tables, and the buffer that writes them in one go.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "kvorlib/encoding.h"
#include "kvorlib/messages.h"
#include "kvorlib/tables.h"
#include "platform/stdiofile.h"

namespace {

constexpr int PathPage = 65001;
constexpr char16_t ByteOrderMark = 0xFEFF;

void Append(std::string& bytes, std::u16string_view text) {
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
}

}  // namespace

WrTable::WrTable() = default;
WrTable::WrTable(const WrTable& other) = default;
WrTable& WrTable::operator=(const WrTable& other) = default;
WrTable::~WrTable() = default;

// What copies of a table share. The stream goes with Close, this stays: the object is taken.
struct TxtWrTable::File {
  platform::Stream stream;
  bool whole = true;  // whether all of it has been taken by the system so far

  bool Put(std::u16string_view text) {
    if (stream == nullptr) return false;
    std::string bytes;
    Append(bytes, text);
    if (std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) != bytes.size()) whole = false;
    return whole;
  }

  bool Close() {
    if (stream != nullptr && std::fflush(stream.get()) != 0) whole = false;
    stream = nullptr;
    return whole;
  }
};

TxtWrTable::TxtWrTable() : TxtWrTable(u"\t") {}
TxtWrTable::TxtWrTable(const char16_t* parting)
    : separator(parting != nullptr ? parting : u""), lineEnd(u"\r\n") {}
TxtWrTable::TxtWrTable(const TxtWrTable& other) = default;
TxtWrTable& TxtWrTable::operator=(const TxtWrTable& other) = default;
TxtWrTable::~TxtWrTable() = default;

bool TxtWrTable::Create(const std::u16string& fileName, int columnCount) {
  if (file != nullptr) return false;
  auto stream = platform::OpenStream(U2A(fileName, PathPage), "wb");
  if (stream == nullptr) return false;
  file = std::make_shared<File>();
  file->stream = std::move(stream);
  columns = columnCount;
  file->Put({&ByteOrderMark, 1});
  return true;
}

bool TxtWrTable::Write(const std::vector<std::u16string>& row) {
  if (file == nullptr) return false;
  const auto cells = static_cast<std::int32_t>(row.size());
  if (columns == -1) columns = cells;
  std::u16string line;
  for (std::int32_t i = 0; i < columns; ++i) {
    if (i < cells) line += row[static_cast<std::size_t>(i)];
    if (i + 1 < columns) line += separator;
  }
  return file->Put(line + lineEnd) && cells <= columns;
}

bool TxtWrTable::Close() { return file != nullptr && file->Close(); }

TableBuf::TableBuf(WrTable* given) : writer(given != nullptr ? given : &ownWriter) {}

TableBuf::TableBuf(const TableBuf& other) : writer(nullptr) { *this = other; }

TableBuf& TableBuf::operator=(const TableBuf& other) {
  if (this == &other) return *this;
  columns = other.columns;
  ownWriter = other.ownWriter;
  writer = other.writer == &other.ownWriter ? &ownWriter : other.writer;
  rows = other.rows;
  return *this;
}

TableBuf::~TableBuf() = default;

void TableBuf::AddLine(const std::vector<std::u16string>& row) {
  columns = std::max(columns, static_cast<std::int32_t>(row.size()));
  rows.push_back(row);
}

void TableBuf::Clear() {
  rows.clear();
  columns = 0;
}

bool TableBuf::PutHeader() { return true; }

bool TableBuf::Write(const std::vector<std::u16string>& row) {
  if (writer->Write(row)) return true;
  UserMessage(std::u16string(u"Table write error"));
  return false;
}

bool TableBuf::SaveTable(const std::u16string& fileName) {
  if (rows.empty()) return true;
  if (!writer->Create(fileName, columns)) {
    UserMessage(std::u16string(u"Create table error"));
    return false;
  }
  bool written = PutHeader();
  for (std::size_t i = 0; written && i < rows.size(); ++i) {
    written = Write(rows[i]);
    if (!written) UserMessage(std::u16string(u"Table write error"));
  }
  // Rows that the system took and could not put on the disk are told of at the end.
  const bool closed = writer->Close();
  if (written && !closed) UserMessage(std::u16string(u"Table write error"));
  return written && closed;
}
