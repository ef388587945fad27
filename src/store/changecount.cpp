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

// Nobody changes a page whose version is even: those have nothing to end.
void ChangeCount::EndAll() {
  count.store(count.load(std::memory_order_relaxed) | 1U, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
  for (auto& version : versions) {
    const std::uint64_t now = version.load(std::memory_order_relaxed);
    if (!IsStable(now)) version.store(now + 1, std::memory_order_release);
  }
  count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

void Change::Begin(ChangeCount* itsCount) {
  count = itsCount;
  told = 0;
  if (count == nullptr) return;
  const std::uint64_t now = count->count.load(std::memory_order_relaxed);
  isAlone = ChangeCount::IsStable(now);
  count->count.store(now | 1U, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
}

void Change::Tell(std::uint16_t page) {
  if (count == nullptr) return;
  const std::size_t index = ChangeCount::IndexOf(page);
  const std::uint64_t now = count->versions[index].load(std::memory_order_relaxed);
  if (!ChangeCount::IsStable(now)) return;
  indices[told++] = static_cast<std::uint16_t>(index);
  count->versions[index].store(now + 1, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
}

void Change::TellOfAll() {
  for (std::uint16_t page = 0; page <= ChangeCount::Versions; ++page) Tell(page);
}

void Change::End() {
  if (count == nullptr) return;
  if (!isAlone) {
    count->EndAll();
    return;
  }
  for (std::size_t i = 0; i < told; ++i) {
    std::atomic<std::uint64_t>& version = count->versions[indices[i]];
    version.store(version.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  }
  told = 0;
  count->count.store(count->count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

}  // namespace store
