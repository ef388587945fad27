// A host for the store that keeps files in memory, counts the store's calls, and makes a chosen one
// go wrong. A crash is played by taking a picture of all that would outlive the process, failing
// every call from there on, and putting the picture back.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "store/host.h"

class MemoryHost : public store::Host {
 public:
  enum class Fault {
    None,
    Fail,         // the call fails with EIO and does nothing
    Short,        // half of a read comes, half of a write fits (ENOSPC); else as Fail
    Broken,       // this call and all later ones fail, until Heal()
    Crash,        // the process dies here, a write half done; until Restart()
    CrashBehind,  // as Crash, with the call done whole
  };

  struct Contents {
    std::string bytes;
    std::uint64_t index = 0;
    int holders = 0;
    bool exclusive = false;
    bool readOnly = false;  // cannot be opened for writing
    std::string tail{};     // what lies from the end of the longest file on; not all between
  };

  ~MemoryHost() override;

  std::unique_ptr<store::VirtualFile> Open(const std::string& path, platform::OpenMode mode,
                                           platform::Sharing sharing, int& error) override;
  int Remove(const std::string& path) override;
  int Replace(const std::string& from, const std::string& to) override;
  bool Lock() override;
  void Unlock() override;
  std::byte* LockedMemory(unsigned area, std::size_t bytes) override;
  void TrimLockedMemory(unsigned area, std::size_t bytes) override;
  std::byte* OpenMemory() override;
  bool StillShares(const void*) override { return shares; }

  // The call number `nth` from now on, counted from 1, goes wrong in this way.
  void FailCall(int nth, Fault kind);
  void Heal();
  // Puts everything back that outlives a process. REQUIRES: no file is open.
  void Restart();

  int Calls() const { return calls; }
  // Which call went wrong: "read", "write", …; empty if none did.
  const std::string& Struck() const { return struck; }
  int LocksHeld() const { return locks; }
  int FilesOpen() const;
  bool Exists(const std::string& path) const { return files.count(path) != 0; }
  Contents& File(const std::string& path) { return *files.at(path); }
  std::string& Bytes(const std::string& path) { return File(path).bytes; }
  void Put(const std::string& path, const std::string& bytes);
  void Forget(const std::string& path) { files.erase(path); }
  void Rename(const std::string& from, const std::string& to);

  // Files made from now on can be looked at where they lie, as in a mapping, as long as they are
  // no longer than RoomForViews. A look that fails shows zeros.
  static constexpr std::size_t RoomForViews = 2U << 20;
  bool givesViews = false;
  // Called when somebody who reads without the lock asks how far he may look.
  std::function<void()> amidReading;
  bool refuseLock = false;
  bool shares = true;                                  // the open memory
  std::function<bool(platform::Hold)> fileLock;        // asked whether a file's lock is had, if set
  platform::Company company = platform::Company::Own;  // of files opened from now on
  int errorOfFault = EIO;                              // of an opening

 private:
  friend class MemoryFile;

  static std::byte* Area(unsigned area);
  void ClearMemory();

  // Counts a call; whether and how it goes wrong.
  Fault Call(const char* what);
  // How much of `n` such a call gets done, and what there is to do behind that.
  static std::size_t Done(Fault f, std::size_t n);
  bool End(Fault f) {
    if (f >= Fault::Crash) TakePicture();
    return f == Fault::None;
  }
  void TakePicture();

  std::map<std::string, std::shared_ptr<Contents>> files;
  std::uint64_t nextIndex = 1;
  int locks = 0;
  int calls = 0;
  int failAt = 0;
  Fault fault = Fault::None;
  bool dead = false;
  bool pictured = false;
  std::string struck;
  std::map<std::string, std::pair<std::string, std::string>> pictureOfFiles;
  std::array<std::string, Areas> pictureOfMemory;
  std::array<std::size_t, Areas> touched{};  // bytes of each area that were ever asked for
  std::string pictureOfOpenMemory;
};
