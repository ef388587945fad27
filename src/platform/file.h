// Files as the store needs them. A port owes exactly what this header says.
//
// Failures are `errno` values (ENOENT, EMFILE, ENOSPC, EACCES, …) on every platform.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace platform {

enum class OpenMode {
  ReadOnly,
  ReadWrite,
  CreateNew,     // reading and writing; the file must not be there yet (EEXIST)
  CreateAppend,  // reading, and writing at the end whatever the offset; made when missing
};

enum class Sharing {
  All,   // other holders may read and write, but nobody deletes the file while it is open
  None,  // no other holder at all: a second opening fails with EACCES; not with ReadOnly
};

// Tells one file from another whatever its name; two open files are the same exactly when equal.
// The system may give the index of a deleted file to a new one: then `born` tells them apart.
struct FileIdentity {
  std::uint64_t volume = 0;
  std::uint64_t index = 0;
  std::uint64_t born = 0;  // a moment; 0 where the file system does not keep it
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Who else may use a file at the same time, by what its owner, its mode and its file system say.
enum class Company {
  Own,      // it is this user's, and nobody else may read it or write it
  Readers,  // it is this user's, and others may read it
  Writers,  // others may write it, or it is another user's, or other machines reach it
};

// The group and the mode of a file, which admit others than its owner; of none: 0.
struct Rights {
  std::uint32_t group = 0;
  std::uint32_t mode = 0;
};

// How the lock of a file is held: those who look go together, one who changes is alone. That takes
// a file opened for writing.
enum class Hold { Looking, Changing };

// An open file; closed when destroyed. Positions are absolute, there is no file pointer. Binary.
// A file that its owner created may be read and written by the owner alone (mode 0600).
class File {
 public:
  virtual ~File() = default;

  // Reads up to `n` bytes at `offset`. The number read, less than `n` only at the end of the file;
  // -1 on failure, with the code in LastError().
  virtual std::ptrdiff_t Read(std::uint64_t offset, void* out, std::size_t n) = 0;
  // Writes all `n` bytes at `offset`, growing the file as needed; false with LastError(). After a
  // failure any part of them may have been written.
  virtual bool Write(std::uint64_t offset, const void* bytes, std::size_t n) = 0;
  // The length in bytes, or -1 with LastError().
  virtual std::int64_t Size() = 0;
  virtual bool Truncate(std::uint64_t size) = 0;
  virtual bool Identity(FileIdentity& identity) = 0;

  // `n` bytes at `offset` where they lie, for looking at; they follow the file as it changes, and
  // stay there until the file is closed. Null: they are not to be had so, or the file is not as
  // long; Read tells which. When bytes handed out so cannot be had after all, because somebody cut
  // the file or the disk fails, they look like zeros, and Sound() is false from then on. What was
  // made of them meanwhile is nothing, and no View is given, until Renew.
  virtual const std::byte* View(std::uint64_t /*offset*/, std::size_t /*n*/) { return nullptr; }
  // Of how many bytes from the start a View would be had as things are known, without asking how
  // long the file is by now.
  virtual std::uint64_t Viewable() const { return 0; }
  virtual bool Sound() const { return true; }
  virtual void Renew() {}
  // As View, for storing: what is stored there is in the file at once. Null also for a file that
  // may not be written. What is stored where the bytes could not be had after all is lost.
  virtual std::byte* Place(std::uint64_t /*offset*/, std::size_t /*n*/) { return nullptr; }
  // Makes the file as long as that, by zeros, so that Write will find room for what lies within: a
  // full disk fails here. False where there is no View, and when it failed; the file may be longer
  // by some of it then. A file that is as long already stays as it is.
  virtual bool Extend(std::uint64_t /*size*/) { return false; }
  // Somebody may have made the file shorter, but not where anybody looks or will look: how long it
  // is has to be asked for anew.
  virtual void Shrunk() {}

  // As it is when asked; it changes with the file's mode and owner.
  virtual Company WhoElse() { return Company::Own; }

  // What a file that takes this one's place needs, so that it is open to the same people.
  virtual Rights WhoMay() { return {}; }
  // Gives the file such rights; those of the group only if the file can be given to the group. True
  // if that admitted anybody: who opens the file anew then sees how it is to be used.
  virtual bool Grant(const Rights& /*rights*/) { return false; }

  // Keeps out whoever else asks like this for the same file, through another object, be it in
  // another process, of another user, or, where the file system carries locks, on another machine.
  // Not recursive. False: somebody else held it all the time. A file system without such locks
  // answers true.
  virtual bool Lock(Hold, std::chrono::milliseconds /*patience*/) { return true; }
  virtual void Unlock() {}

  // The `errno` of this object's latest failure.
  virtual int LastError() const = 0;
};

// Opens the regular file `path` (UTF-8). Null with `error` set on failure: a folder gives EACCES.
// Interrupted calls are made again; the handle is not inherited by started processes.
std::unique_ptr<File> OpenFile(const std::string& path, OpenMode mode, Sharing sharing, int& error);

// As OpenFile, with the file mapped into memory where that can be done: on a 64-bit system, on a
// local file system known to show one file alike to readers, writers and mappings, and not if
// WhoElse answers Writers. Bytes that the
// file has are then changed in the mapping, and new ones still written, so that a full disk is a
// failed Write. The mapping is made after some Views, so that a file opened for a moment costs no
// more than a plain one.
//
// The signal of an access that fails (SIGBUS) is handled for these mappings alone, from the first
// one on; for any other address the handler that was there before is called. A program that puts
// its own handler over this one and does not pass the signal on, or blocks the signal, ends where
// it meets a cut file.
std::unique_ptr<File> OpenMappedFile(const std::string& path, OpenMode mode, Sharing sharing,
                                     int& error);

// Deletes a file: 0 or an `errno` value. EACCES while anybody, this process included, has it open
// through OpenFile, so that nobody goes on writing to a file that has no name any more.
int RemoveFile(const std::string& path);

// Gives the file `from` the name `to` in place of the file that has it: at any moment whoever opens
// the name gets one of them whole. `from` gets the owner, the group and the mode of `to` first, and
// what it holds is on the disk. 0, or an `errno` value, EPERM when it cannot be given away; `to` is
// as it was then.
int ReplaceFile(const std::string& from, const std::string& to);

// Whether there is anything of this name: a file, a folder or something else, readable or not.
bool FileExists(const std::string& path);

}  // namespace platform
