// Files to read, and where results go, with every failure noticed.
#include "inputfile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "environment.h"
#include "outcome.h"

namespace kvor {
namespace fs = std::filesystem;
namespace {

struct StreamCloser {
  void operator()(std::FILE* stream) const {
    if (stream != stdin) std::fclose(stream);
  }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

Stream OpenToRead(const std::string& path, const std::string& name) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) throw Failure(name, std::strerror(EISDIR));
  Stream stream(std::fopen(path.c_str(), "rb"));
  if (!stream) throw Failure(name, std::strerror(errno));
  return stream;
}

template <class Take>
void ReadAll(std::FILE* stream, const std::string& name, const Take& take) {
  std::array<char, std::size_t{64} * 1024> piece{};
  while (const std::size_t got = std::fread(piece.data(), 1, piece.size(), stream))
    take(std::string_view(piece.data(), got));
  if (std::ferror(stream) != 0) throw Failure(name, std::strerror(errno));
}

}  // namespace

// Those that cannot be read twice, or not from any place, are copied: standard input, pipes,
// devices.
InputFile::InputFile(const std::string& asked)
    : path(asked), name(asked == "-" ? "standard input" : asked) {
  std::error_code ignored;
  const Stream stream = asked == "-" ? Stream(stdin) : OpenToRead(path, name);
  if (asked != "-" && fs::is_regular_file(path, ignored)) return;
  copy = std::make_unique<NamelessFile>(fs::temp_directory_path().string(), name);
  std::ofstream file(copy->Path(), std::ios::binary);
  ReadAll(stream.get(), name, [&](std::string_view bytes) { file << bytes; });
  file.close();
  if (!file) throw Failure(name, std::strerror(errno));
}

std::string InputFile::Content() const {
  std::string content;
  ReadAll(OpenToRead(Path(), name).get(), name, [&](std::string_view bytes) { content += bytes; });
  return content;
}

int ForEachFile(Session& session, const std::vector<std::string>& names,
                const std::function<int(const InputFile&)>& command) {
  int outcome = Fine;
  for (const std::string& name : names) {
    try {
      outcome = std::max(outcome, command(InputFile(name)));
      continue;
    } catch (const Failure& failure) {
      session.out.Flush();
      Complain(failure.About(), failure.what());
    } catch (const OutputClosed&) {
      throw;
    } catch (...) {
      session.out.Flush();
      Complain(name, OneLine(Wide(WordsOfException())));
    }
    outcome = Failed;
  }
  return outcome;
}

Target::Target(Output& output, const std::string& target, bool replace)
    : out(output), path(target) {
  if (path.empty()) return;
  std::error_code ignored;
  if (!replace && fs::exists(path, ignored))
    throw Failure(path, "exists (--replace writes over it)");
  whole = std::make_unique<WholeFile>(path);
}

void Target::CheckFile() const {
  if (!file) throw Failure(path, std::strerror(errno));
}

void Target::Write(std::string_view bytes) {
  if (!whole) {
    out << bytes;
    return;
  }
  if (!file.is_open()) file.open(whole->Place(), std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  CheckFile();
}

const std::string& Target::Path() {
  if (whole) return whole->Place();
  copy = std::make_unique<NamelessFile>(fs::temp_directory_path().string(), "standard output");
  return copy->Path();
}

void Target::Finish() {
  if (copy) out << InputFile(copy->Path()).Content();
  if (!whole) return;
  if (file.is_open()) {
    file.close();
    CheckFile();
  }
  whole->Finish();
}

}  // namespace kvor
