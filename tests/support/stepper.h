// A process under single steps, and pictures of the files that would outlive it: so that a test can
// look what would become of these files if the process died behind any of its stores. Linux alone.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Files as they are on disk and in the mappings of all processes. They keep their identity: they
// are looked at and put back where they lie.
class Scene {
 public:
  struct Stretch {
    std::size_t offset;
    std::string bytes;
  };
  struct Picture {
    std::size_t size = 0;
    long blocks = 0;
    std::vector<Stretch> stretches;  // what is not a hole
  };
  using Pictures = std::vector<Picture>;

  Scene() = default;
  ~Scene() { Clear(); }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  // False: it cannot be opened or mapped. A file is never longer than `most` bytes.
  bool Add(const std::string& path, std::size_t most);
  void Clear();
  Pictures Take() const;
  bool Is(const Pictures& pictures) const;
  void PutBack(const Pictures& pictures) const;
  // The four bytes at this place of the file that was added as number `file`.
  std::uint32_t& Word(std::size_t file, std::size_t offset) const;

 private:
  struct File {
    int fd;
    std::byte* start;
    std::size_t most;
  };
  using Extents = std::vector<std::pair<std::size_t, std::size_t>>;  // begin, end
  static Extents ExtentsOf(const File& file, std::size_t size);
  static bool Is(const File& file, const Picture& picture);

  std::vector<File> files;
};

// A child that stands still but for its steps, from when it has called StandStill until it calls it
// again.
class SteppedProcess {
 public:
  // Why processes cannot be stepped here; nothing if they can.
  static std::optional<std::string> Refusal();

  explicit SteppedProcess(const std::function<void()>& life);  // comes to its first standstill
  ~SteppedProcess();                                           // killed
  SteppedProcess(const SteppedProcess&) = delete;
  SteppedProcess& operator=(const SteppedProcess&) = delete;

  // To be called by the child.
  static void StandStill();

  pid_t Id() const { return pid; }
  // One instruction, or, if it repeats itself, one round of it; all rounds where it only stores to
  // what is the child's alone. False: the child stands still again, or is gone.
  bool Step();
  // Whether it stood still and has not died of anything.
  bool IsWell() const { return well; }

 private:
  bool Stop(int request);
  bool FinishRepeating();
  bool IsShared(unsigned long address) const;

  pid_t pid;
  long at = 0;  // the instruction that is next
  bool well = false;
};
