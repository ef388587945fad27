// Keeping of stretches, and putting them back.
#include "store/undorecord.h"

#include <array>
#include <cstring>
#include <vector>

namespace store {

namespace {

struct Stretch {
  std::uint64_t offset;
  std::uint64_t length;  // bytes that follow
};

template <typename Visit>
void ForEachStretch(const UndoRecord& record, Visit visit) {
  const std::byte* const first = reinterpret_cast<const std::byte*>(&record + 1);
  for (std::uint64_t at = 0; at + sizeof(Stretch) <= record.used;) {
    Stretch stretch;
    std::memcpy(&stretch, first + at, sizeof stretch);
    if (stretch.length > record.used - at - sizeof(Stretch)) break;
    visit(at, stretch);
    at += UndoRecord::SizeOf(stretch.length);
  }
}

}  // namespace

std::size_t UndoRecord::SizeOf(std::uint64_t length) {
  return sizeof(Stretch) + ((static_cast<std::size_t>(length) + 7) & ~std::size_t{7});
}

void UndoRecord::Begin(Bytes start, const std::string& where) {
  used = 0;
  fileSize = NotGrown;
  pathLength = where.size() <= PathLimit ? static_cast<std::uint32_t>(where.size()) : 0;
  std::memcpy(path, where.data(), pathLength);
  saving = 0;
  std::memcpy(pageBefore, start.data(), start.size());
  beforeLength = static_cast<std::uint32_t>(start.size());
}

void UndoRecord::BeginAgain() {
  used = 0;
  fileSize = NotGrown;
  std::memcpy(pageBefore, pageAfter, saving);
  saving = 0;
}

// As much of page 0 as changes must be there to be put back, zeros too.
void UndoRecord::Announce(Bytes start) {
  const auto length = static_cast<std::uint32_t>(start.size());
  Publish(saving, std::uint32_t{0});
  if (length > beforeLength) {
    std::memset(pageBefore + beforeLength, 0, length - beforeLength);
    Publish(beforeLength, length);
  }
  std::memcpy(pageAfter, start.data(), length);
  Publish(saving, length);
}

std::byte* UndoRecord::BeginStretch(std::uint64_t offset, std::uint64_t length) {
  std::byte* const at = reinterpret_cast<std::byte*>(this) + Size();
  const Stretch stretch{offset, length};
  std::memcpy(at, &stretch, sizeof stretch);
  return at + sizeof stretch;
}

std::optional<bool> UndoRecord::HasPageZeroOf(VirtualFile& file) const {
  std::array<std::uint8_t, PageSize> page;
  const auto wanted = static_cast<std::ptrdiff_t>(page.size());
  if (file.Read(0, page.data(), page.size()) != wanted) return std::nullopt;
  for (std::size_t i = 0; i < page.size(); ++i) {
    const std::uint8_t before = i < beforeLength ? pageBefore[i] : 0;
    if (page[i] != before && (i >= saving || page[i] != pageAfter[i])) return false;
  }
  return true;
}

std::vector<std::uint16_t> UndoRecord::Pages() const {
  std::vector<std::uint16_t> pages;
  if (saving != 0) pages.push_back(0);
  ForEachStretch(*this, [&](std::uint64_t, const Stretch& stretch) {
    const std::uint64_t end = stretch.offset + stretch.length;
    for (std::uint64_t at = stretch.offset / PageSize; at * PageSize < end && at < MaxPages; ++at) {
      pages.push_back(static_cast<std::uint16_t>(at));
    }
  });
  return pages;
}

bool UndoRecord::PutBack(VirtualFile& file) const {
  const std::byte* const first = reinterpret_cast<const std::byte*>(this + 1);
  std::vector<std::uint64_t> starts;  // the oldest bytes of a place were kept first, and win
  ForEachStretch(*this, [&](std::uint64_t at, const Stretch&) { starts.push_back(at); });
  for (auto start = starts.rbegin(); start != starts.rend(); ++start) {
    Stretch stretch;
    std::memcpy(&stretch, first + *start, sizeof stretch);
    if (!file.Write(stretch.offset, first + *start + sizeof stretch,
                    static_cast<std::size_t>(stretch.length))) {
      return false;
    }
  }
  if (saving != 0 && !file.Write(0, pageBefore, saving)) return false;
  const std::int64_t size = file.Size();
  if (size < 0) return false;
  return static_cast<std::uint64_t>(size) <= fileSize || file.Truncate(fileSize);
}

}  // namespace store
