// A dictionary as the commands use it.
#include "dictfile.h"

namespace kvor {
namespace {

KeyedFile Open(const std::string& path, KeyedFile::Access access) {
  try {
    return {path, access, IndexFile::KD_TEXT0};
  } catch (const Failure& failure) {
    const std::string words = failure.what();
    if (words == "NONEXISTENT FILE") {
      throw Failure(path, words + " (`kvor dict create` makes one)");
    }
    if (words == "Keydescr error") {
      throw Failure(path, words + " (no dictionary: the keys of its records are not names)");
    }
    throw;
  }
}

}  // namespace

DictFile::DictFile(const std::string& path, KeyedFile::Access access)
    : file(Open(path, access)), articles(file.Index()) {}

void DictFile::Create(const std::string& path) {
  const KeyedFile made = KeyedFile::Create(path, IndexFile::KD_TEXT0);
}

KeyedFile::Answer DictFile::Add(Article& article, std::string& reason) {
  const bool created = articles.CreateArticle(&article);
  // A good state belongs to the search that has found the name.
  if (!created && articles.GetState() == 0) return KeyedFile::Answer::No;
  return file.AnswerOf(created, reason);
}

std::string DictFile::RecordOf(const Article& article) {
  std::string record;
  Opened::FillBuf(article, record);
  return record + '\0';
}

bool DictFile::Read(const std::string& name, Article& article) {
  if (articles._GetAlfArticle(name.c_str(), &article)) return true;
  FailOnError();
  return false;
}

bool DictFile::IsAll(const Article& article, const std::string& stored) {
  return stored == RecordOf(article);
}

bool DictFile::LosesByChange(const std::string& name) {
  DataTransfer record;
  if (!articles.Get(name, record)) return false;
  std::string stored;
  record.GetData(stored);
  Article article;
  return Opened::FillStruct(article, stored) && !IsAll(article, stored);
}

KeyedFile::Answer DictFile::Rename(const std::string& oldName, const std::string& newName,
                                   std::string& reason) {
  reason = newName + ": the name exists";
  if (articles.Find(newName)) return KeyedFile::Answer::No;
  FailOnError();
  reason = oldName + ": absent";
  DataTransfer record;
  if (!articles.Get(oldName, record)) return KeyedFile::Answer::No;
  if (articles.ChangeName(oldName.c_str(), newName.c_str())) return KeyedFile::Answer::Yes;
  reason = file.Words();
  // The old record may have gone before the new one failed.
  if (!articles.Find(oldName)) articles.Put(record);
  throw Failure(Path(), reason);
}

void DictFile::Start(const std::string& from) {
  articles.GetAlfPool(pool, from.c_str(), -1);
  FailOnError();
}

bool DictFile::Next(Record& record) {
  FailOnError();  // the pool reads one record ahead
  std::string stored;
  if (!pool.GetNext(stored, record.key)) return false;
  record.named = Opened::FillStruct(record.article, stored);
  record.exact = record.named && IsAll(record.article, stored);
  return true;
}

}  // namespace kvor
