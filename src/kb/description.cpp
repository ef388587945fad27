// Reading a description, item by item.
#include "kb/description.h"

namespace KBEnv {

namespace {

// The codes of the lexer, and our two tags behind them.
enum Item : int { White = 1, Separator = 2, Identifier = 3, End = 4, LineEnd = 6, Value, Comment };

}  // namespace

int dmProc::GetItem(BASE_STRING<char16_t>& item) {
  int code = White;
  while (code == White) code = LoadText<char16_t>::GetItem(item);
  return code;
}

void dmProc::SetUpParser() {
  // No digits; the point is there so that a setting can be named after a file.
  constexpr const char16_t* identifiers = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_.";
  TAGSDEF<char16_t> tags[] = {{Value, u"\"", u"\"", u'\\'}, {Comment, u"#", u"\n", 0}};
  parser = SimpleParser<char16_t>();
  parser.SetParsParam(identifiers, Identifier);
  parser.SetParsParam(u"=", Separator);
  parser.SetParsTags(tags, 2);
  errors.clear();
  SetTextParser(&parser);
}

void dmProc::AddError(const std::u16string& message) {
  if (!errors.empty()) errors += u"\r\n";
  errors += message;
}

bool dmProc::LoadFromText(const std::u16string& text, Settings& settings) {
  errors.clear();
  SetText(text);
  ReadLines(settings);
  return true;
}

bool dmProc::LoadFromFile(const std::u16string& path, Settings& settings) {
  errors.clear();
  if (!Load(path.c_str(), nullptr)) {
    AddError(u"Cannot open file " + path + u" for read");
    return false;
  }
  ReadLines(settings);
  return errors.empty();
}

void dmProc::ReadLines(Settings& settings) {
  SetUpParser();
  BASE_STRING<char16_t> item;
  int code = LineEnd;
  while (code != End) {
    code = GetItem(item);
    if (code == Identifier) {
      code = ReadSetting(std::u16string(item.ptr, item.len), settings);
    } else if (code != End && code != LineEnd && code != Comment) {
      AddError(u"Wrong option string");
      code = SkipRest();
    }
  }
}

// Behind the name. A comment takes its line end with it, so what is skipped behind one is the whole
// of the next line.
int dmProc::ReadSetting(const std::u16string& name, Settings& settings) {
  BASE_STRING<char16_t> item;
  int code = GetItem(item);
  if (code != Separator) return WrongSetting(code);
  code = GetItem(item);
  if (code != Value) return WrongSetting(code);
  if (item.len == 0) return WrongSetting(code);
  settings[name] = std::u16string(item.ptr, item.len);
  code = GetItem(item);
  return code == LineEnd || code == End ? code : SkipRest();
}

int dmProc::WrongSetting(int code) {
  AddError(u"Wrong string in cfg file");
  return code == LineEnd ? code : SkipRest();
}

int dmProc::SkipRest() {
  BASE_STRING<char16_t> item;
  for (;;) {
    const int code = GetItem(item);
    if (code == Comment || code == LineEnd || code == End) return code;
  }
}

}  // namespace KBEnv
