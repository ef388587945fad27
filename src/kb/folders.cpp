// Folders: the library's own, searching, making, clearing. Inside, paths are UTF-8 and names are
// the system's bytes, so that a name which is no UTF-8 is searched and deleted like any other.
#include <cerrno>
#include <string>
#include <vector>

#include "kb/pathtext.h"
#include "kvorlib/filehelpers.h"
#include "platform/folder.h"
#include "platform/path.h"

namespace {

// The other bound, the system's own, is lower wherever it is known.
constexpr std::size_t LongestFullPath = 16000;

// What stands before the separator at `at`; the root if nothing does.
template <typename Text>
Text Before(const Text& path, std::size_t at) {
  return path.substr(0, at == 0 ? 1 : at);
}

enum class WhereNothingFits { GoBelow, StopThere };

bool Search(std::vector<std::string>& found, const std::string& folder, const std::string& mask,
            bool recursive, WhereNothingFits none) {
  // Up to the first zero character: the system would search the same folder for ever below it.
  std::string start = *folder.c_str() == '\0' ? "." : folder.c_str();
  if (start.back() == '/') start.pop_back();
  start += '/';

  std::vector<platform::FolderEntry> entries;
  const int error = platform::SearchFolder(start, mask, entries);
  for (const platform::FolderEntry& entry : entries) {
    if (entry.isFolder || entry.isLinkToFolder) continue;
    const std::string path = start + entry.name;
    const auto full = platform::FullPath(path);
    found.push_back(full && full->size() < LongestFullPath ? *full : path);
  }
  if (error != 0 && error != ENOENT) return false;
  if (error == ENOENT && none == WhereNothingFits::StopThere) return true;
  if (!recursive) return true;

  entries.clear();
  platform::SearchFolder(start, "*", entries);
  for (const platform::FolderEntry& entry : entries)
    if (entry.isFolder) Search(found, start + entry.name, mask, recursive, none);
  return true;
}

// True only if there was no such folder.
bool Clear(const std::string& folder, bool removeSelf) {
  std::vector<platform::FolderEntry> entries;
  platform::SearchFolder(folder + '/', "*", entries);
  bool left = false;
  for (const platform::FolderEntry& entry : entries) {
    const std::string path = folder + '/' + entry.name;
    if (entry.isFolder) {
      left |= !Clear(path, true);
    } else {
      left |= platform::RemoveName(path) == EACCES;
    }
  }
  if (left) return false;
  return !removeSelf || platform::RemoveFolder(folder) == ENOENT;
}

}  // namespace

std::u16string GetExecPath() {
  const std::string& file = platform::LibraryFile();
  const std::size_t separator = file.rfind('/');
  return separator == std::string::npos ? std::u16string() : kb::WidePath(Before(file, separator));
}

bool SearchFiles(std::vector<std::u16string>& found, std::u16string path, bool recursive) {
  const std::size_t separator = path.rfind(u'/');
  if (separator == std::u16string::npos) return SearchFiles(found, u".", path, recursive);
  const std::u16string mask = path.substr(separator + 1);
  path = Before(path, separator);
  return SearchFiles(found, path, mask, recursive);
}

bool SearchFiles(std::vector<std::u16string>& found, const std::u16string& folder,
                 const std::u16string& mask, bool recursive) {
  std::vector<std::string> paths;
  const bool answer = Search(paths, kb::NarrowPath(folder), kb::NarrowPath(mask), recursive,
                             WhereNothingFits::GoBelow);
  for (const std::string& path : paths) found.push_back(kb::WidePath(path));
  return answer;
}

bool SearchFiles(std::vector<std::string>& found, const std::string& folder,
                 const std::string& mask, bool recursive) {
  return Search(found, folder, mask, recursive, WhereNothingFits::StopThere);
}

bool MakeDir(const std::u16string& folder, const std::u16string& stop) {
  const std::string name = kb::NarrowPath(folder);
  bool isFolder = false;
  const int error = platform::IsFolder(name, isFolder);
  if (error == 0) return isFolder;
  const std::size_t separator = folder.rfind(u'/');
  if (error != ENOENT || separator == std::u16string::npos) return false;
  const std::u16string parent = Before(folder, separator);
  // The folder to stop at guards this level alone: above it everything may be made.
  if (parent == stop || !MakeDir(parent, u"")) return false;
  const int made = platform::MakeFolder(name);
  // Another process may have been faster. With a separator at the end it was the line above.
  if (made == EEXIST && separator + 1 < folder.size()) platform::IsFolder(name, isFolder);
  return made == 0 || isFolder;
}

bool ClearFolder(const std::u16string& folder, bool removeSelf) {
  const std::string name = kb::NarrowPath(folder);
  // No name is no folder, and must not become the root by the separator behind it.
  return name.empty() || Clear(name, removeSelf);
}
