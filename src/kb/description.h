// The reader of descriptions of knowledge bases: lines of NAME = "value", comments from '#' on.
#pragma once

#include <string>

#include "kvorlib/knowledgebase.h"
#include "kvorlib/lexer.h"
#include "kvorlib/textbuffer.h"

namespace KBEnv {

// What is wrong is collected, a line each, and stops nothing: a line that cannot be read is left
// out. Later settings of a name replace earlier ones; settings that are there already stay.
class dmProc : public LoadText<char16_t> {
 public:
  // The next item that is not white space.
  int GetItem(BASE_STRING<char16_t>& item) override;
  // Sets the lexer up, forgets the errors and begins to read.
  virtual void SetUpParser();
  virtual void AddError(const std::u16string& message);

  // True, whatever is wrong in the text.
  bool LoadFromText(const std::u16string& text, Settings& settings);
  // False when the file cannot be read, and when there are errors.
  bool LoadFromFile(const std::u16string& path, Settings& settings);

  const std::u16string& GetErrors() const { return errors; }

 private:
  void ReadLines(Settings& settings);
  int ReadSetting(const std::u16string& name, Settings& settings);
  int WrongSetting(int code);
  int SkipRest();

  SimpleParser<char16_t> parser;
  std::u16string errors;
};

}  // namespace KBEnv
