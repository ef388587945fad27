// The undo record: a head that says which file is meant, then the stretches kept, one behind the
// other. A stretch counts only when `used` has moved behind it, and all count only while `active`
// is set, so that a process may die between any two instructions.
#include "store/undo.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>

namespace store {

namespace {

constexpr std::size_t PathLimit = 4096;
constexpr std::size_t KeptBacked = 256U << 10;  // more than an update of tree pages ever needs

// Says that something is kept, and in which layout: the memory outlives the program that wrote to
// it, and a record in the layout of another build is not to be understood.
constexpr std::uint32_t ActiveMark = 0x756E6401;

struct Head {
  std::uint32_t active;  // ActiveMark, or 0
  std::uint32_t pathLength;
  std::uint64_t used;  // bytes of stretches behind the head
  std::uint64_t fileSize;
  platform::FileIdentity identity;
  std::uint32_t saving;  // pageAfter is filled
  std::uint8_t pageBefore[PageSize];
  std::uint8_t pageAfter[PageSize];
  char path[PathLimit];
};

struct Stretch {
  std::uint64_t offset;
  std::uint64_t length;  // bytes that follow
};

Head& HeadAt(std::byte* memory) { return *reinterpret_cast<Head*>(memory); }

std::size_t SizeOf(std::uint64_t length) {
  return sizeof(Stretch) + ((static_cast<std::size_t>(length) + 7) & ~std::size_t{7});
}

// Whether page 0 of the file is as the update found it, as it was going to leave it, or on the way
// from the one to the other. A file that was written over in place keeps its identity, not this.
// Nothing if it cannot be read now.
std::optional<bool> HasPageZeroOf(const Head& head, VirtualFile& file) {
  std::array<std::uint8_t, PageSize> page;
  const std::ptrdiff_t got = file.Read(0, page.data(), page.size());
  if (got < 0) return std::nullopt;
  if (got != static_cast<std::ptrdiff_t>(page.size())) return false;
  for (std::size_t i = 0; i < page.size(); ++i) {
    const bool known =
        page[i] == head.pageBefore[i] || (head.saving != 0 && page[i] == head.pageAfter[i]);
    if (!known) return false;
  }
  return true;
}

// Whether a file that fails to open so will not be had by trying again.
bool OutOfReach(int error) {
  return error == ENOENT || error == ENOTDIR || error == EACCES || error == EROFS;
}

template <typename T>
void Publish(T& field, T value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_seq_cst);
}

}  // namespace

bool UndoLog::InOwnMemory() const { return !ownMemory.empty() && memory == ownMemory.data(); }

// A record goes on where it was begun, even if the other kind of memory comes or goes meanwhile.
std::byte* UndoLog::Memory(std::size_t bytes) {
  if (!InOwnMemory() || !Active()) {
    if (std::byte* const shared = host->LockedMemory(bytes); shared != nullptr) return shared;
  }
  if (memory != nullptr && !InOwnMemory()) return nullptr;
  if (ownMemory.size() < bytes) ownMemory.resize(bytes);
  return ownMemory.data();
}

void UndoLog::Attach(Host& current) {
  if (host != &current) memory = nullptr;
  host = &current;
  std::byte* const first = Memory(sizeof(Head));
  memory = first != nullptr ? first : memory;
}

bool UndoLog::Active() const { return memory != nullptr && HeadAt(memory).active == ActiveMark; }

bool UndoLog::Begin(const Subject& subject, VirtualFile& file) {
  std::byte* const block = Memory(KeptBacked);
  if (block == nullptr) return false;
  memory = block;
  Head& head = HeadAt(memory);
  head.used = 0;
  head.fileSize = subject.size;
  head.identity = subject.identity;
  const bool fits = subject.path.size() <= PathLimit;
  head.pathLength = fits ? static_cast<std::uint32_t>(subject.path.size()) : 0;
  std::memcpy(head.path, subject.path.data(), head.pathLength);
  head.saving = 0;
  const auto wanted = static_cast<std::ptrdiff_t>(PageSize);
  if (file.Read(0, head.pageBefore, PageSize) != wanted) return false;
  Publish(head.active, ActiveMark);
  return true;
}

