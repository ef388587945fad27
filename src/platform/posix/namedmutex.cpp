// The named mutex: a robust mutex in a file of shared memory that belongs to the user. The file
// gets its name only when it is complete, so whoever opens it by name finds a working mutex.
//
// The file is a head, the open memory, then the areas. Of each area only what the head counts as
// backed is really there: it is asked for with fallocate, since touching a page for which there is
// no room would kill the process.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // O_TMPFILE, fallocate, pthread_mutex_clocklock
#endif
#include "platform/namedmutex.h"

#include <fcntl.h>
#include <linux/falloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <new>
#include <optional>
#include <thread>
#include <vector>

#include "platform/posix/descriptor.h"

namespace platform {
namespace {

constexpr char Folder[] = "/dev/shm";
constexpr std::uint64_t Magic = 0x32785475'4d726f76;
constexpr int OpeningTries = 16;
// Whoever has the mutex open looks this often, in milliseconds, whether its file still has its
// name, and whoever makes the file anew waits longer than that, and than a tick of the clock, ahead
// of giving it the name. So the others have noticed before anybody holds another mutex, but for one
// who is inside all the while.
constexpr std::int64_t LookEvery = 10;
constexpr std::chrono::milliseconds GraceOfMaker(40);

struct Head {
  std::uint64_t magic;
  std::atomic<std::uint32_t> depth;  // how many times the holder has taken it, 0: nobody holds it
  pthread_mutex_t mutex;
  std::atomic<std::uint64_t> backed[MutexMemory::MaxAreas];  // bytes of each that may be touched
};

std::size_t PageSize() {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

std::size_t UpToPage(std::size_t n) { return (n + PageSize() - 1) / PageSize() * PageSize(); }

// What is backed from the start; the open memory begins behind one page.
std::size_t AreasBegin(const MutexMemory& memory) {
  return PageSize() + UpToPage(memory.openBytes);
}

std::size_t FileSize(const MutexMemory& memory) {
  return AreasBegin(memory) + memory.areas * UpToPage(memory.bytesEach);
}

bool InitMutex(pthread_mutex_t& mutex) {
  pthread_mutexattr_t kind;
  if (pthread_mutexattr_init(&kind) != 0) return false;
  const bool done = pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED) == 0 &&
                    pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST) == 0 &&
                    pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                    pthread_mutex_init(&mutex, &kind) == 0;
  pthread_mutexattr_destroy(&kind);
  return done;
}

// The open file and its mapping.
class Segment {
 public:
  // Null: not ours, not whole, or no address space for it.
  static std::unique_ptr<Segment> Map(Descriptor fd, std::size_t size) {
    void* const at = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.Get(), 0);
    if (at == MAP_FAILED) return nullptr;
    return std::make_unique<Segment>(std::move(fd), at, size);
  }

  // `at` is a mapping of `bytes` bytes.
  Segment(Descriptor fd, void* at, std::size_t bytes)
      : descriptor(std::move(fd)), start(at), size(bytes) {}

  // A mapping in which somebody holds the mutex stays: if it is a thread of this process, the
  // kernel must find the mutex when that thread dies.
  ~Segment() {
    if (Shared().depth == 0) munmap(start, size);
  }
  Segment(const Segment&) = delete;
  Segment& operator=(const Segment&) = delete;

  Head& Shared() const { return *static_cast<Head*>(start); }
  std::byte* At(std::size_t offset) const { return static_cast<std::byte*>(start) + offset; }
  int File() const { return descriptor.Get(); }

  // Whether the file has lost its name, as seen not long ago: later openers get another mutex.
  bool Removed() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    const std::int64_t ms = std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
    if (ms - looked.load(std::memory_order_relaxed) < LookEvery) return false;
    struct stat status = {};
    if (fstat(descriptor.Get(), &status) == 0 && status.st_nlink == 0) return true;
    looked.store(ms, std::memory_order_relaxed);
    return false;
  }

 private:
  Descriptor descriptor;
  void* start;
  std::size_t size;
  std::atomic<std::int64_t> looked = -LookEvery;
};

