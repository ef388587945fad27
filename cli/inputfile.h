// Files that the library is to read by their path, standard input among them, and where results go.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "terminal.h"
#include "wholefile.h"

namespace kvor {

// A file of our own under a name that nobody had; goes with the object.
class TemporaryFile {
 public:
  // Throws Failure naming `about`.
  TemporaryFile(const std::filesystem::path& folder, std::string about);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& Path() const { return path; }
  void Write(std::string_view bytes);
  // Everything is in the file, and it is closed. Others may open it by its path then.
  void Close();

 private:
  [[noreturn]] void Fail() const;

  struct Closer {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };
  std::string about;
  std::string path;
  std::unique_ptr<std::FILE, Closer> stream;
  std::optional<GoesWithTheTool> goes;
};

// A file as the user names it; "-" is standard input, which is copied to a file when a path or
// the content is asked for.
class InputFile {
 public:
  // Throws Failure if it cannot be read.
  explicit InputFile(const std::string& name);

  const std::string& Path() const { return copy ? copy->Path() : path; }
  // In messages, with a line if there is one.
  std::string At(int line) const { return line > 0 ? name + ':' + std::to_string(line) : name; }
  const std::string& Name() const { return name; }
  const std::string& Asked() const { return path; }
  std::string Content() const;

 private:
  std::string path;
  std::string name;
  std::unique_ptr<TemporaryFile> copy;
};

// Runs the command on each file. One that fails is a complaint, and the others have their turn. The
// answer is the worst exit code.
int ForEachFile(Session& session, const std::vector<std::string>& names,
                const std::function<int(const InputFile&)>& command);

// Where a result goes: standard output, or with a path a file. Throws Failure.
class Target {
 public:
  // A file that is there is left alone without `replace`.
  Target(Output& output, const std::string& path, bool replace);

  void Write(std::string_view bytes);
  // For what is to be written by its path: no Write then.
  const std::string& Path();
  void Finish();

 private:
  void Open();
  void CheckFile() const;

  Output& out;
  std::string path;
  std::unique_ptr<WholeFile> whole;
  std::ofstream file;
  std::unique_ptr<TemporaryFile> copy;  // of what goes to standard output
};

}  // namespace kvor
