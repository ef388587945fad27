// The folder of an HTML log.
#include "diagnostics/logfolder.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include "kvorlib/encoding.h"
#include "platform/folder.h"
#include "platform/stdiofile.h"

namespace diagnostics {
namespace {

std::string Narrow(const std::u16string& path) {
  return w_u8(path.data(), path.data() + path.size());
}

// Read whole before anything is written, so that a file copied over itself stays as it is.
std::optional<std::string> ReadBytes(const std::u16string& path) {
  const platform::Stream file = platform::OpenStream(Narrow(path), "rb");
  if (!file) return std::nullopt;
  std::string bytes;
  char chunk[4096];
  while (const std::size_t count = std::fread(chunk, 1, sizeof chunk, file.get()))
    bytes.append(chunk, count);
  if (std::ferror(file.get()) != 0) return std::nullopt;
  return bytes;
}

using Moment = std::filesystem::file_time_type;

// Nothing if there is no such file.
std::optional<Moment> LastWrite(const std::u16string& path) {
  const std::string name = Narrow(path);
  std::error_code error;
  const Moment moment =
      std::filesystem::last_write_time(std::u8string(name.begin(), name.end()), error);
  if (error) return std::nullopt;
  return moment;
}

void RemoveNumbered(const std::string& kind, const std::string& name) {
  const std::string start = kind + '-';
  std::vector<platform::FolderEntry> found;
  platform::SearchFolder(".", start + '*', found);
  for (const platform::FolderEntry& entry : found) {
    // Not by a mask: a name may hold characters that mean something else in one.
    if (entry.isFolder || entry.isLinkToFolder) continue;
    if (entry.name.find('-' + name, start.size()) == std::string::npos) continue;
    platform::RemoveName("./" + entry.name);
  }
}

}  // namespace

bool CopyTemplate(const std::u16string& from, const std::u16string& to, bool append) {
  const std::optional<std::string> bytes = ReadBytes(from);
  if (!bytes) return false;
  const platform::Stream file = platform::OpenStream(Narrow(to), append ? "ab" : "wb");
  return file && std::fwrite(bytes->data(), 1, bytes->size(), file.get()) == bytes->size() &&
         std::fflush(file.get()) == 0;
}

void RefreshCopies(std::span<const std::u16string> names, const std::u16string& templates,
                   const std::u16string& folder) {
  for (const std::u16string& name : names) {
    const std::optional<Moment> original = LastWrite(templates + name);
    if (!original) return;
    if (LastWrite(folder + name) != original) CopyTemplate(templates + name, folder + name, false);
  }
}

void RemoveFormerPages(const std::u16string& name) {
  RemoveNumbered("tree", Narrow(name));
  RemoveNumbered("alts", Narrow(name));
}

}  // namespace diagnostics
