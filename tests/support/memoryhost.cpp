// Files in memory, and faults on demand.
#include "support/memoryhost.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

class MemoryFile : public store::VirtualFile {
 public:
  MemoryFile(MemoryHost& host, std::shared_ptr<MemoryHost::Contents> c, bool mayWrite)
      : owner(host), contents(std::move(c)), writable(mayWrite) {
    ++contents->holders;
  }
  ~MemoryFile() override {
    --contents->holders;
    contents->exclusive = false;
  }

  std::ptrdiff_t Read(std::uint64_t offset, void* out, std::size_t n) override {
    const Fault f = owner.Call("read");
    if (f != Fault::None && f != Fault::Short) return Failed(), -1;
    const std::string& bytes = Part(offset);
    const std::size_t there = offset < bytes.size() ? bytes.size() - offset : 0;
    n = MemoryHost::Done(f, std::min(there, n));
    if (n != 0) std::memcpy(out, bytes.data() + offset, n);
    return static_cast<std::ptrdiff_t>(n);
  }

  bool Write(std::uint64_t offset, const void* bytes, std::size_t n) override {
    if (!writable) return Failed(EBADF);
    const Fault f = owner.Call("write");
    if (const std::size_t done = MemoryHost::Done(f, n); done != 0) {
      std::string& part = Part(offset);
      if (part.size() < offset + done) part.resize(offset + done);
      std::memcpy(part.data() + offset, bytes, done);
    }
    return End(f);
  }

  std::int64_t Size() override {
    if (owner.Call("size") != Fault::None) return Failed(), -1;
    const std::size_t behind = contents->tail.size();
    return static_cast<std::int64_t>(behind != 0 ? LongestFile + behind : contents->bytes.size());
  }

  bool Truncate(std::uint64_t size) override {
    if (!writable) return Failed(EBADF);
    const Fault f = owner.Call("truncate");
    if (MemoryHost::Done(f, 1) != 0) {
      contents->tail.clear();
      contents->bytes.resize(size);
    }
    return End(f);
  }

  bool Identity(platform::FileIdentity& identity) override {
    identity = {7, contents->index};
    return owner.Call("identity") == Fault::None || Failed();
  }

  const std::byte* View(std::uint64_t offset, std::size_t n) override {
    return Look("view", offset, n);
  }
  std::uint64_t Viewable() const override {
    if (owner.amidReading) owner.amidReading();
    return owner.givesViews && sound ? contents->bytes.size() : 0;
  }
  std::byte* Place(std::uint64_t offset, std::size_t n) override {
    return writable ? Look("place", offset, n) : nullptr;
  }
  bool Extend(std::uint64_t size) override {
    if (!writable || !owner.givesViews || !sound) return false;
    const Fault f = owner.Call("extend");
    const std::size_t before = contents->bytes.size();
    if (size > before) contents->bytes.resize(before + MemoryHost::Done(f, size - before));
    return End(f);
  }
  bool Sound() const override { return sound; }
  void Renew() override { sound = true; }

  platform::Company WhoElse() override { return company; }
  bool Lock(platform::Hold hold, std::chrono::milliseconds) override {
    return !owner.fileLock || owner.fileLock(hold);
  }

  int LastError() const override { return error; }

 private:
  using Fault = MemoryHost::Fault;
  bool Failed(int code = EIO) {
    error = code;
    return false;
  }

  bool End(Fault f) {
    owner.End(f);
    return f == Fault::None || Failed(f == Fault::Short ? ENOSPC : EIO);
  }
  // A look that fails shows other bytes.
  std::byte* Look(const char* what, std::uint64_t offset, std::size_t n) {
    static std::string lost(4096, '\0');
    std::string& bytes = contents->bytes;
    if (!owner.givesViews || !sound || offset + n > bytes.size()) return nullptr;
    sound = owner.Call(what) == Fault::None;
    return reinterpret_cast<std::byte*>(sound ? bytes.data() + offset
                                              : lost.assign(4096, '\0').data());
  }

  static constexpr std::uint64_t LongestFile = std::uint64_t{32568} * 4096;
  // The part of the file that the offset, which becomes one within it, lies in.
  std::string& Part(std::uint64_t& offset) {
    if (offset < LongestFile) return contents->bytes;
    offset -= LongestFile;
    return contents->tail;
  }

  MemoryHost& owner;
  std::shared_ptr<MemoryHost::Contents> contents;
  platform::Company company = owner.company;
  bool writable;
  bool sound = true;
  int error = 0;
};

MemoryHost::~MemoryHost() { ClearMemory(); }

// Address space for the locked memory of whichever host is in use; backed by the system as touched.
std::byte* MemoryHost::Area(unsigned area) {
  static std::byte* const block = static_cast<std::byte*>(std::calloc(Areas, AreaSize));
  return block + area * AreaSize;
}

void MemoryHost::ClearMemory() {
  for (unsigned n = 0; n < Areas; ++n) std::memset(Area(n), 0, touched[n]);
}

std::byte* MemoryHost::OpenMemory() {
  alignas(64) static std::byte block[OpenMemorySize];
  return block;
}

