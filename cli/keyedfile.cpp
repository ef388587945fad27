// A store file as the commands use it.
#include "keyedfile.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "json.h"
#include "kvorlib/persistentmap.h"

namespace kvor {

namespace fs = std::filesystem;

namespace {

// Words that are about the record or key in hand. All others are about the file.
bool IsAboutRecord(std::string_view words) {
  static constexpr std::array<std::string_view, 11> Texts = {
      "Key too long",
      "Wrong binary key size",
      "Stop symbol inside key",
      "Record doesn't contain key",
      "Record doesn't contain the specified key",
      "Record don't contain key",
      "Record contains a wrong key",
      "Too long record",
      "Empty key",
      "WRONG KEY",
      "WRONG RECORD LENGTH",
  };
  return std::ranges::find(Texts, words) != Texts.end();
}

}  // namespace

std::string UriOf(const std::string& path) { return "std://" + path; }

KeyedFile::KeyedFile(const std::string& filePath, Access access, IndexFile::KDTYPE layout)
    : path(filePath) {
  try {
    if (!index.Open(UriOf(path).c_str(), access == Access::Read, layout)) Fail();
  } catch (const char* words) {  // the one text that Open throws
    throw Failure(path, words);
  }
}

KeyedFile KeyedFile::Create(const std::string& path, IndexFile::KDTYPE layout) {
  std::error_code ignored;
  if (fs::exists(path, ignored)) throw Failure(path, "exists already");
  {
    KeyedFile made(path);
    if (!made.index.Create(UriOf(path).c_str(), layout)) made.Fail();
  }
  return KeyedFile(path, Access::Write, layout);
}

std::string KeyedFile::Words() {
  // A map that could not be opened counts as none for the keyed file, but keeps the words.
  PersistentMap* map = index.GetIndHandle();
  return Explained(map != nullptr ? map->get_err_mess() : index.ErrorMessage(), path);
}

std::string KeyedFile::Explained(std::string words, const std::string& path) {
  constexpr std::uintmax_t page = 4096;
  std::error_code ignored;
  if (words == "SYSTEM ERROR" && fs::is_directory(path, ignored)) words += " (a folder)";
  if (words == "SYSTEM ERROR" && fs::is_regular_file(path, ignored) &&
      fs::file_size(path, ignored) < page)
    words += " (no store file: it is shorter than a page)";
  if (words == "TIMEOUT") words += " (another process keeps the store busy)";
  // So the store answers when nothing is wrong but the mark.
  if (words == "SUCCESS") words += " (the file is marked as corrupted and takes no updates)";
  return words;
}

KeyedFile::Answer KeyedFile::AnswerOf(bool done, std::string& reason) {
  if (done) return Answer::Yes;
  const std::string words = Words();
  if (index.GetState() == 1 && words.empty()) return Answer::No;
  if (!IsAboutRecord(words)) Fail();
  reason = words;
  return Answer::Refused;
}

KeyedFile::Answer KeyedFile::Put(const std::string& record, bool replace, std::string& reason) {
  const DataTransfer data(record.data(), static_cast<int>(record.size()));
  DataTransfer key;
  if (!index.ExtractKey(data, key)) return AnswerOf(false, reason);
  return AnswerOf(index.Put(key, data, replace), reason);
}

KeyedFile::Answer KeyedFile::Get(const std::string& key, DataTransfer& record,
                                 std::string& reason) {
  const DataTransfer wanted(key.data(), static_cast<int>(key.size()));
  return AnswerOf(index.Get(wanted, record), reason);
}

KeyedFile::Answer KeyedFile::Erase(const std::string& key, std::string& reason) {
  const DataTransfer wanted(key.data(), static_cast<int>(key.size()));
  return AnswerOf(index.Erase(wanted), reason);
}

std::optional<IndexFile::KDTYPE> StandardLayout(const KEYDESCR& kd) {
  const auto* row = std::ranges::find(IndexFile::kdArray, kd);
  if (row == std::end(IndexFile::kdArray)) return std::nullopt;
  return static_cast<IndexFile::KDTYPE>(row - IndexFile::kdArray);
}

std::string BytesOf(const DataTransfer& data) {
  std::string bytes;
  data.GetData(bytes);
  return bytes;
}

std::string KeyFrom(const TextForm& form, const std::string& text, const std::string& path) {
  std::string key;
  std::string reason;
  if (!form.ToKey(text, key, reason)) throw Failure(path, text + ": " + reason);
  return key;
}

}  // namespace kvor
