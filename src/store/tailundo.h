// Undo for a file that processes of several users change, who have no memory in common: what an
// update overwrites is kept in the file itself, behind the last page that any file can have. Such a
// tail is there only while an update goes on, or when its process died: then whoever has the file
// locked next puts everything back, which cuts the tail off.
//
// To readers of the format it is a file that goes on behind its last page, which they do not mind.
#pragma once

#include <cstdint>

#include "store/page.h"
#include "store/undorecord.h"

namespace store {

class TailUndo {
 public:
  static constexpr std::uint64_t Place = std::uint64_t{MaxPages} * PageSize;

  // Nothing is kept so far; nor is there anything in the file.
  void Forget() { *this = {}; }
  // Of a file as long as this.
  void Begin(std::uint64_t size);
  // Before each write, which will end at `end`: all that the record has by now is kept in the file,
  // too. False: it could not be, and nothing must be written.
  bool Keep(VirtualFile& file, const UndoRecord& record, std::uint64_t end);
  // The file has been cut to its former length; the update may write again.
  void WasCut() { keptUsed = keptSaving = 0, begun = false, length = formerLength; }
  // The update stands: the file is cut to what belongs to it.
  bool Drop(VirtualFile& file);

  // ---- After a death; under the file's lock, as those who change have it ----

  static bool IsIn(VirtualFile& file);
  // False if it could not be put back now.
  static bool TakeBackIn(VirtualFile& file);

 private:
  std::uint64_t formerLength = 0;
  std::uint64_t length = 0;  // without the tail
  std::uint64_t keptUsed = 0;
  std::uint32_t keptSaving = 0;
  bool begun = false;  // there is a tail
};

}  // namespace store
