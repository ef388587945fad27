// What an update overwrites is kept here first, in memory that outlives the process. An update that
// fails puts it back itself; after a process that died, whoever takes the lock next does, or, when
// the file cannot be reached from there, whoever uses the file next.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "store/changecount.h"
#include "store/host.h"
#include "store/page.h"
#include "store/undorecord.h"

namespace store {

// One update at a time, of one file, under the lock. The memory is the host's locked memory, or,
// where the host has none, memory of this process: then a failed update is still taken back, but
// not one whose process was killed.
//
// Area 0 of the memory is a board that says what lies in the others: at most one record of an
// update that goes on, and records set aside. A record is set aside when its update was broken off
// and the file could not be reached, or not be written: nobody else's work waits for that. It is
// known by the file's identity, not by its path, and stays until the file is used again; there are
// as many as the areas and AsideLimit allow, and the oldest is forgotten for a new one.
class UndoLog {
 public:
  // Takes the memory in hand. To be called with each taking of the lock, before anything is kept.
  void Attach(Host& host);

  // Whether this is memory of all who take the lock.
  bool IsShared() const { return board != nullptr && !inOwnMemory; }
  // How often a file was cut to what it needs, in this memory. Around each cut, which is a change
  // of the file to those who read without the lock.
  std::uint32_t Cuts() const { return board->cuts; }
  void BeginCut(const platform::FileIdentity& file) {
    Publish(board->cuts, board->cuts + 1);
    BeginChange(file);
  }
  void EndCut(const platform::FileIdentity& file) { EndChange(file); }

  // Whether an update goes on here, which has been neither taken back nor completed.
  bool Active() const { return board != nullptr && board->active != 0; }

  struct Subject {
    const std::string& path;  // absolute
    platform::FileIdentity identity;
  };
  // What is kept so far. REQUIRES: Active().
  const UndoRecord& InWork() const { return *record; }
  // Somebody may have written over a file, or files, since the latest update: what that left in
  // page 0 is nothing to go on from.
  void ForgetStanding() { standing = 0; }
  // Begins to keep. REQUIRES: not Active().
  // The file's page 0 is `startOfPage0` and zeros. False: there is not memory enough.
  bool Begin(const Subject& subject, Bytes startOfPage0);
  // The size of the file before the update, to be told before it grows.
  void SetSize(std::uint64_t size) { Publish(record->fileSize, size); }
  bool KnowsSize() const { return record->fileSize != UndoRecord::NotGrown; }
  // The first bytes of page 0 are about to become these.
  // REQUIRES: Active(), and page 0 is as it was at Begin.
  void Announce(Bytes start) { record->Announce(start); }
  // Keeps the bytes of a stretch as they are, so far as they lie within the file of Begin; to be
  // called before they are overwritten. False, with nothing kept, if they could not be read or
  // there is no memory for them.
  bool Keep(VirtualFile& file, std::uint64_t offset, std::size_t length);
  // The same for bytes at hand, which may lie in the file.
  bool Keep(VirtualFile& file, std::uint64_t offset, Bytes bytes);
  // The page is about to be changed: those who read without the lock are told. To be called ahead
  // of the first store to it, for every page, but for what they do not go by; see changecount.h.
  // REQUIRES: Active().
  void Tell(std::uint16_t page) { change.Tell(page); }
  // Puts all that was kept back and the file to its former size. False if that failed; then it all
  // stays kept. It may be done again.
  bool PutBack(VirtualFile& file) { return record->PutBack(file); }
  // Forgets what was kept: the update stands, or has been taken back.
  void Drop(bool stands = false);

  // After each taking of the lock: takes back the update that was broken off, if there is one, when
  // its file is found under its path, and sets the record aside when not.
  // False if the record itself cannot be had.
  bool Settle(Host& host);
  // Instead of that, for a file that others may have changed since: nothing kept before counts for
  // it. `host` has no memory; what is owed to other files waits for the next Settle.
  void StartAnew(Host& host);
  // Whether anything is set aside, and whether a broken update of this file is among it.
  bool OwesAnybody() const { return board != nullptr && board->aside != 0; }
  bool Owes(const platform::FileIdentity& file) const { return AreaOf(file) != 0; }
  // Takes that back. `file` may be written, or is null; then it is looked for under `path` and
  // where the update had found it. False if that could not be done now.
  bool Mend(const platform::FileIdentity& identity, VirtualFile* file, const std::string& path);
  // A file that has just been made owes nothing, whatever file its identity was once of, and who
  // has seen that one has not seen this.
  void Forget(const platform::FileIdentity& file);

  // The file's count of changes, odd from Begin to Drop and while anything of the file is set
  // aside; null if there is none in common. Made even if nobody is left who would. REQUIRES: the
  // lock is held.
  ChangeCount* CountOf(const platform::FileIdentity& file);

 private:
  struct Held {
    platform::FileIdentity file;
    std::uint64_t order;  // the later record has the higher number
    std::uint64_t bytes;  // known when it is set aside
  };
  struct Board {
    std::uint32_t layout;
    std::uint32_t active;  // the area of the record in work; 0: none
    std::uint32_t aside;   // bit n: area n holds a record that was set aside
    std::uint32_t cuts;
    std::uint64_t order;  // of the latest record
    std::array<Held, Host::Areas> held;
  };

  bool KeepsInOwnMemory() const {
    return board != nullptr && inOwnMemory && (board->active != 0 || board->aside != 0);
  }
  std::byte* Memory(unsigned area, std::size_t bytes);
  std::byte* BeginStretch(std::uint64_t offset, std::size_t length);
  UndoRecord* RecordIn(unsigned area);
  unsigned AreaOf(const platform::FileIdentity& file) const;
  bool IsAside(unsigned area) const { return (board->aside >> area & 1) != 0; }
  bool TakeBack(unsigned area, const UndoRecord& broken, const std::string& path);
  void SetAside();
  void BeginChange(const platform::FileIdentity& file);
  void TellOf(const UndoRecord& broken);
  void EndChange(const platform::FileIdentity& file) { EndChange(ChangeCount::Of(*host, file)); }
  void EndChange(ChangeCount* count);
  bool HasWork(const ChangeCount* count) const;
  bool ForgetOldest();
  void ForgetAside(unsigned area);

  Host* host = nullptr;
  Board* board = nullptr;
  UndoRecord* record = nullptr;  // of the update that goes on
  bool inOwnMemory = false;
  // The order of the latest record, if its update was made here and stands. 0: it was not, or does
  // not.
  std::uint64_t standing = 0;
  Change change;  // that began last
  using OwnMemory = std::array<std::vector<std::byte>, Host::Areas>;
  OwnMemory ownMemory;
  OwnMemory waiting;                 // of what is owed to files of another host
  const Host* waitingFor = nullptr;  // which; null if nothing is owed there
};

}  // namespace store
