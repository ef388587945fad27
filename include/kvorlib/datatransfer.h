// DataTransfer: the carrier of bytes in the persistent layers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "kvorlib/export.h"

namespace store {
class RecordRoom;
}

// A length-counted byte buffer. Keys, records and cursor positions travel in it.
//
// It is in one of three modes:
//   Empty     no block;
//   Owning    a heap block of its own, which it frees;
//   External  a block lent by the caller through SetExternBuf, who keeps it alive. Such a block
//             never grows: a value that does not fit is cut, and Overflow() tells.
//
// A text is stored with its terminating zero, which counts in Size(). Writing nothing (a length of
// zero or less, a null pointer) does nothing: a value is emptied by Clear(), not by an empty write.
//
// After an overflowing AppendData, and after _AllocData below the size of the value, Size() exceeds
// the bytes that are there. The copying readers then hand out only what is there.
//
// An object belongs to one thread at a time. Only exhausted memory is reported by an exception
// (std::bad_alloc).
class KVORLIB_API DataTransfer {
 public:
  DataTransfer() = default;
  DataTransfer(unsigned char const* p, int n) { SetData(p, n); }
  DataTransfer(void const* p, int n) { SetData(p, n); }
  DataTransfer(char const* s) { SetData(s); }  // NOLINT: texts convert
  // The text up to its first zero character, terminator included.
  DataTransfer(std::string const& s) { SetData(s.c_str()); }  // NOLINT: texts convert
  // A deep copy into a block of its own, whatever mode `o` is in.
  DataTransfer(DataTransfer const& o) { SetData(o, 0, -1); }
  ~DataTransfer() { Clear(); }

  // Back to Empty. Overflow() is not touched.
  void Clear();
  void ResetExternBuf() { Clear(); }

  // Each replaces the value. An owned value gets a zero byte behind it, outside the counted size.
  // An external block of capacity c flags overflow from c bytes on, though all c are copied.
  void SetData(unsigned char const* p, int n) {
    if (own == nullptr || n <= 0 || n >= capacity || p == nullptr) return SetDataAnew(p, n);
    overflow = false;
    size = n;
    std::memmove(own, p, static_cast<std::size_t>(n));
    own[n] = 0;
  }
  void SetData(void const* p, int n) { SetData(static_cast<unsigned char const*>(p), n); }
  void SetData(char const* s);         // strlen(s) + 1 bytes
  void SetData(std::string const& s);  // s.size() + 1 bytes
  // The first `len` bytes of `src`, -1 for all. `offset` is accepted and ignored.
  void SetData(DataTransfer const& src, int offset, int len);
  DataTransfer& operator=(DataTransfer const& src);

  // Appends behind the value, with no terminator of its own. In an external block the bytes that
  // do not fit are dropped, but Size() counts them.
  void AppendData(unsigned char const* p, int n);
  void AppendData(char const* s);  // strlen(s) + 1 bytes

  // Makes the size `n` and returns the block for the caller to fill; null for an external block.
  unsigned char* AllocData(int n);
  // Makes the capacity exactly `n`, keeping the bytes that fit; the size stays. Null for an
  // external block and for a negative `n`, where nothing happens.
  unsigned char* _AllocData(int n);
  // Doubles what is needed when `n` exceeds the capacity. Returns the owned block, null if
  // external.
  unsigned char* ExpandData(int n);

  // Borrows the caller's `n` bytes at `p`; capacity and size become `n`.
  // REQUIRES: the block outlives the borrowing.
  void SetExternBuf(unsigned char* p, int n);
  // The external block, or null (`n` untouched) in any other mode. `n` is cut to the capacity and
  // becomes the size.
  unsigned char* GetExternBuf(int& n);

  // Takes over all fields of `src`, which keeps them too: both then refer to one block, and the
  // last of them to let go of it frees it. A write in place through one is seen through the other.
  void MoveFrom(DataTransfer& src);
  void Swap(DataTransfer& o);

  int Size() const { return size; }
  // The bytes that are there: Size(), but for the two cases named above.
  int Available() const { return size < capacity ? size : capacity; }
  bool ExternalBuffer() const { return data != nullptr && own == nullptr; }
  // Whether the last SetData or AppendData lost bytes. Reading it resets it.
  bool Overflow();

  // Copies at most `max` bytes to `dst`; returns Size(), not the number copied.
  int GetData(unsigned char* dst, int max) const;
  int GetData(void* dst, int max) const { return GetData(static_cast<unsigned char*>(dst), max); }
  int GetData(char* dst, int max) const { return GetData(static_cast<void*>(dst), max); }
  // All bytes, a text's terminator among them; empties `out` when there is no block.
  int GetData(std::string& out) const;
  // The bytes in place; `n` becomes Size(). Valid until the next change of the object.
  unsigned char const* GetData(int& n) const;
  char const* GetData() const { return reinterpret_cast<char const*>(data); }

  bool operator==(DataTransfer const& o) const;
  bool operator!=(DataTransfer const& o) const { return !(*this == o); }
  // Order of byte strings: the common prefix decides, then the shorter one is less.
  bool operator<(DataTransfer const& o) const;

 private:
  friend class store::RecordRoom;

  void ReleaseOwn();
  void SetDataAnew(unsigned char const* p, int n);

  unsigned char* data = nullptr;  // the bytes in use, in whichever block
  unsigned char* own = nullptr;   // the block that this object has a claim on
  std::int32_t capacity = 0;
  std::int32_t size = 0;
  bool overflow = false;
};
