// The table of open files, and how a long path is shortened for it.
#include "store/openfiles.h"

#include <algorithm>

namespace store {

namespace {

constexpr std::size_t NameLimit = 127;
constexpr const char* Separators = "\\/";

// Where a server name begins: behind the first two separators in a row.
std::size_t BehindDoubleSeparator(const std::string& path) {
  const auto isSeparator = [](char c) { return c == '\\' || c == '/'; };
  const auto both = std::adjacent_find(
      path.begin(), path.end(), [&](char a, char b) { return isSeparator(a) && isSeparator(b); });
  return both == path.end() ? 0 : static_cast<std::size_t>(both - path.begin()) + 2;
}

}  // namespace

std::optional<std::string> NameForTable(const std::string& path) {
  if (path.size() <= NameLimit) return path;
  std::size_t start = BehindDoubleSeparator(path);
  while (path.size() - start > NameLimit) {
    const std::size_t separator = path.find_first_of(Separators, start);
    if (separator == std::string::npos) return std::nullopt;
    start = separator + 1;
  }
  return path.substr(start);
}

int OpenFiles::FreeNumber() const {
  const auto free = std::find_if(entries.begin(), entries.end(), [](const UdbFile& entry) {
    return entry.fd == nullptr && !entry.lost;
  });
  return free == entries.end() ? -1 : static_cast<int>(free - entries.begin());
}

void OpenFiles::Free(UdbFile& entry) {
  entry.fd.reset();
  entry.journalFd.reset();
  entry.lost = false;
  entry.seen.known.Clear();
  entry.seen.orders.Clear();
  entry.seen.Forget();
  entry.seen.copy = {};
  entry.seen.pages = nullptr;
}

void OpenFiles::FreeAll() {
  for (UdbFile& entry : entries) {
    Free(entry);
    entry = UdbFile();
    entry.seen.known.KeepIn(directoryMemory);
    entry.seen.orders.KeepIn(directoryMemory);
  }
}

}  // namespace store
