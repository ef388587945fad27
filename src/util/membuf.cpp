// The arena that is a chain of equal blocks, each one allocation with its record in front.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <locale>
#include <new>
#include <sstream>

#include "kvorlib/encoding.h"
#include "kvorlib/memman.h"
#include "platform/stdiofile.h"

namespace {

constexpr int DumpedBlocks = 16;
constexpr int LineEvery = 30;  // bytes

char* Take(tagMemBuf& block, int size) {
  char* const piece = block.data + block.filled;
  block.filled += size;
  return piece;
}

bool HoldsUsed(const tagMemBuf& block, const char* pointer) {
  const std::less_equal<const char*> upTo;
  return upTo(block.data, pointer) && upTo(pointer, block.data + block.filled);
}

// The stream stays hexadecimal: the next block's numbers come out so.
void Describe(std::ostream& out, const tagMemBuf& block, int number) {
  out << "Buf \xB9 " << number << ", size = " << block.size << ", filled = " << block.filled
      << std::hex << ", addr = " << reinterpret_cast<std::uintptr_t>(&block)
      << ", link = " << reinterpret_cast<std::uintptr_t>(block.link);
  for (int i = 0; i < block.filled; ++i) {
    out << "0x" << std::int16_t{static_cast<signed char>(block.data[i])};
    if (i % LineEvery == 0) out << '\n';
  }
  out << '\n';
}

}  // namespace

tagMemBuf* InitMembuf(int size) {
  if (size < 0) return nullptr;
  void* const memory = std::malloc(sizeof(tagMemBuf) + static_cast<std::size_t>(size));
  if (memory == nullptr) return nullptr;
  char* const data = static_cast<char*>(memory) + sizeof(tagMemBuf);
  return new (memory) tagMemBuf{nullptr, size, 0, data};
}

void* GetMem(tagMemBuf* buf, int size) {
  if (size < 0 || size > buf->size) return nullptr;
  tagMemBuf* block = buf;
  while (block->size - block->filled < size) {
    if (block->link == nullptr) block->link = InitMembuf(block->size);
    if (block->link == nullptr) return nullptr;
    block = block->link;
  }
  return Take(*block, size);
}

void ResizeLast(tagMemBuf* buf, void* pointer, int amount) {
  for (tagMemBuf* block = buf; block != nullptr; block = block->link)
    if (HoldsUsed(*block, static_cast<const char*>(pointer))) {
      block->filled -= std::clamp(amount, 0, block->filled);
      return;
    }
}

void FreeMem(tagMemBuf* buf) {
  while (buf != nullptr) {
    tagMemBuf* const next = buf->link;
    std::free(buf);
    buf = next;
  }
}

void DumpMem(tagMemBuf* buf, const std::u16string& name) {
  const platform::Stream file =
      platform::OpenStream(w_u8(name.data(), name.data() + name.size()), "w");
  if (!file) return;
  std::ostringstream out;
  out.imbue(std::locale::classic());
  int number = 0;
  for (; buf != nullptr && number < DumpedBlocks; buf = buf->link) Describe(out, *buf, number++);
  if (buf != nullptr) out << "Too long!";
  const std::string text = out.str();
  std::fwrite(text.data(), 1, text.size(), file.get());
}
