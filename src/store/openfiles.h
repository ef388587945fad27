// The table of open files.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "store/host.h"
#include "store/page.h"
#include "store/seen.h"
#include "store/udb.h"

struct UdbFile {
  std::unique_ptr<store::VirtualFile> fd;  // none: the entry is free, or lost
  std::int32_t maxRead = udbMaxRecord;     // a read returns no more bytes of a record than this
  std::int32_t matchMode = UDB_EXACT;
  std::uint16_t writable = 0;
  std::string name;  // at most 127 characters: leading folders are dropped from a longer path
  std::string path;  // as opened, from the root of the file system
  std::uint16_t cursorPage = 0;  // 0: before the first record
  std::uint16_t cursorOffset = 0;
  // Not 0: the latest search found nothing, and the cursor is where this key would stand when
  // somebody asks, whatever is changed until then.
  std::uint8_t missedSize = 0;
  std::array<std::uint8_t, store::MaxKey> missed;
  store::Header header;  // what the last selection or operation saw; stays when the file is closed
  std::uint16_t lastError = UDB_SUCCESS;
  std::unique_ptr<store::VirtualFile> journalFd;
  platform::FileIdentity identity;
  store::Seen seen;
  // Not 0: the file was made longer than it needs. So far it is needed, as this process knows.
  std::uint64_t needed = 0;
  std::uint32_t cutsSeen = 0;
  platform::Company company = platform::Company::Own;  // when it was opened
  // Whether all who may change the file share the mutex, its memory and the counts in it. If not,
  // nothing seen of the file outlives an operation, and none goes without its lock.
  bool OnlyOursToChange() const { return company != platform::Company::Writers; }
  bool isHeld = false;  // by a UdbHold, which locks it for looking
  // Everybody else who moves the cursor does it by these.
  void SetCursor(std::uint16_t page, std::size_t offset) {
    cursorPage = page;
    cursorOffset = static_cast<std::uint16_t>(offset);
    missedSize = 0;
    seen.copy.Leave();
  }
  void RememberMissed(store::Bytes key) {
    seen.copy.Leave();
    missedSize = static_cast<std::uint8_t>(key.size());
    std::memcpy(missed.data(), key.data(), key.size());
  }
  // Its file could not be made anew after clearing. The number is still its holder's, who closes
  // it; until then nobody else is given it.
  bool lost = false;
};

// The entry of a number from 0 to udbMaxFiles - 1.
UdbFile& udbEntry(int file);

namespace store {

class OpenFiles {
 public:
  OpenFiles() { FreeAll(); }
  // An entry with an open file, or null.
  UdbFile* Find(int file) {
    return file < 0 || file >= udbMaxFiles || At(file).fd == nullptr ? nullptr : &At(file);
  }
  UdbFile& At(int file) { return entries[static_cast<std::size_t>(file)]; }
  int NumberOf(const UdbFile& entry) const { return static_cast<int>(&entry - entries.data()); }
  // The lowest free number, or -1.
  int FreeNumber() const;
  void FreeAll();

  // Closes what the entry holds and makes it free. Its copy of the header stays.
  static void Free(UdbFile& entry);

  DirectoryMemory& Directories() { return directoryMemory; }

 private:
  DirectoryMemory directoryMemory;
  std::array<UdbFile, udbMaxFiles> entries;
};

// The path as the table keeps it; nothing if its last component does not fit.
std::optional<std::string> NameForTable(const std::string& path);

}  // namespace store
