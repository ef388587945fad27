// A store file as the commands use it: opened by path, with failures as exceptions that bear the
// library's words.
#pragma once

#include <optional>
#include <string>

#include "kvorlib/indexfile.h"
#include "outcome.h"
#include "textform.h"

namespace kvor {

class KeyedFile {
 public:
  enum class Access { Read, Write };

  // Throws Failure. With a `layout` the file must have that one.
  KeyedFile(const std::string& path, Access access,
            IndexFile::KDTYPE layout = IndexFile::KD_STORED);
  // The file must not exist.
  static KeyedFile Create(const std::string& path, IndexFile::KDTYPE layout);

  KeyedFile(const KeyedFile&) = delete;
  KeyedFile& operator=(const KeyedFile&) = delete;
  ~KeyedFile() { index.Close(); }

  IndexFile& Index() { return index; }
  const std::string& Path() const { return path; }
  const KEYDESCR& Layout() { return index.GetKeyDescr(); }
  TextForm Form(bool hex) { return TextForm(Layout(), hex); }

  // The store's words for a failure of this file, with what they do not tell.
  static std::string Explained(std::string words, const std::string& path);
  // The library's words for the latest failure, explained.
  std::string Words();
  // Throws Failure with them.
  [[noreturn]] void Fail() { throw Failure(path, Words()); }
  // The same, if the latest operation failed; a negative answer is no failure.
  void FailOnError() {
    if (index.CheckError()) Fail();
  }

  enum class Answer { Yes, No, Refused };
  // Stores a record under its own key. No: the key is there, and `replace` was not asked for.
  // Refused: the record or its key is not fit, with the words in `reason`. Throws Failure when the
  // file is at fault.
  Answer Put(const std::string& record, bool replace, std::string& reason);
  // No: the key is absent. Refused: it cannot be a key of this file.
  Answer Get(const std::string& key, DataTransfer& record, std::string& reason);
  Answer Erase(const std::string& key, std::string& reason);
  // What the latest operation, which was carried out or not, amounts to; as Put.
  Answer AnswerOf(bool done, std::string& reason);

 private:
  explicit KeyedFile(std::string filePath) : path(std::move(filePath)) {}

  std::string path;
  IndexFile index;
};

// The name by which the library opens a path.
std::string UriOf(const std::string& path);

// The number of the standard layout, if the descriptor is one.
std::optional<IndexFile::KDTYPE> StandardLayout(const KEYDESCR& kd);

std::string BytesOf(const DataTransfer& data);

// A key in the form in which the user gives it. Throws Failure naming `path`.
std::string KeyFrom(const TextForm& form, const std::string& text, const std::string& path);

}  // namespace kvor
