// The record store: keyed records in one file, by file number. This is the engine's whole face.
//
// A file holds one ordered set of records, each with a key that is a slice of the record itself
// (see KEYDESCR). Every operation answers 0 for success, 1 for the negative outcome named beside
// it, -1 for a failure, whose words udbErrorText gives afterwards. None throws.
//
// Concurrency: processes may share a file; each operation that touches pages holds one mutex.
// Within a process the store is for one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "kvorlib/datatransfer.h"
#include "kvorlib/keydescr.h"

using UdbKey = std::span<const unsigned char>;

// A place in a file: page, and offset within its entries.
struct UdbPosition {
  std::uint16_t page = 0;
  std::uint16_t offset = 0;
};

// Codes of failures; udbCodeText gives the words of each.
enum UdbCode : int {
  UDB_SUCCESS = 0,
  UDB_WRONG_FILE_NUMBER = 1,
  UDB_FILE_LIMIT_OVERFLOW = 2,
  UDB_SYSTEM_ERROR = 3,
  UDB_FILE_ALREADY_EXISTS = 4,
  UDB_INDEX_DEPTH_OVERFLOW = 5,
  UDB_NONEXISTENT_FILE = 6,
  UDB_CANNOT_ALLOCATE_RECORD = 7,
  UDB_TOO_MANY_OPEN_FILES = 8,
  UDB_WRONG_KEY = 9,
  UDB_WRONG_RECORD_LENGTH = 10,
  UDB_FILE_ACCESS = 11,  // told apart by errno before it travels: 6, 8 or 3
  UDB_CHECKSUM_ERROR = 12,
  UDB_FILE_CORRUPTED = 13,
  UDB_LONG_NAME = 14,
  UDB_TIMEOUT = 15,
};

enum UdbMatchMode : int { UDB_EXACT = 0, UDB_AT_OR_AFTER = 1, UDB_AFTER = 2 };

inline constexpr int udbMaxFiles = 400;
inline constexpr std::uint32_t udbMaxRecord = 0xFFFFFF;  // a record is shorter than this

// Marks all entries of the table of files free. Called once, before anything else.
void udbInit();

// The file's number, or -1 with the words in `failure`. `flags`: 0 read-only, 2 read and write.
int udbOpen(const char* path, int flags, std::string& failure);
// Fails on a file that exists, which stays as it is.
int udbCreate(const char* path, const KEYDESCR& kd, std::string& failure);
int udbClose(int file);
// Deletes the file and makes it anew, empty and writable, under the same number.
int udbClear(int file);

int udbGetKeyDescr(int file, KEYDESCR& kd);
int udbGetFileName(int file, std::string& name);
int udbGetCount(int file, std::uint32_t& count);
int udbSetMatchMode(int file, int mode);
void udbErrorText(int file, std::string& text);
void udbCodeText(int code, std::string& text);

// A key handed in is complete: a text key ends with its stop symbol, a fixed key has its length.
int udbFind(int file, UdbKey key);                       // 1: not found
int udbGet(int file, UdbKey key, DataTransfer& record);  // 1: not found
int udbGetNext(int file, DataTransfer& record);          // 1: at the end
int udbRewind(int file);
int udbInsert(int file, const unsigned char* record, std::uint32_t length);  // 1: key present
int udbUpdate(int file, UdbKey key, const unsigned char* record,
              std::uint32_t length);  // 1: absent
int udbErase(int file, UdbKey key);   // 1: absent
int udbEraseCurrent(int file);        // 1: no record at the cursor
// `key` comes with its stop symbol.
int udbGetPosition(int file, UdbPosition& position, std::string& key);
// Back to a position whose record had this key, or to where a find by the key leads; as udbFind.
int udbSetPosition(int file, const UdbPosition& position, UdbKey key);

// What a walk keeps of its place, to go on without looking whether its record is still there. Any
// other use of the cursor, and any change of the file by anybody, make it worth nothing.
struct UdbMark {
  UdbPosition at;
  const void* count = nullptr;  // null: of no place
  std::uint64_t state = 0;
};
// Where the cursor is, if that is known without asking.
UdbMark udbMark(int file);
// If the mark is worth something and the next record is at hand: as udbGetNext, and the mark goes
// with it. False: nothing is done, but the record may have been filled.
bool udbStepOn(int file, UdbMark& mark, DataTransfer& record);

// Version 23 becomes 24. Only the number changes: external records of version 23 keep their shorter
// prefix and cannot be read any more.
int udbUpgrade(int file);

struct UdbFile;
namespace store {
class Guard;
}

// Keeps other processes from changing the file for several calls on end, so that these see the same
// one; without an open file, this user's processes from changing any. If the lock cannot be had the
// calls run without that promise. REQUIRES: the file stays open, and the calls inside only read; a
// file that others change is not used under another number meanwhile.
class UdbHold {
 public:
  explicit UdbHold(int file);
  ~UdbHold();
  UdbHold(const UdbHold&) = delete;
  UdbHold& operator=(const UdbHold&) = delete;

 private:
  bool held = false;  // the mutex, in which all of this user's processes take part
  UdbFile* entry = nullptr;
  std::unique_ptr<store::Guard> guard;  // of a file that others change
};
