// AlfFile: reading, walking, creating, correcting, renaming and deleting articles. The records are
// in alfrecord.cpp, the homonyms in alfhomonyms.cpp.
#include "kvorlib/alffile.h"

#include "keyed/alfrecord.h"
#include "keyed/passingrecord.h"
#include "keyed/utf8.h"
#include "kvorlib/errors.h"
#include "kvorlib/persistentmap.h"
#include "kvorlib/recordpool.h"
#include "util/utf8.h"

using keyed::Narrow;
using keyed::OrEmpty;

namespace {

// Gives the article the side that it leaves alone.
void Merge(BASIC_ALFSTAT<char>& article, BASIC_ALFSTAT<char> const& stored) {
  if (article.Type == 'K') {
    article.MText = stored.MText;
    if (stored.Type == 'M' || stored.Type == 'B') article.Type = 'B';
  } else if (stored.Type == 'K' || stored.Type == 'B') {
    article.Type = 'B';
    article.KPos = stored.KPos;
    article.KText = stored.KText;
  } else {
    article.KText.clear();
  }
}

}  // namespace

AlfFile::AlfFile() = default;

AlfFile::AlfFile(AlfFile const& o) = default;

AlfFile& AlfFile::operator=(AlfFile const& o) = default;

AlfFile::~AlfFile() = default;

bool AlfFile::Report(char const* words) const {
  PersistentMap* const map = GetIndHandle();
  if (map != nullptr) map->set_state(ErrData::ERR_ERROR, words);
  return false;
}

bool AlfFile::MakeRecord(BASIC_ALFSTAT<char> const& article, std::string& record) const {
  return FillBuf(article, record) || Report("Fill buffer error");
}

template <class T>
bool AlfFile::ReadArticle(std::string_view name, BASIC_ALFSTAT<T>& article, bool fillIn) const {
  keyed::PassingRecord record;
  if (!GetByText(name, record)) return false;
  std::string_view const text = TextIn(record).value_or(std::string_view());
  return keyed::ReadRecord(text, fillIn, article) || Report("Fill struct error");
}

bool AlfFile::_GetAlfArticle(char const* name, BASIC_ALFSTAT<char>* article) const {
  return ReadArticle(OrEmpty(name), *article, false);
}

bool AlfFile::GetAlfArticle(char const* name, BASIC_ALFSTAT<char>* article) const {
  return ReadArticle(OrEmpty(name), *article, true);
}

bool AlfFile::GetAlfArticle(char16_t const* name, BASIC_ALFSTAT<char16_t>* article) const {
  return ReadArticle(util::Utf8Text(OrEmpty(name)).View(), *article, true);
}

bool AlfFile::GetAlfPool(RecordPool& pool, char const* key, int n) {
  return GetPool(pool, std::string(OrEmpty(key)), n);
}

bool AlfFile::GetAlfPool(RecordPool& pool, char16_t const* key, int n) {
  return GetPool(pool, key != nullptr ? std::u16string(key) : std::u16string(), n);
}

template <class T>
bool AlfFile::ReadNext(RecordPool& pool, BASIC_ALFSTAT<T>& article) {
  DataTransfer room;
  std::string_view record;
  return pool.GetNextInPlace(record, room) && keyed::ReadRecord(record, true, article);
}

bool AlfFile::GetNextAlfArticle(RecordPool& pool, BASIC_ALFSTAT<char>* article) {
  return ReadNext(pool, *article);
}

bool AlfFile::GetNextAlfArticle(RecordPool& pool, BASIC_ALFSTAT<char16_t>* article) {
  return ReadNext(pool, *article);
}

int AlfFile::GetNewNumber() const { return 0; }

// A name that cannot be a key has left its words with the file by the time it is asked for an
// error.
bool AlfFile::CreateEmptyArticle(char const* name, BASIC_ALFSTAT<char>* article) {
  std::string const asked = OrEmpty(name);
  if (Find(asked)) return false;
  article->Name = FillKey(asked);
  if (CheckError()) return false;
  article->Number = GetNewNumber();
  article->Type = 'N';
  std::string record;
  return MakeRecord(*article, record) && Put(record);
}

bool AlfFile::CreateEmptyArticle(char16_t const* name, BASIC_ALFSTAT<char16_t>* article) {
  BASIC_ALFSTAT<char> narrow;
  if (!CreateEmptyArticle(Narrow(name).c_str(), &narrow)) return false;
  Convert(*article, narrow);
  return true;
}

bool AlfFile::CreateArticle(BASIC_ALFSTAT<char>* article) {
  if (Find(article->Name)) return false;
  article->Name = FillKey(article->Name);
  if (CheckError()) return false;
  std::string record;
  return MakeRecord(*article, record) && Put(record);
}

bool AlfFile::CreateArticle(BASIC_ALFSTAT<char16_t>* article) {
  BASIC_ALFSTAT<char> narrow;
  Convert(narrow, *article);
  bool const created = CreateArticle(&narrow);
  Convert(*article, narrow);
  return created;
}

bool AlfFile::CorrArticle(BASIC_ALFSTAT<char>* article) {
  article->Name = FillKey(article->Name);
  BASIC_ALFSTAT<char> stored;
  if (!_GetAlfArticle(article->Name.c_str(), &stored)) return false;
  // A mark on the way, not a refusal: the correction goes on, and clears it by succeeding.
  if (article->Type == 'K' && stored.Type != 'N' && article->Pos != stored.Pos) {
    Report("Pos changed");
  }
  Merge(*article, stored);
  std::string record;
  return MakeRecord(*article, record) && Update(record);
}

bool AlfFile::CorrArticle(BASIC_ALFSTAT<char16_t>* article) {
  BASIC_ALFSTAT<char> narrow;
  Convert(narrow, *article);
  return CorrArticle(&narrow);
}

// The old record goes first: callers rely on there being never two. The record is made before that,
// since it may throw.
bool AlfFile::ChangeName(char const* oldName, char const* newName) {
  BASIC_ALFSTAT<char> article;
  if (!GetAlfArticle(oldName, &article)) return false;
  article.Name = FillKey(OrEmpty(newName));
  std::string record;
  return MakeRecord(article, record) && Erase(std::string(OrEmpty(oldName))) && Put(record);
}

bool AlfFile::ChangeName(char16_t const* oldName, char16_t const* newName) {
  return ChangeName(Narrow(oldName).c_str(), Narrow(newName).c_str());
}

bool AlfFile::DeleteArticle(char const* name, bool sideK) {
  BASIC_ALFSTAT<char> article;
  if (!GetAlfArticle(name, &article)) return false;
  char const asked = sideK ? 'K' : 'M';
  if (article.Type == 'N' || article.Type == asked) return Erase(std::string(OrEmpty(name)));
  if (article.Type != 'B') return Report("Entry not found in dictionary");
  article.Type = sideK ? 'M' : 'K';
  (sideK ? article.KText : article.MText).clear();
  std::string record;
  return MakeRecord(article, record) && Update(record);
}

bool AlfFile::DeleteArticle(char16_t const* name, bool sideK) {
  return DeleteArticle(Narrow(name).c_str(), sideK);
}
