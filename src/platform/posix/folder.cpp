// Folders on POSIX systems.
#include "platform/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/file.h"
#include "platform/posix/mask.h"

namespace platform {
namespace {

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

bool HasKind(const struct stat& status, mode_t kind) { return (status.st_mode & S_IFMT) == kind; }

// What vanishes between its listing and this look at it counts as a file.
FolderEntry Describe(int folder, const char* name) {
  FolderEntry entry;
  entry.name = name;
  struct stat status = {};
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return entry;
  entry.isFolder = HasKind(status, S_IFDIR);
  entry.isLinkToFolder = HasKind(status, S_IFLNK) && fstatat(folder, name, &status, 0) == 0 &&
                         HasKind(status, S_IFDIR);
  return entry;
}

}  // namespace

int SearchFolder(const std::string& folder, const std::string& mask,
                 std::vector<FolderEntry>& found) {
  const std::unique_ptr<DIR, FolderCloser> stream(opendir(folder.c_str()));
  if (!stream) return errno;
  const auto already = static_cast<std::ptrdiff_t>(found.size());
  bool fitted = false;
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (!FitsMask(name, mask)) continue;
    fitted = true;
    if (name != "." && name != "..") found.push_back(Describe(dirfd(stream.get()), entry->d_name));
  }
  if (errno != 0) return errno;
  std::sort(found.begin() + already, found.end(),
            [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
  return fitted ? 0 : ENOENT;
}

int IsFolder(const std::string& path, bool& isFolder) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return errno;
  isFolder = HasKind(status, S_IFDIR);
  return 0;
}

int MakeFolder(const std::string& path) { return mkdir(path.c_str(), 0777) == 0 ? 0 : errno; }

int RemoveFolder(const std::string& path) { return rmdir(path.c_str()) == 0 ? 0 : errno; }

int RemoveName(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return errno;
  // A link's name says nothing about who has the file open that it leads to.
  int error = 0;
  if (HasKind(status, S_IFREG)) {
    error = RemoveFile(path);
  } else if (unlink(path.c_str()) != 0) {
    error = errno;
  }
  const bool forbidden = error == EPERM || error == EROFS || error == EISDIR || error == EBUSY;
  return forbidden ? EACCES : error;
}

}  // namespace platform
