// AlfFile: a dictionary of articles with two sides and homonyms, one text record each.
//
//   AlfFile dictionary;
//   if (!dictionary.Open(u"animals.dat", false, IndexFile::KD_TEXT0)) return;
//   BASIC_ALFSTAT<char16_t> article;
//   article.Name = u"bow1";                 // "bow", "bow1" … "bow9" are homonyms
//   article.Type = 'K';
//   article.KText = u"bow";
//   dictionary.CreateArticle(&article);
//   std::vector<BASIC_ALFSTAT<char16_t>> bows;
//   dictionary.GetHoms(u"bow", bows);
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kvorlib/export.h"
#include "kvorlib/indexfile.h"

// An article: a name, a side K and a side M, a number. The form for `char` is the one that is
// stored, in UTF-8; the form for `char16_t` is that of callers. All texts are single words: white
// space inside is written, and takes the text apart when it is read again, and a text of "#" alone
// reads as an empty one.
template <class T>
struct BASIC_ALFSTAT {
  std::basic_string<T> Name;   // the key in the file, a homonym's digit at its end
  std::basic_string<T> KText;  // the word of side K
  std::basic_string<T> MText;  // the word of side M
  // The library itself assigns nothing but 0.
  std::int32_t Number = 0;
  // Term codes, 0 for none. A code without a term is stored as none. Pos goes with side M.
  std::uint16_t Pos = 0;
  std::uint16_t KPos = 0;
  // 'K' or 'M': that side alone is there; 'B': both; 'N': an empty article, of which nothing is
  // read but name and number.
  char Type = 'N';
};

// The file is opened, created and closed as any keyed file, with the layout KD_TEXT0 or a stored
// one to the same effect.
//
// Names are made keys of the file: one ends at its first blank. Operations answer whether they were
// carried out. For a name that is absent, or there already, there are no words; those of a failure
// are in ErrorMessage() until the next operation. A wide form does what the narrow one does, with
// names and articles converted.
//
// Terms are read and written by name, through the current term table. Throws: what TermCode and
// TermName throw when there is no table, before anything in the file is changed.
//
// REQUIRES: pointers to articles are not null.
class KVORLIB_API AlfFile : public IndexFile {
 public:
  AlfFile();
  AlfFile(AlfFile const& o);
  AlfFile& operator=(AlfFile const& o);
  ~AlfFile() override;

  // Reads an article; one without a text of side K gets that of side M there too, as everywhere but
  // in _GetAlfArticle. On failure a wide article is left alone.
  bool GetAlfArticle(char const* name, BASIC_ALFSTAT<char>* article) const;
  bool GetAlfArticle(char16_t const* name, BASIC_ALFSTAT<char16_t>* article) const;
  // Reads an article as it is stored. Words: "Fill struct error", for a record without a name.
  bool _GetAlfArticle(char const* name, BASIC_ALFSTAT<char>* article) const;

  // As IndexFile::GetPool: a walk that begins at the first name not below `key`.
  bool GetAlfPool(RecordPool& pool, char const* key, int n);
  bool GetAlfPool(RecordPool& pool, char16_t const* key, int n);
  // The next article of a walk. False at its end and, without words, for a record without a name:
  // there are articles behind that one, which a further call gives. A wide article is then left
  // alone.
  static bool GetNextAlfArticle(RecordPool& pool, BASIC_ALFSTAT<char>* article);
  static bool GetNextAlfArticle(RecordPool& pool, BASIC_ALFSTAT<char16_t>* article);

  // Stores an article of type N under `name`, which becomes the article's own; its number is
  // GetNewNumber(). The narrow form stores the other fields as they stand, the wide one stores none
  // and changes `article` only on success. False for a name that is there.
  bool CreateEmptyArticle(char const* name, BASIC_ALFSTAT<char>* article);
  bool CreateEmptyArticle(char16_t const* name, BASIC_ALFSTAT<char16_t>* article);
  // Stores an article whose name is not there yet. Its name becomes what it is as a key.
  bool CreateArticle(BASIC_ALFSTAT<char>* article);
  bool CreateArticle(BASIC_ALFSTAT<char16_t>* article);
  // Stores the side that the article's type names (K, or anything else for M), and keeps the other
  // side of the article that is there. A side that is added makes the type B; number and Pos come
  // from `article` (a Pos that side K changes is marked by the words "Pos changed", which an update
  // that is carried out clears), side M keeps the stored KPos. The narrow `article` becomes what is
  // stored; the wide one stays as it is.
  bool CorrArticle(BASIC_ALFSTAT<char>* article);
  bool CorrArticle(BASIC_ALFSTAT<char16_t>* article);
  // Gives an article another name. REQUIRES: the new name is a key that is not there. Otherwise the
  // answer is false and the article is lost: the old record goes before the new one is stored.
  bool ChangeName(char const* oldName, char const* newName);
  bool ChangeName(char16_t const* oldName, char16_t const* newName);
  // Takes side K or side M away; an article whose only side that was goes altogether, and so does
  // an empty one. Words: "Entry not found in dictionary", when the article lacks that side.
  bool DeleteArticle(char const* name, bool sideK);
  bool DeleteArticle(char16_t const* name, bool sideK);

  // Gives `result` the article `name` and then its homonyms, digits 1 to 9 behind it, and answers
  // how many there are; -1, with nothing done, for an empty name. A name that ends in a digit has
  // no homonyms but itself. The file is in exact-match mode afterwards. The wide form leaves
  // `result` alone if there are none, and empties it for an empty name.
  int GetHoms(std::string const& name, std::vector<BASIC_ALFSTAT<char>>& result) const;
  int GetHoms(std::u16string const& name, std::vector<BASIC_ALFSTAT<char16_t>>& result) const;

  int GetNewNumber() const;
  // A decimal number, its low 16 bits; 0 if the digits, with white space and sign in front of them,
  // are more than six characters. A null text counts as empty.
  static std::uint16_t NumberStrToBin(char const* text);
  static std::uint16_t NumberStrToBin(char16_t const* text);

 protected:
  // The record of an article, "NAME NUMBER TYPE POS KPOS KTEXT MTEXT", "#" for what is empty.
  // Always true.
  static bool FillBuf(BASIC_ALFSTAT<char> const& article, std::string& record);
  // The article of a record, a terminating zero at its end or not. False if there is no name: then
  // nothing but the name is changed. Words that are missing at the end count as empty.
  static bool FillStruct(BASIC_ALFSTAT<char>& article, std::string const& record);
  static void Convert(BASIC_ALFSTAT<char16_t>& target, BASIC_ALFSTAT<char> const& source);
  static void Convert(BASIC_ALFSTAT<char>& target, BASIC_ALFSTAT<char16_t> const& source);
  // The index of a name's last byte in front of which its homonyms' digit goes, by the rule that
  // files in use were made with (see alfhomonyms.cpp); -1 for a name without any byte but blanks.
  static int GetNonDigitLen(std::string const& name);

 private:
  bool Report(char const* words) const;
  template <class T>
  bool ReadArticle(std::string_view name, BASIC_ALFSTAT<T>& article, bool fillIn) const;
  template <class T>
  static bool ReadNext(RecordPool& pool, BASIC_ALFSTAT<T>& article);
  bool MakeRecord(BASIC_ALFSTAT<char> const& article, std::string& record) const;
};
