// A dictionary as the commands use it: a store file of articles, with failures as exceptions.
#pragma once

#include <string>

#include "dictcolumns.h"
#include "keyedfile.h"
#include "kvorlib/recordpool.h"

namespace kvor {

// REQUIRES: the library is started (environment.h), for an article's terms.
class DictFile {
 public:
  // Throws Failure.
  DictFile(const std::string& path, KeyedFile::Access access);
  static void Create(const std::string& path);

  AlfFile& Articles() { return articles; }
  const std::string& Path() const { return file.Path(); }
  void FailOnError() { file.FailOnError(); }

  // Stores a new article. No: the name is there. Refused: with the words in `reason`.
  KeyedFile::Answer Add(Article& article, std::string& reason);
  // What Add stores, with the zero behind it.
  static std::string RecordOf(const Article& article);
  // The article as it is stored; false if it is absent.
  bool Read(const std::string& name, Article& article);
  // Whether the record holds what is not in its article, as a term that the vocabulary does not
  // know. The library writes articles alone, so a change would take it away.
  bool LosesByChange(const std::string& name);
  // Refuses a new name that is there: the library would lose the article. No: for that, or if the
  // article is absent, with the words in `reason`.
  KeyedFile::Answer Rename(const std::string& oldName, const std::string& newName,
                           std::string& reason);

  // A record of a walk.
  struct Record {
    std::string key;
    Article article;
    bool named = false;  // the record holds an article
    bool exact = false;  // and nothing else
  };
  // Walks through the records as they are stored, from the first one not below `from`.
  void Start(const std::string& from);
  bool Next(Record& record);

 private:
  struct Opened : AlfFile {
    explicit Opened(const IndexFile& file) { IndexFile::operator=(file); }
    using AlfFile::FillBuf;
    using AlfFile::FillStruct;
  };
  // Whether the article makes the same record.
  static bool IsAll(const Article& article, const std::string& stored);

  KeyedFile file;
  Opened articles;
  RecordPool pool;
};

}  // namespace kvor
