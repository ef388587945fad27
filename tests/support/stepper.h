// A process under single steps, and pictures of the files that would outlive it: so that a test can
// look what would become of these files if the process died behind any of its stores. Linux alone.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// Files as they are on disk and in the mappings of all processes. They keep their identity: they
// are looked at and put back where they lie.
class Scene {
 public:
  // A file as it was: its size, the blocks that it took, and what was not a hole, by offsets.
  struct Picture {
    std::size_t size = 0;
    long blocks = 0;
    std::vector<std::pair<std::size_t, std::string>> stretches;
  };
  using Pictures = std::vector<Picture>;

  // Of these files, none of which is ever longer than its number of bytes.
  explicit Scene(const std::vector<std::pair<std::string, std::size_t>>& paths);
  ~Scene();
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  Pictures Take() const;
  bool Is(const Pictures& pictures) const;
  void PutBack(const Pictures& pictures) const;
  // The four bytes at this place of the first file.
  std::uint32_t& Word(std::size_t offset) const;

 private:
  struct File {
    int fd;
    std::byte* start;
    std::size_t most;
  };
  static bool Is(const File& file, const Picture& picture);

  std::vector<File> files;
};

// A child that stands still but for its steps, from when it has called StandStill until it calls it
// again.
class SteppedProcess {
 public:
  explicit SteppedProcess(const std::function<void()>& life);  // comes to its first standstill
  ~SteppedProcess();                                           // killed
  SteppedProcess(const SteppedProcess&) = delete;
  SteppedProcess& operator=(const SteppedProcess&) = delete;

  // To be called by the child.
  static void StandStill();

  pid_t Id() const { return pid; }
  // One instruction, or, if it repeats itself, one round of it. False: the child stands still
  // again, or is gone.
  bool Step();
  // Whether it stood still, and has not died of anything since. At first also: it can be stepped.
  bool IsWell() const { return well; }

 private:
  pid_t pid;
  bool well = false;
};
