// Files to read, and where results go, with every failure noticed.
#include "inputfile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <random>
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

TemporaryFile::TemporaryFile(const fs::path& folder, std::string failing)
    : about(std::move(failing)) {
  std::random_device random;
  do {
    path = (folder / (".kvor-" + std::to_string(random()))).string();
    stream.reset(std::fopen(path.c_str(), "wbx"));
  } while (!stream && errno == EEXIST);
  if (!stream) {
    path.clear();
    Fail();
  }
  goes.emplace(path);
}

TemporaryFile::~TemporaryFile() {
  std::error_code ignored;
  if (!path.empty()) fs::remove(path, ignored);
}

void TemporaryFile::Fail() const { throw Failure(about, std::strerror(errno)); }

void TemporaryFile::Write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) != bytes.size()) Fail();
}

void TemporaryFile::Close() {
  if (stream && std::fclose(stream.release()) != 0) Fail();
}

namespace {

std::unique_ptr<TemporaryFile> PrivateFile(const std::string& about) {
  auto file = std::make_unique<TemporaryFile>(fs::temp_directory_path(), about);
  fs::permissions(file->Path(), fs::perms::owner_read | fs::perms::owner_write);
  return file;
}

}  // namespace

InputFile::InputFile(const std::string& asked)
    : path(asked), name(asked == "-" ? "standard input" : asked) {
  if (asked != "-") {
    OpenToRead(path, name);
    return;
  }
  copy = PrivateFile(name);
  ReadAll(stdin, name, [&](std::string_view bytes) { copy->Write(bytes); });
  copy->Close();
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
  if (!file) throw Failure(path, "cannot be written");
}

void Target::Open() {
  if (file.is_open()) return;
  file.open(whole->Place(), std::ios::binary | std::ios::trunc);
  CheckFile();
}

void Target::Write(std::string_view bytes) {
  if (!whole) {
    out << bytes;
    return;
  }
  Open();
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  CheckFile();
}

const std::string& Target::Path() {
  if (whole) {
    Open();  // with the rights of any new file
    return whole->Place();
  }
  copy = PrivateFile("standard output");
  copy->Close();
  return copy->Path();
}

void Target::Finish() {
  if (copy) out << InputFile(copy->Path()).Content();
  if (!whole) return;
  Open();
  file.close();
  CheckFile();
  whole->Finish();
}

}  // namespace kvor
