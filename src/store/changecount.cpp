// Finding a file's count, and counting.
#include "store/changecount.h"

namespace store {

ChangeCount* ChangeCount::Of(Host& host, const platform::FileIdentity& file) {
  std::byte* const memory = host.OpenMemory();
  if (memory == nullptr) return nullptr;
  constexpr std::size_t slots = Host::OpenMemorySize / sizeof(ChangeCount);
  const std::uint64_t mixed = (file.index ^ file.volume << 32) * 0x9E3779B97F4A7C15U;
  return reinterpret_cast<ChangeCount*>(memory) + (mixed >> 32) % slots;
}

void ChangeCount::BeginChange() {
  count.store(count.load(std::memory_order_relaxed) | 1U, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_seq_cst);
}

void ChangeCount::EndChange() {
  count.store((count.load(std::memory_order_relaxed) | 1U) + 1, std::memory_order_release);
}

}  // namespace store