void UndoLog::Announce(const Page& page) {
  Head& head = HeadAt(memory);
  Publish(head.saving, std::uint32_t{0});
  std::copy(page.begin(), page.end(), head.pageAfter);
  Publish(head.saving, std::uint32_t{1});
}

bool UndoLog::Keep(VirtualFile& file, std::uint64_t offset, std::size_t length) {
  const std::uint64_t fileSize = HeadAt(memory).fileSize;
  if (offset >= fileSize) return true;
  const std::uint64_t kept = std::min<std::uint64_t>(length, fileSize - offset);
  const std::size_t at = sizeof(Head) + static_cast<std::size_t>(HeadAt(memory).used);
  std::byte* const block = Memory(at + SizeOf(kept));
  if (block == nullptr) return false;
  memory = block;
  const Stretch stretch{offset, kept};
  std::memcpy(memory + at, &stretch, sizeof stretch);
  const auto wanted = static_cast<std::ptrdiff_t>(kept);
  if (file.Read(offset, memory + at + sizeof stretch, static_cast<std::size_t>(kept)) != wanted) {
    return false;
  }
  Publish(HeadAt(memory).used, HeadAt(memory).used + SizeOf(kept));
  return true;
}

bool UndoLog::PutBack(VirtualFile& file) {
  const Head& head = HeadAt(memory);
  const std::byte* const first = memory + sizeof(Head);
  std::vector<std::uint64_t> starts;  // the oldest bytes of a place were kept first, and win
  for (std::uint64_t at = 0; at + sizeof(Stretch) <= head.used;) {
    Stretch stretch;
    std::memcpy(&stretch, first + at, sizeof stretch);
    if (stretch.length > head.used - at - sizeof(Stretch)) break;
    starts.push_back(at);
    at += SizeOf(stretch.length);
  }
  for (auto start = starts.rbegin(); start != starts.rend(); ++start) {
    Stretch stretch;
    std::memcpy(&stretch, first + *start, sizeof stretch);
    if (!file.Write(stretch.offset, first + *start + sizeof stretch,
                    static_cast<std::size_t>(stretch.length))) {
      return false;
    }
  }
  const std::int64_t size = file.Size();
  if (size < 0) return false;
  return static_cast<std::uint64_t>(size) <= head.fileSize || file.Truncate(head.fileSize);
}

void UndoLog::Drop() {
  if (!Active()) return;
  const bool large = HeadAt(memory).used + sizeof(Head) > KeptBacked;
  Publish(HeadAt(memory).active, std::uint32_t{0});
  if (large && memory != ownMemory.data()) host->TrimLockedMemory(KeptBacked);
}

bool UndoLog::Recover(Host& current) {
  Attach(current);
  if (!Active()) return true;
  const Head& head = HeadAt(memory);
  // What the dead one had backed is mapped here too.
  std::byte* const block = Memory(sizeof(Head) + static_cast<std::size_t>(head.used));
  if (block == nullptr) return false;
  memory = block;
  int error = 0;
  const std::string path(HeadAt(memory).path, HeadAt(memory).pathLength);
  const auto file =
      current.Open(path, platform::OpenMode::ReadWrite, platform::Sharing::All, error);
  if (file == nullptr && !OutOfReach(error)) return false;
  if (file != nullptr) {
    platform::FileIdentity identity;
    if (!file->Identity(identity)) return false;
    const auto same = identity == HeadAt(memory).identity ? HasPageZeroOf(HeadAt(memory), *file)
                                                          : std::optional(false);
    if (!same || (*same && !PutBack(*file))) return false;
  }
  Drop();
  return true;
}

}  // namespace store