MemoryHost::Fault MemoryHost::Call(const char* what) {
  ++calls;
  if (dead) return Fault::Broken;
  if (calls != failAt || fault == Fault::None) return Fault::None;
  struck = what;
  dead = fault >= Fault::Broken;
  if (fault >= Fault::Crash) TakePicture();  // taken anew by a call that still does something
  return fault;
}

std::size_t MemoryHost::Done(Fault f, std::size_t n) {
  if (f == Fault::Short || f == Fault::Crash) return n / 2;
  return f == Fault::None || f == Fault::CrashBehind ? n : 0;
}

void MemoryHost::TakePicture() {
  pictured = true;
  pictureOfFiles.clear();
  for (const auto& [path, contents] : files)
    pictureOfFiles[path] = {contents->bytes, contents->tail};
  for (unsigned n = 0; n < Areas; ++n) {
    pictureOfMemory[n].assign(reinterpret_cast<const char*>(Area(n)), touched[n]);
  }
  pictureOfOpenMemory.assign(reinterpret_cast<const char*>(OpenMemory()), OpenMemorySize);
}

void MemoryHost::FailCall(int nth, Fault kind) {
  calls = 0;
  failAt = nth;
  fault = kind;
  struck.clear();
}

void MemoryHost::Heal() {
  dead = false;
  failAt = 0;
}

void MemoryHost::Restart() {
  Heal();
  locks = 0;
  if (!pictured) return;
  pictured = false;
  std::erase_if(files, [&](const auto& file) { return pictureOfFiles.count(file.first) == 0; });
  for (const auto& [path, parts] : pictureOfFiles) {
    if (files.count(path) == 0) Put(path, parts.first);
    Bytes(path) = parts.first;
    File(path).tail = parts.second;
  }
  ClearMemory();
  for (unsigned n = 0; n < Areas; ++n) {
    touched[n] = pictureOfMemory[n].size();
    std::memcpy(Area(n), pictureOfMemory[n].data(), touched[n]);
  }
  std::memcpy(OpenMemory(), pictureOfOpenMemory.data(), OpenMemorySize);
}

std::unique_ptr<store::VirtualFile> MemoryHost::Open(const std::string& path,
                                                     platform::OpenMode mode,
                                                     platform::Sharing sharing, int& error) {
  using platform::OpenMode;
  const Fault f = Call("open");
  const auto at = files.find(path);
  error = Done(f, 1) != 0 ? 0 : errorOfFault;
  if (at == files.end()) {
    if (mode == OpenMode::ReadOnly || mode == OpenMode::ReadWrite) error = ENOENT;
  } else {
    const Contents& c = *at->second;
    if (mode == OpenMode::CreateNew) error = EEXIST;
    if (c.readOnly && mode != OpenMode::ReadOnly) error = EACCES;
    if (c.holders != 0 && (c.exclusive || sharing == platform::Sharing::None)) error = EACCES;
  }
  if (error != 0) return nullptr;
  if (at == files.end()) Put(path, "");
  if (!End(f)) {
    error = EIO;
    return nullptr;
  }
  const auto& contents = files.at(path);
  contents->exclusive = sharing == platform::Sharing::None;
  return std::make_unique<MemoryFile>(*this, contents, mode != OpenMode::ReadOnly);
}

int MemoryHost::Remove(const std::string& path) {
  const Fault f = Call("remove");
  if (Done(f, 1) == 0) return EIO;
  const auto at = files.find(path);
  if (at == files.end()) return ENOENT;
  if (at->second->holders != 0) return EACCES;
  files.erase(at);
  return End(f) ? 0 : EIO;
}

int MemoryHost::Replace(const std::string& from, const std::string& to) {
  const Fault f = Call("replace");
  if (Done(f, 1) == 0) return EIO;
  Rename(from, to);
  return End(f) ? 0 : EIO;
}

bool MemoryHost::Lock() {
  if (Call("lock") != Fault::None || refuseLock) return false;
  ++locks;
  return true;
}

void MemoryHost::Unlock() {
  if (locks == 0) throw std::logic_error("a lock is given back that is not held");
  --locks;
}

std::byte* MemoryHost::LockedMemory(unsigned area, std::size_t bytes) {
  if (locks == 0) throw std::logic_error("locked memory without the lock");
  if (Call("memory") != Fault::None || bytes > AreaSize) return nullptr;
  if (bytes > touched[area]) touched[area] = bytes;
  return Area(area);
}

void MemoryHost::TrimLockedMemory(unsigned area, std::size_t bytes) {
  if (locks == 0) throw std::logic_error("locked memory without the lock");
  if (dead || bytes >= touched[area]) return;
  std::memset(Area(area) + bytes, 0, touched[area] - bytes);
  touched[area] = bytes;
}

int MemoryHost::FilesOpen() const {
  int open = 0;
  for (const auto& [path, contents] : files) open += contents->holders;
  return open;
}

void MemoryHost::Put(const std::string& path, const std::string& bytes) {
  auto contents = std::make_shared<Contents>(Contents{bytes, nextIndex++});
  if (givesViews) contents->bytes.reserve(RoomForViews);
  files[path] = std::move(contents);
}

void MemoryHost::Rename(const std::string& from, const std::string& to) {
  files[to] = files.at(from);
  files.erase(from);
}
