// MemIndexFile: a keyed file whose records may be held in memory, by integer key.
//
//   MemIndexFile file("numbers", IndexFile::KD_INT0);
//   if (file.SetMemMode(true))
//     while (DataTransfer const* record = file.GetNext()) use(*record);
#pragma once

#include <cstdint>
#include <map>

#include "kvorlib/datatransfer.h"
#include "kvorlib/export.h"
#include "kvorlib/indexfile.h"

// With memory mode off, as at first, it reads through to the file, behind the records that were put
// into memory by AddRecord. With memory mode on, the memory mirrors the file as it was when it was
// read, and the file is not asked any more. Changes (Put, Update, Erase, Clear) go to the file
// alone: call Reset to see them.
//
// Lookups move the position of GetNext although they are const, so an object must not be read by
// two threads at once. Pointers that are handed out live until Reset, SetMemMode(false) or the end
// of the object.
class KVORLIB_API MemIndexFile : public IndexFile {
 public:
  using Records = std::map<std::int32_t, DataTransfer>;

  // A null file: closed, nothing in memory.
  static MemIndexFile EmptyFile;

  MemIndexFile();
  // Opens for reading only.
  MemIndexFile(char const* uri, KDTYPE t);
  // The copy has records of its own and stands at the same key.
  MemIndexFile(MemIndexFile const& o);
  MemIndexFile& operator=(MemIndexFile const& o);
  ~MemIndexFile() override;
  // The same map underneath, and equal records in memory.
  bool operator==(MemIndexFile const& o) const;

  using IndexFile::Find;
  using IndexFile::Get;

  // To the first record; with memory mode off, of the file.
  bool Rewind() override;
  // Both look in memory first. Find does not ask the file at all, even with memory mode off.
  bool Find(DataTransfer const& key) const override;
  bool Get(DataTransfer const& key, DataTransfer& record) const override;
  bool Find(int key) const;
  // The record in memory, null if it is not there. GetNext goes on behind it.
  DataTransfer const* Get(int key) const;
  // The record at the position, which steps forward; null at the end and with memory mode off.
  DataTransfer const* GetNext() const;

  // Looks in memory, and sets the position to the first key that is not less. In memory mode
  // without exact match the next higher key counts as found.
  bool MemFind(int key) const;
  // The integer is the key's first four bytes; a shorter key is never found.
  bool MemFind(DataTransfer const& key) const;

  Records& GetMap() { return records; }
  // Into memory alone. False, and nothing is done, for a key of less than four bytes.
  bool AddRecord(DataTransfer const& key, DataTransfer const& record);
  // On: reads the whole file into memory, in addition to what is there; false, with the mode as it
  // was, if the file cannot be read. Off: empties the memory. The position is the first record.
  // Meant for files with integer keys: a key's first four bytes are taken as they stand.
  bool SetMemMode(bool on);
  // Empties the memory and, in memory mode, reads the file anew.
  bool Reset();

 private:
  // A position that is kept as a key never dangles, whatever is done to `records`.
  using Position = std::int64_t;
  static constexpr Position AtEnd = INT64_MAX;

  bool SetStoreAll();
  Position First() const;
  Records::const_iterator Current() const;
  void StepBehind(Records::const_iterator at) const;

  Records records;
  mutable Position current = AtEnd;
  bool memMode = false;
};
