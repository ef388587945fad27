// The started library: what commands need that work with knowledge bases or terms.
#pragma once

#include <memory>
#include <string>

#include "commands.h"

namespace kvor {

// Starts the library and shuts it down at the end. There is one at a time.
//
//   Environment environment(options.kb);
//   const unsigned short code = TermCode(name);
//
// While it lives, messages of the library to the user and its log of class MC_ALWAYS are
// complaints of the tool. What else the library throws, bare texts among it, becomes one in main.
class Environment {
 public:
  enum class Need {
    Default,   // a start that fails is a Failure
    ListOnly,  // go on with what was reached, so that a list can be mended; Started() tells
  };

  // A name makes that knowledge base the default, for this process alone. With Need::Default a
  // knowledge base of the list that cannot be used is a complaint.
  // Throws Failure with the library's words, and without a name when the user's list cannot be
  // read, though the library then starts on its own knowledge base.
  explicit Environment(const std::string& kb = {}, Need need = Need::Default);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  bool Started() const { return started; }

 private:
  struct Ears;
  std::unique_ptr<Ears> ears;
  bool started;
};

// The option --kb NAME.
CLI::Option* AddBaseOption(CLI::App& command, std::string& kb);

// Within the handler of any exception: what was thrown, in words. Rethrows what has none.
std::string WordsOfException();

// Lines of the library as one line, without the marks around them.
std::string OneLine(const std::u16string& text);

// UTF-8 to wide and back.
std::u16string Wide(const std::string& text);
// Of a path. Throws Failure for one that is no UTF-8: the library would go to another file.
std::u16string WidePath(const std::string& path);
std::string Narrow(const std::u16string& text);

}  // namespace kvor
