// The byte carrier. An owned block carries a count of claims in front of its bytes, so that two
// objects that refer to one block after MoveFrom may die in any order.
#include "kvorlib/datatransfer.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "platform/bytesums.h"

namespace {

struct alignas(std::max_align_t) BlockHead {
  std::size_t claims;
  void* memory;  // in which the block lies
};

BlockHead* HeadOf(unsigned char* block) { return reinterpret_cast<BlockHead*>(block) - 1; }

// It begins at a whole stride: bytes that lie across lines of the cache, let alone across pages,
// take longer to store and to read again.
unsigned char* NewBlock(std::size_t n) {
  std::size_t room = sizeof(BlockHead) + platform::SumStride + platform::UpToStride(n);
  void* const memory = std::malloc(room);
  if (memory == nullptr) throw std::bad_alloc();
  void* at = static_cast<BlockHead*>(memory) + 1;
  room -= sizeof(BlockHead);
  auto* const block = static_cast<unsigned char*>(
      std::align(platform::SumStride, platform::UpToStride(n), at, room));
  *HeadOf(block) = {1, memory};
  return block;
}

// A length one above or twice another must still fit the 32-bit fields.
int CheckedLength(std::int64_t n) {
  if (n > INT_MAX) throw std::bad_alloc();
  return static_cast<int>(n);
}

}  // namespace

void DataTransfer::ReleaseOwn() {
  if (own != nullptr && --HeadOf(own)->claims == 0) std::free(HeadOf(own)->memory);
  own = nullptr;
}

void DataTransfer::Clear() {
  ReleaseOwn();
  data = nullptr;
  capacity = size = 0;
}

void DataTransfer::SetDataAnew(unsigned char const* p, int n) {
  if (n <= 0 || p == nullptr) return;
  overflow = false;
  bool const external = ExternalBuffer();
  if (n >= capacity) {
    if (external) {
      overflow = true;
      n = std::min(n, capacity);
    } else {
      bool const inside = own != nullptr && p >= own && p < own + capacity;
      std::ptrdiff_t const at = inside ? p - own : 0;
      _AllocData(CheckedLength(std::int64_t{n} + 1));
      if (inside) p = own + at;
    }
  }
  size = n;
  if (n > 0) std::memmove(data, p, static_cast<std::size_t>(n));
  if (!external) own[size] = 0;
}

void DataTransfer::SetData(char const* s) {
  if (s != nullptr)
    SetData(static_cast<void const*>(s),
            CheckedLength(static_cast<std::int64_t>(std::strlen(s)) + 1));
}

void DataTransfer::SetData(std::string const& s) {
  SetData(static_cast<void const*>(s.c_str()),
          CheckedLength(static_cast<std::int64_t>(s.size()) + 1));
}

void DataTransfer::SetData(DataTransfer const& src, int /*offset*/, int len) {
  int const there = src.Available();
  SetData(src.data, len == -1 ? there : std::min(len, there));
}

// Of itself too: SetData takes bytes that lie in its own block.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
DataTransfer& DataTransfer::operator=(DataTransfer const& src) {
  SetData(src.data, src.Available());
  return *this;
}

void DataTransfer::AppendData(unsigned char const* p, int n) {
  if (n <= 0 || p == nullptr) return;
  overflow = false;
  int const needed = CheckedLength(std::int64_t{size} + n);
  if (needed > capacity) {
    if (ExternalBuffer()) {
      overflow = true;
      n = std::max(0, capacity - size);
    } else {
      bool const inside = own != nullptr && p >= own && p < own + capacity;
      std::ptrdiff_t const at = inside ? p - own : 0;
      ExpandData(needed);
      if (inside) p = own + at;
    }
  }
  if (n > 0) std::memmove(data + size, p, static_cast<std::size_t>(n));
  size = needed;
}

void DataTransfer::AppendData(char const* s) {
  if (s == nullptr) return;
  AppendData(reinterpret_cast<unsigned char const*>(s),
             CheckedLength(static_cast<std::int64_t>(std::strlen(s)) + 1));
}

unsigned char* DataTransfer::AllocData(int n) {
  if (ExternalBuffer() || n < 0) return nullptr;
  _AllocData(n);
  size = n;
  return own;
}

unsigned char* DataTransfer::_AllocData(int n) {
  if (ExternalBuffer() || n < 0) return nullptr;
  if (n == 0) {
    ReleaseOwn();
  } else if (own == nullptr) {
    own = NewBlock(static_cast<std::size_t>(n));
  } else {
    unsigned char* const mine = NewBlock(static_cast<std::size_t>(n));
    std::memcpy(mine, own, static_cast<std::size_t>(std::min(n, capacity)));
    ReleaseOwn();
    own = mine;
  }
  data = own;
  capacity = n;
  return own;
}

unsigned char* DataTransfer::ExpandData(int n) {
  if (n <= capacity) return own;
  return _AllocData(static_cast<int>(std::min<std::int64_t>(2 * std::int64_t{n}, INT_MAX)));
}

void DataTransfer::SetExternBuf(unsigned char* p, int n) {
  ReleaseOwn();
  data = p;
  capacity = size = p != nullptr ? std::max(n, 0) : 0;
}

unsigned char* DataTransfer::GetExternBuf(int& n) {
  if (!ExternalBuffer()) return nullptr;
  n = std::clamp(n, 0, capacity);
  size = n;
  return data;
}

void DataTransfer::MoveFrom(DataTransfer& src) {
  if (this == &src) return;
  ReleaseOwn();
  data = src.data;
  own = src.own;
  capacity = src.capacity;
  size = src.size;
  overflow = src.overflow;
  if (own != nullptr) ++HeadOf(own)->claims;
}

void DataTransfer::Swap(DataTransfer& o) {
  std::swap(data, o.data);
  std::swap(own, o.own);
  std::swap(capacity, o.capacity);
  std::swap(size, o.size);
  std::swap(overflow, o.overflow);
}

bool DataTransfer::Overflow() {
  bool const was = overflow;
  overflow = false;
  return was;
}

int DataTransfer::GetData(unsigned char* dst, int max) const {
  int const n = std::min(max, Available());
  if (n > 0) std::memcpy(dst, data, static_cast<std::size_t>(n));
  return size;
}

int DataTransfer::GetData(std::string& out) const {
  if (data == nullptr) {
    out.clear();
  } else {
    out.assign(reinterpret_cast<char const*>(data), static_cast<std::size_t>(Available()));
  }
  return size;
}

unsigned char const* DataTransfer::GetData(int& n) const {
  n = size;
  return data;
}

bool DataTransfer::operator==(DataTransfer const& o) const {
  if (size != o.size) return false;
  int const n = std::min(Available(), o.Available());
  return n == 0 || std::memcmp(data, o.data, static_cast<std::size_t>(n)) == 0;
}

bool DataTransfer::operator<(DataTransfer const& o) const {
  int const n = std::min(Available(), o.Available());
  int const order = n == 0 ? 0 : std::memcmp(data, o.data, static_cast<std::size_t>(n));
  return order != 0 ? order < 0 : size < o.size;
}
