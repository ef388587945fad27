// Pictures of files, and single steps by ptrace.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // SEEK_DATA
#endif
#include "support/stepper.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {

void Must(bool done) {
  if (!done) throw std::runtime_error(std::strerror(errno));
}

struct stat StatusOf(int fd) {
  struct stat status = {};
  Must(fstat(fd, &status) == 0);
  return status;
}

}  // namespace

Scene::Scene(const std::vector<std::pair<std::string, std::size_t>>& paths) {
  for (const auto& [path, most] : paths) {
    const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
    Must(fd >= 0);
    void* const at = mmap(nullptr, most, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    Must(at != MAP_FAILED);
    files.push_back({fd, static_cast<std::byte*>(at), most});
  }
}

Scene::~Scene() {
  for (const File& file : files) {
    munmap(file.start, file.most);
    close(file.fd);
  }
}

// Where a hole is must not be looked at: that could fill it.
Scene::Pictures Scene::Take() const {
  Pictures pictures;
  for (const File& file : files) {
    const struct stat status = StatusOf(file.fd);
    Picture& picture = pictures.emplace_back();
    picture.size = static_cast<std::size_t>(status.st_size);
    picture.blocks = status.st_blocks;
    for (off_t end = 0;;) {
      const off_t begin = lseek(file.fd, end, SEEK_DATA);
      if (begin < 0) break;
      end = lseek(file.fd, begin, SEEK_HOLE);
      const auto* const at = reinterpret_cast<const char*>(file.start);
      picture.stretches.emplace_back(begin, std::string(at + begin, at + end));
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
    if (Is(files[i], pictures[i])) continue;
    const int fd = files[i].fd;
    Must(ftruncate(fd, 0) == 0);  // for the holes
    Must(ftruncate(fd, static_cast<off_t>(pictures[i].size)) == 0);
    for (const auto& [offset, bytes] : pictures[i].stretches) {
      const auto put = pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
      Must(put == static_cast<ssize_t>(bytes.size()));
    }
  }
}

std::uint32_t& Scene::Word(std::size_t offset) const {
  return *reinterpret_cast<std::uint32_t*>(files[0].start + offset);
}

SteppedProcess::SteppedProcess(const std::function<void()>& life) : pid(fork()) {
  if (pid == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) life();
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

bool SteppedProcess::Step() {
  int status = 0;
  well = ptrace(PTRACE_SINGLESTEP, pid, nullptr, nullptr) == 0 && waitpid(pid, &status, 0) == pid &&
         WIFSTOPPED(status);
  if (!well) return false;
  well = WSTOPSIG(status) == SIGSTOP || WSTOPSIG(status) == SIGTRAP;
  return WSTOPSIG(status) == SIGTRAP;
}
