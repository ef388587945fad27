// The handler, the table in which it finds the mappings, and mapping itself. Handler and table are
// the process' own for lack of any other: a signal has no other place to go to. The handler comes
// with the first mapping and goes, if nobody has put another one over it, with the library.
#include "platform/posix/guardedmapping.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <mutex>

namespace platform {
namespace {

constexpr std::size_t MostMappings = 1024;  // the others do without

using Places = std::array<GuardedMapping::Place, MostMappings>;

// Made of zeros before the program runs, and never destroyed: the handler may look at it any time.
constinit Places places{};
constinit struct sigaction before {};
constinit std::size_t pageSize = 0;

bool MapZeros(std::byte* at, std::size_t size) {
  return mmap(at, size, PROT_READ | PROT_WRITE,
              MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE, -1, 0) != MAP_FAILED;
}

// Zeros from the page of this address on to the end of its mapping. Only calls that a handler may
// make; a mapping is not unmapped while it is touched.
bool PutZerosAt(const void* address) {
  for (GuardedMapping::Place& place : places) {
    std::byte* const start = place.start.load(std::memory_order_acquire);
    const std::size_t size = place.size.load(std::memory_order_acquire);
    const auto offset =
        reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(start);
    if (start == nullptr || offset >= size) continue;
    const std::size_t from = offset & ~(pageSize - 1);
    place.faulted.store(true, std::memory_order_release);
    // A system that sets memory aside for every promise may refuse the rest; a page is had, and the
    // next one when it is touched.
    return MapZeros(start + from, size - from) || MapZeros(start + from, pageSize);
  }
  return false;
}

// What would have become of the signal without us. An access that failed would be made again and
// again if nobody took the process down: the system itself does not let it be ignored, nor does it
// call a handler twice that is for one signal only.
void PassOn(int number, siginfo_t* info, void* context) {
  const bool failedAccess = info->si_code > 0;
  const bool hasHandler = (before.sa_flags & SA_SIGINFO) != 0 ||
                          (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN);
  if (hasHandler && (before.sa_flags & static_cast<int>(SA_RESETHAND)) != 0) {
    signal(number, SIG_DFL);
  }
  if ((before.sa_flags & SA_SIGINFO) != 0) {
    before.sa_sigaction(number, info, context);
  } else if (hasHandler) {
    before.sa_handler(number);
  } else if (before.sa_handler == SIG_DFL || failedAccess) {
    // It comes again when this handler returns.
    signal(number, SIG_DFL);
    raise(number);
  }
}

void OnBusError(int number, siginfo_t* info, void* context) {
  const int error = errno;
  const bool ours = info->si_code > 0 && PutZerosAt(info->si_addr);
  if (!ours) PassOn(number, info, context);
  errno = error;
}

class Handler {
 public:
  Handler() {
    pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    // The one that was there is known before it may be asked for, and runs as it would have.
    if (sigaction(SIGBUS, nullptr, &before) != 0) return;
    struct sigaction ours = {};
    ours.sa_sigaction = OnBusError;
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART | (before.sa_flags & SA_NODEFER);
    ours.sa_mask = before.sa_mask;
    installed = sigaction(SIGBUS, &ours, nullptr) == 0;
  }
  ~Handler() {
    struct sigaction now = {};
    if (!installed || sigaction(SIGBUS, nullptr, &now) != 0) return;
    if ((now.sa_flags & SA_SIGINFO) != 0 && now.sa_sigaction == OnBusError) {
      sigaction(SIGBUS, &before, nullptr);
    }
  }
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;
  bool Installed() const { return installed; }

 private:
  bool installed = false;
};

bool HandlerIsThere() {
  static const Handler handler;
  return handler.Installed();
}

// Where a process is given only so much address space, its memory needs it more.
bool AddressesAreLimited() {
  rlimit limit = {};
  return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

GuardedMapping::Place* TakePlace(std::byte* start, std::size_t size) {
  static std::mutex taking;
  const std::lock_guard guard(taking);
  for (GuardedMapping::Place& place : places) {
    if (place.start != nullptr) continue;
    place.faulted = false;
    place.size = size;
    place.start = start;
    return &place;
  }
  return nullptr;
}

}  // namespace

bool GuardedMapping::Map(int fd, std::size_t size, bool writable) {
  if (AddressesAreLimited() || !HandlerIsThere()) return false;
  const int rights = writable ? PROT_READ | PROT_WRITE : PROT_READ;
  const int again = start != nullptr ? MAP_FIXED : 0;
  void* const at = mmap(start, size, rights, MAP_SHARED | again, fd, 0);
  if (at == MAP_FAILED) return false;
  start = static_cast<std::byte*>(at);
  if (place == nullptr) place = TakePlace(start, size);
  if (place == nullptr) {
    munmap(at, size);
    start = nullptr;
    return false;
  }
  place->faulted = false;
  return true;
}

void GuardedMapping::Unmap() {
  if (place == nullptr) return;
  const std::size_t size = place->size;
  place->start = nullptr;
  munmap(start, size);
  place = nullptr;
  start = nullptr;
}

}  // namespace platform
