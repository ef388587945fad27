// IndexFile: a keyed file of text or byte records.
//
//   IndexFile file;
//   if (!file.Create("words", IndexFile::KD_TEXT0)) return false;
//   file.Put(std::string("cat кошка"));                   // key "cat": up to the first blank
//   std::string record = file.Get(std::string("cat"));
//   for (...) see RecordPool                              // a walk in key order
//
// A key is a slice of its record. Where it lies is the file's key layout, one of the standard ones
// (KDTYPE) or the one that the file has stored.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvorlib/datatransfer.h"
#include "kvorlib/export.h"
#include "kvorlib/keydescr.h"

class PersistentMap;
struct ArchiveRecord;
class ProcessMess;
class RecordPool;

// Names of files are URIs in UTF-8: a path, or a scheme, "://" and a path (see mapfactory.h).
// Narrow texts are UTF-8 throughout; a wide form does what the narrow one does, with everything
// converted, and ends a text at its first zero character as all conversions do (encoding.h).
//
// Failures are a false answer. The words are in ErrorMessage() and the level in GetState() until
// the next operation. Without a usable file, as behind an Open or Create that failed, these are
// always the same; why it failed is with the map, see GetIndHandle(). Nothing is thrown but the one
// text that Open names.
//
// Copies share one open file, which is closed by the last of them. Open, Create, TryOpen, Copy and
// assignment over an open object do not close what it held: close first, or that file stays open
// until the library shuts down.
//
// An object, and everything that shares its file, belongs to one thread at a time.
class KVORLIB_API IndexFile {
 public:
  // The standard key layouts: the rows of kdArray.
  enum KDTYPE : int {
    KD_TEXT39 = 0,  // text from byte 39 up to the first blank
    KD_TEXT6 = 1,   // text from byte 6 up to the first blank
    KD_TEXT4 = 2,   // text from byte 4 up to the first blank
    KD_TEXT0 = 3,   // text from byte 0 up to the first blank
    KD_ZTEXT2 = 4,  // zero-terminated text from byte 2
    KD_INT2 = 5,    // 32-bit integer at byte 2
    KD_ZTEXT0 = 6,  // zero-terminated text from byte 0
    KD_INT0 = 7,    // 32-bit integer at byte 0
    KD_LINE0 = 8,   // text from byte 0 up to the first line feed
    KD_STORED = 9,  // no row: the layout that is stored in the file
  };
  static KEYDESCR const kdArray[9];
  // A null file: closed.
  static IndexFile EmptyFile;

  IndexFile();
  // Open; IsValid() tells how it went.
  IndexFile(char const* uri, bool readOnly, KDTYPE t = KD_STORED);
  IndexFile(char16_t const* uri, bool readOnly, KDTYPE t = KD_STORED);
  IndexFile(IndexFile const& o);
  IndexFile& operator=(IndexFile const& o);
  // Whether both hold the same open file.
  bool operator==(IndexFile const& o) const;

  // The operations that a kind of file may replace. They come first: their order is part of the
  // interface.
  virtual ~IndexFile();
  virtual bool Clear();
  virtual bool Empty() const;
  virtual bool Rewind();
  virtual bool Erase(DataTransfer const& key);
  virtual bool Find(DataTransfer const& key) const;
  virtual bool Get(DataTransfer const& key, DataTransfer& record) const;
  // `key` must be the record's own, without its stop symbol. A key that is there is replaced with
  // `overwrite`, else refused.
  virtual bool Put(DataTransfer const& key, DataTransfer const& record, bool overwrite);
  virtual bool Update(DataTransfer const& key, DataTransfer const& record);

