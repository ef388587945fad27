// A host of the shared library for the test of the start: carries out the words of its command line
// one after the other and says what came out, a line each; behind a start, which is the default,
// how many bases are valid, all that are listed, and the standard ones.
//
//   start[=NAME]  StartUp, with NAME as the default     stop   ShutDown
//   add=FILE      LoadFromFile                          save   SaveListToRegistry
//   throw         a host's callback that throws
#include <iostream>
#include <string_view>

#include "kvorlib/kvorlib.h"

namespace {

std::string Narrow(const std::u16string& text) { return U2A(text, 65001); }

void Show(const std::u16string& text) {
  std::cout << "user: " << Narrow(text.substr(0, text.find(u"\r\n"))) << '\n';
}

void Throw(const std::u16string&) { throw u"a bare text"; }

void ShowState(const KBEnv::KBMap& map) {
  std::vector<std::u16string> names;
  map.GetKBArray(names, false);
  std::vector<std::u16string> valid;
  map.GetKBArray(valid, true);
  std::cout << Narrow(map.GetDefaultKB()) << ' ' << valid.size();
  for (const std::u16string& name : names) std::cout << ' ' << Narrow(name);
  std::cout << '|';
  for (const std::u16string& name : map.GetStdNames()) std::cout << Narrow(name) << ' ';
  std::cout << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  KBEnv::KBMap& map = *KBEnv::GetKBMap();
  SetUserCallback(Show);
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    const std::string_view command = word.substr(0, word.find('='));
    const std::string_view argument = word.substr(std::min(command.size() + 1, word.size()));
    const std::u16string name = A2U(std::string(argument), 65001);
    if (command == "-local") continue;  // for the one who lays out the files
    std::u16string words;
    bool answer = true;
    if (command == "throw") SetUserCallback(Throw);
    if (command == "start") answer = map.StartUp(words, name);
    if (command == "stop") answer = map.ShutDown();
    if (command == "add") answer = map.LoadFromFile(name, words);
    if (command == "save") answer = map.SaveListToRegistry(words, false);
    std::cout << command << ' ' << (answer ? "true" : "false") << ": "
              << Narrow(words.substr(0, words.find(u"\r\n"))) << '\n';
    if (command == "start") ShowState(map);
  }
  return 0;
}
