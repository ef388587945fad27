// A shared mapping of a file whose reading and writing never kills the process.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace platform {

// Bytes of the mapping that the file does not have, or that cannot be read from the disk or written
// there, are found out only when they are touched, by a signal. The handler puts memory of zeros in
// their place and behind them and notes that it did; so the program goes on, and whoever touched
// the bytes asks Faulted() before he believes them.
class GuardedMapping {
 public:
  GuardedMapping() = default;
  ~GuardedMapping() { Unmap(); }
  GuardedMapping(const GuardedMapping&) = delete;
  GuardedMapping& operator=(const GuardedMapping&) = delete;

  // Maps `size` bytes of the file from its start, more than it has if need be. False if that cannot
  // be done. May be called again for the same file: the address stays.
  bool Map(int fd, std::size_t size, bool writable);
  void Unmap();

  std::byte* Start() const { return start; }
  bool Faulted() const {
    std::atomic_signal_fence(std::memory_order_seq_cst);  // asked behind what was touched before
    return place != nullptr && place->faulted.load(std::memory_order_acquire);
  }

  // Where the handler finds a mapping. A place that is free has no start.
  struct Place {
    std::atomic<std::byte*> start;
    std::atomic<std::size_t> size;
    std::atomic<bool> faulted;
  };

 private:
  std::byte* start = nullptr;
  Place* place = nullptr;
};

}  // namespace platform