// Makes a whole file and gives it the name `path`, unless somebody else did meanwhile.
bool Create(const std::string& path, const MutexMemory& memory) {
  const std::size_t size = FileSize(memory);
  Descriptor fd = AwayFromStreams(open(Folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (!fd || fchmod(fd.Get(), 0600) != 0 || ftruncate(fd.Get(), static_cast<off_t>(size)) != 0 ||
      Uninterrupted(
          [&] { return fallocate(fd.Get(), 0, 0, static_cast<off_t>(AreasBegin(memory))); }) != 0) {
    return false;
  }
  const std::string link = "/proc/self/fd/" + std::to_string(fd.Get());
  const auto segment = Segment::Map(std::move(fd), size);
  if (segment == nullptr) return false;
  Head* const head = new (&segment->Shared()) Head{};  // NOLINT: lives in the file
  if (!InitMutex(head->mutex)) return false;
  head->magic = Magic;
  std::this_thread::sleep_for(GraceOfMaker);
  return linkat(AT_FDCWD, link.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0 ||
         errno == EEXIST;
}

// The magic is read, not looked at in the mapping: a foreign file may have no page there.
bool IsOurs(const Descriptor& fd, const struct stat& status, std::size_t size) {
  std::uint64_t magic = 0;
  return S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 07777) == 0600 && static_cast<std::size_t>(status.st_size) == size &&
         pread(fd.Get(), &magic, sizeof magic, 0) == sizeof magic && magic == Magic;
}

std::unique_ptr<Segment> OpenSegment(const std::string& path, const MutexMemory& memory) {
  const std::size_t size = FileSize(memory);
  for (int i = 0; i < OpeningTries; ++i) {
    Descriptor fd = AwayFromStreams(Uninterrupted([&] {
      return open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    }));
    if (!fd) {
      if (errno != ENOENT || !Create(path, memory)) return nullptr;
      continue;
    }
    struct stat status = {};
    if (fstat(fd.Get(), &status) != 0) return nullptr;
    if (status.st_nlink == 0) continue;
    if (!IsOurs(fd, status, size)) return nullptr;
    return Segment::Map(std::move(fd), size);
  }
  return nullptr;
}

timespec Deadline(std::chrono::milliseconds patience) {
  timespec at = {};
  clock_gettime(CLOCK_MONOTONIC, &at);
  const auto ms = std::max<std::chrono::milliseconds::rep>(patience.count(), 0);
  at.tv_sec += ms / 1000;
  at.tv_nsec += ms % 1000 * 1'000'000;
  if (at.tv_nsec >= 1'000'000'000) {
    at.tv_nsec -= 1'000'000'000;
    ++at.tv_sec;
  }
  return at;
}

// By the holder alone.
void Deepen(Head& head, std::uint32_t by) {
  head.depth.store(head.depth.load(std::memory_order_relaxed) + by, std::memory_order_relaxed);
}

// A mutex that is free is had without a look at the clock. `deadline` is set by the first who
// waits.
NamedMutex::Wait LockHead(Head& head, std::chrono::milliseconds patience,
                          std::optional<timespec>& deadline) {
  int answer = pthread_mutex_trylock(&head.mutex);
  if (answer == EBUSY) {
    if (!deadline) deadline = Deadline(patience);
    answer = pthread_mutex_clocklock(&head.mutex, CLOCK_MONOTONIC, &*deadline);
  }
  switch (answer) {
    case 0:
      break;
    case ETIMEDOUT:
      return NamedMutex::Wait::TimedOut;
    case EOWNERDEAD:
      // What a dead holder left half done is the affair of whoever holds the mutex now.
      pthread_mutex_consistent(&head.mutex);
      head.depth = 0;
      break;
    default:
      return NamedMutex::Wait::Failed;
  }
  Deepen(head, 1);
  return NamedMutex::Wait::Had;
}

void UnlockHead(Head& head) {
  Deepen(head, ~std::uint32_t{0});
  pthread_mutex_unlock(&head.mutex);
}

class PosixNamedMutex final : public NamedMutex {
 public:
  PosixNamedMutex(std::string path, const MutexMemory& itsMemory, std::unique_ptr<Segment> first)
      : file(std::move(path)),
        memory(itsMemory),
        pageSize(PageSize()),
        areasBegin(AreasBegin(memory)),
        areaSize(UpToPage(memory.bytesEach)),
        current(first.get()) {
    segments.push_back(std::move(first));
  }

  // A session that ends may clear the folder while we run. Then the mutex that later openers find
  // is another one, and it must be taken instead. A thread that is inside already stays with its
  // own: the check is for the outermost lock alone.
  Wait Lock(std::chrono::milliseconds patience) override {
    std::optional<timespec> deadline;
    for (int i = 0; i < OpeningTries; ++i) {
      Segment* const segment = current;
      Head& head = segment->Shared();
      const Wait answer = LockHead(head, patience, deadline);
      if (answer != Wait::Had || head.depth > 1 || !segment->Removed()) return answer;
      UnlockHead(head);
      if (!Renew(segment)) return Wait::Failed;
    }
    return Wait::Failed;
  }

  void Unlock() override { UnlockHead(current.load()->Shared()); }

  std::byte* Memory(unsigned area) override { return current.load()->At(Begin(area)); }
  std::size_t Backed(unsigned area) const override { return current.load()->Shared().backed[area]; }

  bool Back(unsigned area, std::size_t wanted) override {
    std::atomic<std::uint64_t>& backed = current.load()->Shared().backed[area];
    if (wanted <= backed) return true;
    if (wanted > areaSize) return false;
    const std::size_t end = UpToPage(wanted);
    // Pages left by somebody who died while releasing them must read as zero, too.
    if (!Allocate(area, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, backed, end) ||
        !Allocate(area, 0, backed, end)) {
      return false;
    }
    backed = end;
    return true;
  }

  void Release(unsigned area, std::size_t keep) override {
    std::atomic<std::uint64_t>& backed = current.load()->Shared().backed[area];
    const std::size_t begin = UpToPage(keep);
    const std::size_t end = backed;
    if (begin >= end) return;
    backed = begin;
    Allocate(area, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, begin, end);
  }

  std::byte* OpenMemory() override { return current.load()->At(pageSize); }
  bool StillShares(const void* place) override {
    Segment* const segment = current.load(std::memory_order_relaxed);
    const auto offset =
        reinterpret_cast<std::uintptr_t>(place) - reinterpret_cast<std::uintptr_t>(segment->At(0));
    return offset < areasBegin && !segment->Removed();
  }

 private:
  std::size_t Begin(unsigned area) const { return areasBegin + area * areaSize; }

  bool Allocate(unsigned area, int mode, std::size_t begin, std::size_t end) {
    return Uninterrupted([&] {
             return fallocate(current.load()->File(), mode, static_cast<off_t>(Begin(area) + begin),
                              static_cast<off_t>(end - begin));
           }) == 0;
  }

  // Opens what now has the name. Other threads may still wait in the old mapping, so it is kept.
  bool Renew(const Segment* gone) {
    const std::lock_guard guard(renewing);
    if (current != gone) return true;
    auto fresh = OpenSegment(file, memory);
    if (fresh == nullptr) return false;
    current = fresh.get();
    segments.push_back(std::move(fresh));
    return true;
  }

  std::string file;
  MutexMemory memory;
  std::size_t pageSize;
  std::size_t areasBegin;
  std::size_t areaSize;
  std::atomic<Segment*> current;
  std::mutex renewing;
  std::vector<std::unique_ptr<Segment>> segments;
};

}  // namespace

std::unique_ptr<NamedMutex> OpenNamedMutex(const std::string& name, MutexMemory memory) {
  if (name.find('/') != std::string::npos || memory.areas > MutexMemory::MaxAreas) return nullptr;
  const std::string path = std::string(Folder) + "/kvorlib-" + std::to_string(geteuid()) + "-" +
                           name + ".m" + std::to_string(8 * sizeof(void*)) + "." +
                           std::to_string(memory.areas) + "x" + std::to_string(memory.bytesEach) +
                           "+" + std::to_string(memory.openBytes);
  auto segment = OpenSegment(path, memory);
  if (segment == nullptr) return nullptr;
  return std::make_unique<PosixNamedMutex>(path, memory, std::move(segment));
}

}  // namespace platform
