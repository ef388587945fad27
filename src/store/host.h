// What the store asks of the system below it: files, one lock, and memory that outlives a crash.
// The engine reaches them through this interface alone, so that tests can put a host in its place
// that fails at a chosen call.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "platform/file.h"

namespace store {

using VirtualFile = platform::File;

class Host {
 public:
  virtual ~Host() = default;

  virtual std::unique_ptr<VirtualFile> Open(const std::string& path, platform::OpenMode mode,
                                            platform::Sharing sharing, int& error) = 0;
  virtual int Remove(const std::string& path) = 0;  // 0 or an errno value
  // Puts the file `from` in the place of `to`; see platform::ReplaceFile.
  virtual int Replace(const std::string& from, const std::string& to) = 0;
  // The path by which any process finds the file, whatever its current folder.
  virtual std::string Absolute(const std::string& path) { return path; }

  // Takes the lock that guards all store files, waiting up to 10 seconds. Recursive. False: not
  // had. A host that has no lock at all answers true.
  virtual bool Lock() = 0;
  virtual void Unlock() = 0;

  // Memory that is touched only under the lock and is found again by whoever takes the lock from a
  // process that died: at least `bytes` of the area, or null. All zero at first.
  static constexpr unsigned Areas = 9;
  static constexpr std::size_t AreaSize = 20U << 20;
  virtual std::byte* LockedMemory(unsigned area, std::size_t bytes) = 0;
  // The memory of the area behind its first `bytes` is not needed any more.
  virtual void TrimLockedMemory(unsigned area, std::size_t bytes) = 0;

  // The one exception: memory of the lock's sharers, all zero at first, that may be looked at
  // without the lock and is changed only under it. Null: there is none. Another one may be had
  // after the next taking of the lock; this one can still be looked at.
  static constexpr std::size_t OpenMemorySize = 2U << 20;
  virtual std::byte* OpenMemory() { return nullptr; }
  // Whether a place in it is still looked at by all; see platform::NamedMutex.
  virtual bool StillShares(const void* /*place*/) { return true; }
};

// How the system's own host reads and changes files: by calls, or mapped into memory. Both give the
// same files, and processes may use one file in both forms at once.
enum class FileForm { Plain, Mapped };
// Processes guard a file from each other only under the same name of the mutex; null is that of all
// programs.
std::unique_ptr<Host> MakeSystemHost(FileForm form, const char* mutexName = nullptr);

// The host in use; the system's own at first, in the form that KVORLIB_MAPPED_STORE of the build
// says. Setting null puts the system's own back.
// REQUIRES: no store file is open when it is changed.
Host& CurrentHost();
void SetHost(Host* host);

}  // namespace store
