// The text in which a hive is kept: keys in brackets, and below each its values, all in quotes.
//
//   # Settings of kvorlib …
//   format = 1
//
//   ["Software\\Kvor-3\\KBase"]
//   "" = "english"
//   "english" = "/home/anna/bases/english.txt"
//
// UTF-8. Inside quotes \\ \" \n \r \t and \uXXXX (one UTF-16 unit, so that lone surrogates have a
// form) stand for what a line cannot hold or an eye cannot see. Comments and empty lines may stand
// anywhere and are kept. There is nothing else: a line of any other form makes the text a damaged
// one, and another number of format a text for later versions.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/registry.h"

namespace platform {

class RegistryText {
 public:
  // A text without keys.
  RegistryText();
  // False with `words` ("line 7: …") when it is not of the form above; the object is then unusable.
  bool Parse(std::string_view text, std::string& words);
  std::string Text() const;

  // Whether the key, or one below it, has a section.
  bool Has(const std::u16string& path) const;
  bool HasBelow(const std::u16string& path) const;
  // None when there is no such key.
  RegistryValues Values(const std::u16string& path) const;

  void Add(const std::u16string& path);  // makes the section, unless it is there
  void Set(const std::u16string& path, const std::u16string& name, const std::u16string& value);
  // The section's values go, the section stays.
  void Empty(const std::u16string& path);
  void Erase(const std::u16string& path);

 private:
  enum class Kind { Kept, Section, Value };

  struct Line {
    Kind kind = Kind::Kept;
    std::string text;      // as it stands in the file, without the line end
    std::u16string name;   // of a value; of a section, its path
    std::u16string value;  // of a value
  };

  static const char* ParseLine(std::string_view text, Line& line);
  static Line SectionLine(const std::u16string& path);
  static Line ValueLine(const std::u16string& name, const std::u16string& value);
  // The lines that belong to a section, its head included; an empty range at the end if it is
  // missing.
  std::pair<std::size_t, std::size_t> Section(const std::u16string& path) const;
  bool Unique(const Line& line) const;

  std::vector<Line> lines;
};

}  // namespace platform
