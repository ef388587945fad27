// A file by its descriptor, for the plain form and the mapped one.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

#include "platform/file.h"
#include "platform/posix/descriptor.h"

namespace platform {

class PosixFile : public File {
 public:
  explicit PosixFile(Descriptor fd) : descriptor(std::move(fd)) {}

  std::ptrdiff_t Read(std::uint64_t offset, void* out, std::size_t n) override;
  bool Write(std::uint64_t offset, const void* bytes, std::size_t n) override;
  std::int64_t Size() override;
  bool Truncate(std::uint64_t size) override;
  bool Identity(FileIdentity& identity) override;
  Company WhoElse() override;
  Rights WhoMay() override;
  bool Grant(const Rights& rights) override;
  bool Lock(Hold hold, std::chrono::milliseconds patience) override;
  void Unlock() override;
  int LastError() const override { return lastError; }

 protected:
  int Number() const { return descriptor.Get(); }
  // The file was last changed now.
  void Touch();
  // Keeps errno.
  template <typename Answer>
  Answer Failed(Answer answer) {
    lastError = errno;
    return answer;
  }

 private:
  Descriptor descriptor;
  int lastError = 0;
};

Company WhoElseUses(int fd);

// As OpenFile; the descriptor alone, none on failure.
Descriptor OpenDescriptor(const std::string& path, OpenMode mode, Sharing sharing, int& error);

}  // namespace platform
