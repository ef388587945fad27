// Pictures of files, and single steps by ptrace.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // SEEK_DATA, fallocate
#endif
#include "support/stepper.h"

#include <fcntl.h>
#include <linux/falloc.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace {

struct stat StatusOf(int fd) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) throw std::runtime_error("a file has gone");
  return status;
}

void Must(bool done) {
  if (!done) throw std::runtime_error(std::strerror(errno));
}

}  // namespace

void Scene::Clear() {
  for (const File& file : files) {
    munmap(file.start, file.most);
    close(file.fd);
  }
  files.clear();
}

bool Scene::Add(const std::string& path, std::size_t most) {
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return false;
  void* const at = mmap(nullptr, most, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (at == MAP_FAILED) return close(fd), false;
  files.push_back({fd, static_cast<std::byte*>(at), most});
  return true;
}

// Where a hole is must not be looked at: that could fill it.
Scene::Extents Scene::ExtentsOf(const File& file, std::size_t size) {
  Extents extents;
  off_t end = 0;
  for (;;) {
    const off_t begin = lseek(file.fd, end, SEEK_DATA);
    if (begin < 0) return extents;
    end = lseek(file.fd, begin, SEEK_HOLE);
    if (end < 0) end = static_cast<off_t>(size);
    extents.emplace_back(begin, end);
  }
}

Scene::Pictures Scene::Take() const {
  Pictures pictures;
  for (const File& file : files) {
    Picture& picture = pictures.emplace_back();
    const struct stat status = StatusOf(file.fd);
    picture.size = static_cast<std::size_t>(status.st_size);
    picture.blocks = status.st_blocks;
    for (const auto& [begin, end] : ExtentsOf(file, picture.size)) {
      const auto* const at = reinterpret_cast<const char*>(file.start);
      picture.stretches.push_back({begin, {at + begin, at + end}});
    }
  }
  return pictures;
}

// A file that gets bytes where it had a hole gets blocks.
bool Scene::Is(const File& file, const Picture& picture) {
  const struct stat status = StatusOf(file.fd);
  if (static_cast<std::size_t>(status.st_size) != picture.size) return false;
  if (status.st_blocks != picture.blocks) return false;
  for (const auto& [offset, bytes] : picture.stretches) {
    if (std::memcmp(file.start + offset, bytes.data(), bytes.size()) != 0) return false;
  }
  return true;
}

bool Scene::Is(const Pictures& pictures) const {
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!Is(files[i], pictures[i])) return false;
  }
  return true;
}

void Scene::PutBack(const Pictures& pictures) const {
  for (std::size_t i = 0; i < files.size(); ++i) {
    const File& file = files[i];
    if (Is(file, pictures[i])) continue;
    const auto size = static_cast<off_t>(pictures[i].size);
    Must(ftruncate(file.fd, size) == 0);
    const Extents extents = ExtentsOf(file, pictures[i].size);
    bool sameHoles = extents.size() == pictures[i].stretches.size();
    for (std::size_t n = 0; sameHoles && n < extents.size(); ++n) {
      sameHoles = extents[n].first == pictures[i].stretches[n].offset &&
                  extents[n].second - extents[n].first == pictures[i].stretches[n].bytes.size();
    }
    if (!sameHoles && size > 0) {
      Must(fallocate(file.fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, size) == 0);
    }
    for (const auto& [offset, bytes] : pictures[i].stretches) {
      Must(pwrite(file.fd, bytes.data(), bytes.size(), static_cast<off_t>(offset)) ==
           static_cast<ssize_t>(bytes.size()));
    }
  }
}

std::uint32_t& Scene::Word(std::size_t file, std::size_t offset) const {
  return *reinterpret_cast<std::uint32_t*>(files[file].start + offset);
}

std::optional<std::string> SteppedProcess::Refusal() {
  int status = 0;
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    raise(SIGSTOP);
    _exit(0);
  }
  if (child < 0 || waitpid(child, &status, 0) != child) return "no process can be started";
  const bool stands = WIFSTOPPED(status);
  const bool steps = stands && ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr) == 0 &&
                     waitpid(child, &status, 0) == child && WIFSTOPPED(status);
  if (stands) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  return steps ? std::nullopt : std::optional("ptrace is not permitted here");
}

SteppedProcess::SteppedProcess(const std::function<void()>& life) : pid(fork()) {
  if (pid == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    life();
    _exit(1);
  }
  int status = 0;
  well = waitpid(pid, &status, 0) == pid && WIFSTOPPED(status) && WSTOPSIG(status) == SIGSTOP;
}

SteppedProcess::~SteppedProcess() {
  if (pid <= 0) return;
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

void SteppedProcess::StandStill() { raise(SIGSTOP); }

bool SteppedProcess::Stop(int request) {
  int status = 0;
  if (ptrace(static_cast<__ptrace_request>(request), pid, nullptr, nullptr) != 0 ||
      waitpid(pid, &status, 0) != pid) {
    well = false;
  } else if (!WIFSTOPPED(status)) {
    well = false;
    pid = 0;
  } else if (WSTOPSIG(status) == SIGTRAP) {
    return true;
  } else {
    well = WSTOPSIG(status) == SIGSTOP;
  }
  return false;
}

bool SteppedProcess::Step() {
  if (!Stop(PTRACE_SINGLESTEP)) return false;
  const long now = ptrace(PTRACE_PEEKUSER, pid, offsetof(user, regs.rip), nullptr);
  const bool repeats = now == at;
  at = now;
  return !repeats || FinishRepeating();
}

// An instruction like `rep stos` stands where it is for each byte. Where nobody else sees what it
// stores, it runs to its end at once.
bool SteppedProcess::FinishRepeating() {
  user_regs_struct registers = {};
  Must(ptrace(PTRACE_GETREGS, pid, nullptr, &registers) == 0);
  const long code = ptrace(PTRACE_PEEKTEXT, pid, at, nullptr);
  const bool hasPrefix = (code & 0xFE) == 0xF2;
  if (!hasPrefix || IsShared(registers.rdi)) return true;
  const long next = at + ((code & 0xF000) == 0x4000 ? 3 : 2);
  const long following = ptrace(PTRACE_PEEKTEXT, pid, next, nullptr);
  constexpr long Breakpoint = 0xCC;
  Must(ptrace(PTRACE_POKETEXT, pid, next, (following & ~0xFFL) | Breakpoint) == 0);
  if (!Stop(PTRACE_CONT)) return false;
  Must(ptrace(PTRACE_POKETEXT, pid, next, following) == 0);
  Must(ptrace(PTRACE_POKEUSER, pid, offsetof(user, regs.rip), next) == 0);
  return true;
}

bool SteppedProcess::IsShared(unsigned long address) const {
  std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
  unsigned long begin = 0, end = 0;
  char dash = 0;
  std::string rights, rest;
  while (maps >> std::hex >> begin >> dash >> end >> rights && std::getline(maps, rest)) {
    if (address >= begin && address < end) return rights[3] == 's';
  }
  return true;
}
