// What an update overwrites is kept here first, in memory that outlives the process. An update that
// fails puts it back itself; after a process that died, whoever takes the lock next does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "store/host.h"
#include "store/page.h"

namespace store {

// One update at a time, of one file, under the lock. The memory is the host's locked memory, or,
// where the host has none, memory of this process: then a failed update is still taken back, but
// not one whose process was killed.
class UndoLog {
 public:
  // Takes the memory in hand. To be called with each taking of the lock, before anything is kept.
  void Attach(Host& host);

  // Whether something is kept that has been neither put back nor dropped.
  bool Active() const;

  struct Subject {
    const std::string& path;  // absolute
    platform::FileIdentity identity;
    std::uint64_t size;  // of the file before the update
  };
  // Begins to keep. REQUIRES: not Active().
  // False: there is not memory enough, or page 0 could not be read.
  bool Begin(const Subject& subject, VirtualFile& file);
  // Page 0 is about to become this. REQUIRES: Active(), and page 0 is as it was at Begin.
  void Announce(const Page& page);
  // Keeps the bytes of a stretch as they are, so far as they lie within the file of Begin; to be
  // called before they are overwritten. False, with nothing kept, if they could not be read or
  // there is no memory for them.
  bool Keep(VirtualFile& file, std::uint64_t offset, std::size_t length);
  // Puts all that was kept back and the file to its former size. False if that failed; then it all
  // stays kept. It may be done again.
  bool PutBack(VirtualFile& file);
  // Forgets what was kept: the update stands, or has been taken back.
  void Drop();

  // Takes back the update of a process that died in it, if there is one. A file that is gone, or
  // another one under its name or written over it, is let be. False if the file is there and could
  // not be mended.
  bool Recover(Host& host);

 private:
  std::byte* Memory(std::size_t bytes);
  bool InOwnMemory() const;

  Host* host = nullptr;
  std::byte* memory = nullptr;
  std::vector<std::byte> ownMemory;
};

}  // namespace store
