// Whole files by descriptor, as callers of the library hand them in. A port owes exactly what this
// header says. Each function answers whether it worked, with the reason in errno if not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform {

// Closes a descriptor when its owner goes. -1 is none.
class FileNumber {
 public:
  explicit FileNumber(int fd) : number(fd) {}
  ~FileNumber();
  FileNumber(const FileNumber&) = delete;
  FileNumber& operator=(const FileNumber&) = delete;

  int Get() const { return number; }

 private:
  int number;
};

// Open `path` (UTF-8) in binary mode; -1 on failure. Never waits for the other end of a pipe; not
// inherited by started processes. The second makes the file if it is missing, for everybody that
// the user's mask admits, and leaves the content of one that is there. The third makes it for its
// owner alone, and empties one that is there.
int OpenToRead(const std::string& path);
int OpenToOverwrite(const std::string& path);
int OpenToReplace(const std::string& path);

// To the start of the file; fails for what has no start, such as a pipe.
bool Rewind(int fd);
// The length, or -1.
std::int64_t SizeOf(int fd);
// Reads or writes exactly `n` bytes from where the descriptor stands. Interrupted calls go on.
bool ReadAll(int fd, char* out, std::size_t n);
bool WriteAll(int fd, const char* bytes, std::size_t n);
// Cuts or extends the file, by zero bytes.
bool ChangeSize(int fd, std::int64_t size);
// Cuts the file where the descriptor stands.
bool CutHere(int fd);
// Waits until what was written is on the disk; true also for what lies on none.
bool Commit(int fd);

// Locks the first `n` bytes against LockStart through other descriptors, here and in other
// processes: for this descriptor alone if it may write, shared with other readers if not. Tries ten
// times, a second apart. Nothing to lock, and a file system without locks, count as success. Ends
// with the descriptor at the latest.
bool LockStart(int fd, std::int64_t n);
bool UnlockStart(int fd, std::int64_t n);

}  // namespace platform
