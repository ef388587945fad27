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

void ChangedPages::Add(std::uint16_t page) {
  for (std::uint16_t& place : pages) {
    if (place == page || pages[0] == All) return;
    if (place == 0) {
      place = page;
      return;
    }
  }
  pages[0] = All;
}

void ChangeCount::BeginChange() {
  count.store(count.load(std::memory_order_relaxed) | 1U, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
  ChangedPages any;
  any.pages[0] = ChangedPages::All;
  Tell(any);
}

void ChangeCount::Tell(const ChangedPages& changed) {
  const std::uint64_t change = count.load(std::memory_order_relaxed) / 2;
  const auto& [first, second, third] = changed.pages;
  notes[change % notes.size()].store(
      change << 48 | std::uint64_t{third} << 32 | std::uint64_t{second} << 16 | first,
      std::memory_order_relaxed);
}

void ChangeCount::EndChange() {
  if (IsStable(Now())) BeginChange();
  count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

}  // namespace store
