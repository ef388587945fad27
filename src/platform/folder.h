// Folders: what is in them, making and removing. A port owes exactly what this header says.
//
// Paths and names are UTF-8; bytes that are no UTF-8 pass as they are. Outcomes are `errno` values,
// 0 for success: ENOENT where there is no such name.
#pragma once

#include <string>
#include <vector>

namespace platform {

struct FolderEntry {
  std::string name;
  bool isFolder = false;  // false for every link, wherever it leads
  bool isLinkToFolder = false;
};

// Adds what is in `folder` and fits `mask` to `found`, by name in the order of bytes, without "."
// and "..". ENOENT when nothing fits, as when there is no such folder; "." and ".." count there, so
// that a mask which they fit, such as "*", finds something in every folder.
//
// In a mask '*' stands for any text and '?' for one character, whatever its number of bytes. The
// case of letters counts where it does for the platform's files. ".*" at the end of a mask fits a
// name without extension too, and so "*.*" fits every name: whoever writes masks relies on that.
int SearchFolder(const std::string& folder, const std::string& mask,
                 std::vector<FolderEntry>& found);

// Whether `path` is a folder or, links followed, leads to one.
int IsFolder(const std::string& path, bool& isFolder);

int MakeFolder(const std::string& path);

// Removes an empty folder; a link to one is not removed.
int RemoveFolder(const std::string& path);

// Deletes a file, or a link and not what it leads to. EACCES when the system forbids it for
// whatever reason, and while anybody has the file open through OpenFile (platform/file.h).
int RemoveName(const std::string& path);

}  // namespace platform
