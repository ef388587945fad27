// An index line is "headword TAB offset TAB length"; both numbers are written in base 64, the most
// significant digit first. The compressed text is one gzip member whose extra field serves random
// access, so that any gzip reader unpacks it.
#include "dictd.h"

#include <zlib.h>

#include <cstdint>
#include <fstream>
#include <memory>

namespace dictd {
namespace {

std::size_t Number64(std::string_view digits, const std::string& where) {
  static constexpr std::string_view alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  if (digits.empty() || digits.size() > 8) throw Error(where + ": not a number in base 64");
  std::size_t number = 0;
  for (char digit : digits) {
    const std::size_t value = alphabet.find(digit);
    if (value == alphabet.npos) throw Error(where + ": not a number in base 64");
    number = number * 64 + value;
  }
  return number;
}

std::string Unpack(const std::string& path) {
  struct Closer {
    void operator()(gzFile file) const { gzclose(file); }
  };
  const std::unique_ptr<gzFile_s, Closer> file(gzopen(path.c_str(), "rb"));
  if (!file) throw Error(path + ": cannot be opened");
  std::string text;
  std::string chunk(1 << 16, '\0');
  int got = 0;
  while ((got = gzread(file.get(), chunk.data(), static_cast<unsigned>(chunk.size()))) > 0) {
    text.append(chunk, 0, static_cast<std::size_t>(got));
  }
  int code = Z_OK;
  const char* words = gzerror(file.get(), &code);
  if (got < 0 || code != Z_OK) throw Error(path + ": " + words);
  return text;
}

// The length of the UTF-8 sequence at `at`, 0 when there is none.
std::size_t SequenceLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t lead = byte(at);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || at + length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

void RequireUtf8(std::string_view text, const std::string& path) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = SequenceLength(text, at);
    if (length == 0) throw Error(path + ": not UTF-8 at byte " + std::to_string(at));
    at += length;
  }
}

}  // namespace

bool Entry::IsAboutDictionary() const {
  return headword.starts_with("00-database") || headword.starts_with("00database");
}

std::vector<Entry> ReadIndex(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Error(path + ": cannot be opened");
  std::vector<Entry> entries;
  std::string line;
  while (std::getline(in, line)) {
    const std::string where = path + ": line " + std::to_string(entries.size() + 1);
    const std::size_t first = line.find('\t');
    const std::size_t second = first == line.npos ? line.npos : line.find('\t', first + 1);
    if (second == line.npos) throw Error(where + ": not an index line");
    const std::string_view fields = line;
    entries.push_back({line.substr(0, first),
                       Number64(fields.substr(first + 1, second - first - 1), where),
                       Number64(fields.substr(second + 1), where)});
  }
  if (in.bad()) throw Error(path + ": cannot be read");
  return entries;
}

Dictionary::Dictionary(const std::string& indexPath, const std::string& textPath)
    : entries(ReadIndex(indexPath)), text(Unpack(textPath)) {
  RequireUtf8(text, textPath);
  for (const Entry& entry : entries) {
    RequireUtf8(entry.headword, indexPath);
    if (entry.offset > text.size() || entry.length > text.size() - entry.offset) {
      throw Error(indexPath + ": the article of \"" + entry.headword + "\" lies outside the text");
    }
  }
}

std::string_view Dictionary::Article(const Entry& entry) const {
  return std::string_view(text).substr(entry.offset, entry.length);
}

}  // namespace dictd