  // Opens a file that is there. Throws the text "Keydescr error" (char const*), with the file open,
  // when `t` is a row that differs from the file's own layout.
  bool Open(char const* uri, bool readOnly, KDTYPE t = KD_STORED);
  bool Open(char16_t const* uri, bool readOnly, KDTYPE t = KD_STORED);
  // Makes a new file; one that is there is left alone, and the answer is false. REQUIRES: a row.
  bool Create(char const* uri, KDTYPE t);
  bool Create(char16_t const* uri, KDTYPE t);
  // Open, or Create if there is no such file and the user says yes (UserQuestion). A URI with a
  // scheme never counts as a file that is there. Throws as Open.
  bool TryOpen(char const* uri, bool readOnly, KDTYPE t = KD_STORED);
  bool TryOpen(char16_t const* uri, bool readOnly, KDTYPE t = KD_STORED);
  // Copies all records of one file to another, which is cleared first, or created with the layout
  // `t` if it cannot be opened, and is held open by this object afterwards. Both names need their
  // schemes. `mess` may be null. True when the target is open: GetState() then tells whether all
  // was copied. The layout of the target is not looked up: to work with it by texts, close it and
  // open it.
  bool Copy(char const* target, char const* source, KDTYPE t, ProcessMess* mess);
  bool Copy(char16_t const* target, char16_t const* source, KDTYPE t, ProcessMess* mess);
  // Adds what the pool still has to give; see PersistentMap::copy.
  bool Copy(RecordPool& pool, ProcessMess* mess);
  // True for a closed object. False when the file has been shut down, or could not be opened.
  bool Close();

  bool IsValid() const;
  // Whether the latest operation was not carried out: not found counts. True without a file.
  bool isFail() const;
  // Whether there is no usable file, or its latest operation failed: not found does not count.
  bool CheckError() const;
  // The level of the state (see PersistentMap), 3 without a usable file.
  int GetState() const;
  // "Index file not initialized properly" without a usable file. Lives until the next operation on
  // the file.
  char const* ErrorMessage() const;
  std::u16string wErrorMessage() const;
  // The URI with which it was opened; null (the wide form empty) without a usable file.
  char const* GetURI() const;
  std::u16string wGetURI() const;
  KEYDESCR& GetKeyDescr() { return keyDescr; }
  KDTYPE GetKDType() const { return kdType; }
  // For KD_STORED: a layout that no file can have.
  static KEYDESCR const& GetKDForType(KDTYPE t);
  // The map underneath, null when there is none any more, or none was made: a plug-in that cannot
  // be had. A map that could not be opened is there too, with the words of the failure, until
  // Close:
  //   if (PersistentMap const* const map = file.GetIndHandle()) report(map->get_err_mess());
  PersistentMap* GetIndHandle() const;

  // The number of records, -1 on failure.
  long Size() const;
  // See PersistentMap::set_exact_match.
  bool SetExactMatch(bool exact) const;
  bool GetExactMatch() const;
  // See PersistentMap::extra_command.
  bool ExtraCommand(int cmd, void* arg, bool query);

  // Texts are std::string or wide: a bare narrow literal might be bytes too, and does not compile.
  //
  // By a text or an integer as the key: made a key of the file's format, then as above. Of a text,
  // only what stands before the stop symbol counts; in a layout of fixed length (types 1 and 3) it
  // is cut or filled with blanks.
  bool Find(std::string const& key) const;
  bool Find(std::u16string const& key) const;
  bool Find(int key) const;
  bool Erase(std::string const& key);
  bool Erase(std::u16string const& key);
  bool Erase(int key);
  bool Get(std::string const& key, DataTransfer& record) const;
  bool Get(std::u16string const& key, DataTransfer& record) const;
  bool Get(int key, DataTransfer& record) const;
  // The record as a text, with the terminating zero, if it was stored with one, as its last
  // character (not in the wide form); what stands behind the last zero byte is dropped. Only for
  // layouts of type 3 and 4: for others `value` stays as it was, and the answer is whether the
  // record is there.
  bool Get(std::string const& key, std::string& value) const;
  bool Get(std::u16string const& key, std::u16string& value) const;
  // The same, empty if it is not there.
  std::string Get(std::string const& key) const;
  std::u16string Get(std::u16string const& key) const;
  // The key is taken out of the record. A key that is there is never replaced, whatever
  // `overwrite` says: that is what Update is for.
  bool Put(DataTransfer const& record, bool overwrite = false);
  bool Update(DataTransfer const& record);
  // The text is stored with its terminating zero.
  bool Put(std::string const& record);
  bool Put(std::u16string const& record);
  bool Update(std::string const& record);
  bool Update(std::u16string const& record);

