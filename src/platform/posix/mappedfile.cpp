// Files of which what is there is read and changed in a mapping. The mapping reaches as far as a
// file may ever grow, so that it never moves; how far the file goes is kept beside it and asked for
// anew when something lies beyond. New bytes are written through the descriptor: what is not on
// the disk yet is never touched in the mapping.
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/posix/guardedmapping.h"
#include "platform/posix/posixfile.h"

namespace platform {
namespace {

constexpr std::size_t Reach = std::size_t{32568} * 4096;  // longer files are mapped so far
constexpr int ViewsBeforeMapping = 24;

// Whether a mapping shows what is written otherwise, and the other way round. Of other systems,
// among them those of networks and the layered ones of containers, that is not known.
bool ShowsOneFile(int fd) {
  constexpr std::uint32_t Known[] = {
      0xEF53,      // ext2, ext3, ext4
      0x58465342,  // xfs
      0x9123683E,  // btrfs
      0xF2F52010,  // f2fs
      0x01021994,  // tmpfs
  };
  struct statfs status = {};
  return fstatfs(fd, &status) == 0 &&
         std::find(std::begin(Known), std::end(Known), static_cast<std::uint32_t>(status.f_type)) !=
             std::end(Known);
}

class MappedFile final : public PosixFile {
 public:
  MappedFile(Descriptor fd, bool mayWrite) : PosixFile(std::move(fd)), writable(mayWrite) {}
  // Changes in a mapping reach the time of the file's last change late, or never.
  ~MappedFile() override {
    if (changed) Touch();
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  std::ptrdiff_t Read(std::uint64_t offset, void* out, std::size_t n) override {
    if (!IsMapped(offset, n)) return PosixFile::Read(offset, out, n);
    std::memcpy(out, mapping.Start() + offset, n);
    return mapping.Faulted() ? Lost(-1) : static_cast<std::ptrdiff_t>(n);
  }

  bool Write(std::uint64_t offset, const void* bytes, std::size_t n) override {
    if (!writable || !IsMapped(offset, n)) {
      if (!PosixFile::Write(offset, bytes, n)) {
        size = 0;  // whoever takes this back may do so through another handle
        return false;
      }
      size = std::min<std::uint64_t>(std::max(size, offset + n), Reach);
      return true;
    }
    changed = true;
    std::memcpy(mapping.Start() + offset, bytes, n);
    return !mapping.Faulted() || Lost(false);
  }

  std::byte* Place(std::uint64_t offset, std::size_t n) override {
    if (!writable || !IsMapped(offset, n)) return nullptr;
    changed = true;
    return mapping.Start() + offset;
  }

  bool Extend(std::uint64_t length) override {
    static constexpr std::array<std::byte, std::size_t{16} * 4096> Zeros{};
    if (!writable || mapping.Start() == nullptr || mapping.Faulted() || length > Reach)
      return false;
    const std::int64_t now = PosixFile::Size();
    if (now < 0) return false;
    size = std::min<std::uint64_t>(static_cast<std::uint64_t>(now), Reach);
    while (size < length) {
      const std::uint64_t n = std::min<std::uint64_t>(length - size, Zeros.size());
      if (!PosixFile::Write(size, Zeros.data(), n)) {
        size = 0;
        return false;
      }
      size += n;
    }
    return true;
  }

  void Shrunk() override { size = 0; }

  bool Truncate(std::uint64_t length) override {
    size = std::min(size, length);
    return PosixFile::Truncate(length);
  }

  const std::byte* View(std::uint64_t offset, std::size_t n) override {
    if (mapping.Start() == nullptr) TryMapping();
    if (mapping.Start() == nullptr || mapping.Faulted()) return nullptr;
    // Page 0 is looked at without the lock, too, while somebody's update may have made the file
    // longer than it is when that is taken back.
    if (offset + n > size) LearnSize(offset == 0 ? n : Reach);
    return offset + n <= size ? mapping.Start() + offset : nullptr;
  }

  std::uint64_t Viewable() const override {
    return mapping.Start() == nullptr || mapping.Faulted() ? 0 : size;
  }

  bool Sound() const override { return !mapping.Faulted(); }

  void Renew() override {
    if (!mapping.Faulted()) return;
    if (!mapping.Map(Number(), Reach, writable)) mapping.Unmap();
    size = 0;
  }

 private:
  bool IsMapped(std::uint64_t offset, std::size_t n) const {
    return mapping.Start() != nullptr && offset + n <= size && !mapping.Faulted();
  }

  void TryMapping() {
    if (views < 0 || ++views < ViewsBeforeMapping) return;
    views = -1;
    size = 0;
    if (ShowsOneFile(Number())) mapping.Map(Number(), Reach, writable);
  }

  void LearnSize(std::uint64_t most) {
    const std::int64_t now = PosixFile::Size();
    size = now < 0 ? 0 : std::min(static_cast<std::uint64_t>(now), most);
  }

  template <typename Answer>
  Answer Lost(Answer answer) {
    errno = EIO;
    return Failed(answer);
  }

  GuardedMapping mapping;
  std::uint64_t size = 0;  // that the file surely has; none of it lies beyond the mapping
  int views = 0;           // asked for before there was a mapping; -1: it has been tried
  bool writable;
  bool changed = false;  // in the mapping
};

}  // namespace

std::unique_ptr<File> OpenMappedFile(const std::string& path, OpenMode mode, Sharing sharing,
                                     int& error) {
  if (sizeof(void*) < 8 || mode == OpenMode::CreateAppend) {
    return OpenFile(path, mode, sharing, error);
  }
  Descriptor fd = OpenDescriptor(path, mode, sharing, error);
  if (!fd) return nullptr;
  if (WhoElseUses(fd.Get()) == Company::Writers) return std::make_unique<PosixFile>(std::move(fd));
  return std::make_unique<MappedFile>(std::move(fd), mode != OpenMode::ReadOnly);
}

}  // namespace platform
