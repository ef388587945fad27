// Streams of the C library by UTF-8 name. A port owes exactly what this header says.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace platform {

struct StreamCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

// Opens as fopen does; `mode` is one of its mode texts ("wb", "a+b", …). Null on failure, with the
// code in errno. The handle is not inherited by started processes, and is never that of a standard
// stream which the program was started without. The stream is for bytes: a port keeps line ends as
// they are written.
Stream OpenStream(const std::string& path, const std::string& mode);

// For the functions of fdio.h. The stream keeps it.
int NumberOf(std::FILE* stream);

}  // namespace platform
