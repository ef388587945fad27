// Files that the library is to read by their path, standard input among them, and where results go.
#pragma once

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "namelessfile.h"
#include "wholefile.h"

namespace kvor {

// A file as the user names it; "-" is standard input.
class InputFile {
 public:
  // Throws Failure if it cannot be read.
  explicit InputFile(const std::string& name);

  // Where it can be read from, as often as is wanted.
  const std::string& Path() const { return copy ? copy->Path() : path; }
  // In messages, with a line if there is one.
  std::string At(int line) const { return line > 0 ? name + ':' + std::to_string(line) : name; }
  const std::string& Name() const { return name; }
  const std::string& Asked() const { return path; }
  std::string Content() const;

 private:
  std::string path;
  std::string name;
  std::unique_ptr<NamelessFile> copy;
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
  void CheckFile() const;

  Output& out;
  std::string path;
  std::unique_ptr<WholeFile> whole;
  std::ofstream file;
  std::unique_ptr<NamelessFile> copy;  // of what goes to standard output
};

}  // namespace kvor