  // The key inside a record, without its stop symbol. An empty key leaves `key` as it was.
  bool ExtractKey(DataTransfer const& record, DataTransfer& key) const;
  // The same as a text, empty on failure.
  std::string ExtractKey(DataTransfer const& record) const;
  std::string ExtractKey(std::string const& record) const;
  std::u16string ExtractKey(std::u16string const& record) const;

  // Sets the pool to walk this file from the first record at or after `key`, from the first of all
  // for an empty key. `n` is a hint; -1 for none. The answer is whether the pool is valid: there
  // may still be nothing in it. Text keys serve layouts with a stop symbol; for the others give
  // the bytes.
  bool GetPool(RecordPool& pool, DataTransfer const& key, int n) const;
  bool GetPool(RecordPool& pool) const;
  bool GetPool(RecordPool& pool, std::string const& key, int n) const;
  bool GetPool(RecordPool& pool, std::u16string const& key, int n) const;
  // Appends all keys, in order.
  bool GetKeyArray(std::list<std::u16string>& keys) const;

  // The prefix that URIs without "://" belong to, "std://" at first. False, and no change, if no
  // factory would serve it.
  static bool SetStdPrefix(char const* prefix);
  static bool SetStdPrefix(char16_t const* prefix);
  // Runs a command of the factories: of those that serve `prefix`, or of all that know the command
  // when it is null. True if none of them refused.
  static bool SystemCommand(int cmd, void* arg, char const* prefix = nullptr);
  static bool SystemCommand(int cmd, void* arg, std::u16string const& prefix);
  // The length of the longest record that files under `prefix` can hold, -1 if nobody says. Without
  // a prefix, of files of the default knowledge base (KBEnv::KBMap::GetIndexPref), here and below.
  // A plug-in answers once it has been loaded, which the first file under its prefix does.
  static int GetMaxRecLen(char16_t const* prefix = nullptr);
  // Whether `cmd` is a command (ExtraCommand, SystemCommand) of the default knowledge base's files.
  static bool IsValidCommand(int cmd);
  // What the factory of `prefix` tells of the archive `name`; false if it tells nothing.
  static bool GetArchiveRecords(std::u16string const& name, std::vector<ArchiveRecord>& records,
                                char16_t const* prefix = nullptr);

 protected:
  // Keys of the file's format. Failures are words at level 2 on the map.
  bool FormKey(std::string const& text, DataTransfer& key) const;
  bool FormKey(int n, DataTransfer& key) const;
  std::string FillKey(std::string const& text) const;
  // Gives `out` the record as a text; false, with `out` left alone, if the layout is not one for
  // texts.
  bool CopyDeleteZero(DataTransfer& record, std::string& out) const;
  // The record of a text as the key, and the text in it, in place: what CopyDeleteZero gives, if
  // anything.
  bool GetByText(std::string_view key, DataTransfer& record) const;
  std::optional<std::string_view> TextIn(DataTransfer const& record) const;
  // Whether there is a usable map.
  bool check_map() const;

 private:
  // The key in a text, which has to be made in the room for some layouts.
  std::string_view KeyIn(std::string_view text, std::string& room) const;
  bool HasNumbers() const;
  bool HoldsMap() const;
  void TakeMap(PersistentMap* taken);
  bool Fail(char const* words) const;

  KDTYPE kdType = KD_STORED;
  PersistentMap* map = nullptr;
  KEYDESCR keyDescr;
  bool keyDefined = false;
  // Tells the map that was taken from a later one that came to lie at the same address.
  std::uint64_t mapNumber = 0;
};
