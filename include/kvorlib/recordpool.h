// RecordPool: a walk over a keyed file, as an object on the stack.
//
//   RecordPool pool;
//   std::string record, key;
//   if (file.GetPool(pool, std::string("cat"), -1))
//     while (pool.GetNext(record, key)) use(key, record);
#pragma once

#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "kvorlib/datatransfer.h"
#include "kvorlib/export.h"

class IndexFile;
class MapCursor;
namespace maps {
class StdMapCursor;
}

// Owns a cursor, which IndexFile::GetPool sets. The file may be changed during the walk, other
// pools may walk it at the same time, and it may be closed: then the pool is not valid any more.
// The record to come has been read already: it is handed out as it was then. Erasing what was
// handed out is safe; if the record to come is erased, the one behind it may be passed over.
// Failures are a false answer; the words, if any, are in the file's ErrorMessage().
class KVORLIB_API RecordPool {
 public:
  RecordPool();
  ~RecordPool();
  RecordPool(RecordPool const&) = delete;
  RecordPool& operator=(RecordPool const&) = delete;

  // Whether there is a cursor on an open file.
  bool is_valid() const;
  // Whether nothing is left to hand out. False when the pool is not valid.
  bool empty() const;
  // The next record; false at the end. Mind the order: the key first among bytes, the record first
  // among texts. A key comes without its stop symbol. A record that was stored as a text comes with
  // its terminating zero as its last character in the narrow form, and without it in the wide one,
  // which ends at the first zero character.
  bool GetNext(DataTransfer& key, DataTransfer& record);
  bool GetNext(std::string& record, std::string& key);
  bool GetNext(std::u16string& record, std::u16string& key);
  // Appends the keys of all records that are left.
  bool GetKeyArray(std::list<std::u16string>& keys);

 private:
  friend class IndexFile;
  friend class AlfFile;

  void SetCursor(MapCursor* walk);
  // The next record, in place if the cursor has one, else in the room.
  bool GetNextInPlace(std::string_view& record, DataTransfer& room);

  std::unique_ptr<MapCursor> cursor;
  maps::StdMapCursor* stored = nullptr;  // the same, if it walks a file of the store
};
