// A store file as bytes under examination: opened for reading only, never trusted, and reached
// through the store's host so that tests can make any read fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "store/host.h"
#include "store/page.h"

namespace store {

class ExaminedFile {
 public:
  // Null with the store's own words in `failure` when the file cannot be opened or measured.
  static std::unique_ptr<ExaminedFile> Open(const std::string& path, std::string& failure);
  // Whether processes without this user's mutex may change the file.
  static bool OthersMayChange(const std::string& path);
  // Keeps others who may change the file from it until it is closed; false if one is at work there.
  // This user's own processes take the store's lock. To be called before anything is read.
  bool KeepOthersOut();

  // As Open, for a file that is open already.
  static std::unique_ptr<ExaminedFile> Of(std::unique_ptr<VirtualFile> opened,
                                          std::string& failure);

  std::uint64_t Size() const { return size; }
  // Pages that lie in the file whole, of those that a page number can name.
  std::uint32_t WholePages() const;
  // Whether `count` pages from `first` on all lie in the file.
  bool Holds(std::uint64_t first, std::uint64_t count) const {
    return (first + count) * PageSize <= size;
  }

  // False when the bytes are not all there or cannot be read.
  bool Read(std::uint64_t offset, std::uint8_t* out, std::size_t n);
  bool ReadPage(std::uint32_t n, Page& page) {
    return Read(std::uint64_t{n} * PageSize, page.data(), page.size());
  }

 private:
  ExaminedFile(std::unique_ptr<VirtualFile> opened, std::uint64_t bytes)
      : file(std::move(opened)), size(bytes) {}

  std::unique_ptr<VirtualFile> file;
  std::uint64_t size;
};

// The store's words for a failed system call.
std::string FailureWords(int error);

}  // namespace store
