// Reading a file of symbols. A mistake never ends the reading by itself: what cannot be read is
// reported line by line, and tried again further on, until the text ends.
#include <iterator>
#include <utility>

#include "kvorlib/encoding.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/messages.h"
#include "kvorlib/symbols.h"
#include "kvorlib/terms.h"

namespace {

// What the items of the file are.
constexpr int White = 1;
constexpr int Identifier = 3;
constexpr int EndOfText = 4;
constexpr int LineEnd = 6;
constexpr int Comment = 7;
constexpr int String = 8;
constexpr int SymbolsSection = 10;
constexpr int TranslitSection = 11;
// No item: the text ended in a mistake.
constexpr int Broken = -1;

constexpr char16_t Mark = 0xFEFF;
constexpr const char16_t* WrongString = u"Wrong string";

std::u16string AsString(const BASE_STRING<char16_t>& item) {
  return item.len > 0 ? std::u16string(item.ptr, static_cast<std::size_t>(item.len))
                      : std::u16string();
}

SimpleParser<char16_t> SymbolParser() {
  const std::u16string identifiers = std::u16string(STANDARD_IDENT_SYMBOLS<char16_t>) + u"-";
  SimpleParser<char16_t> parser(identifiers.c_str(), u"=;", u" \t\r", nullptr);
  const TAGSDEF<char16_t> tags[] = {{Comment, u"//", u"\n", 0},
                                    {String, u"\"", u"\"", u'\\'},
                                    {SymbolsSection, u"[SYMBOLS]", u"", 0},
                                    {TranslitSection, u"[TRANSLIT]", u"", 0}};
  parser.SetParsTags(tags, static_cast<int>(std::size(tags)));
  return parser;
}

std::string DefaultFile() {
  const std::u16string folder = KBEnv::GetKBMap()->GetDir(KBEnv::DIR_CONFIG, u"");
  return w_u8(folder.data(), folder.data() + folder.size()) + "symbols.dat";
}

}  // namespace

bool SymbControl::Load(const char* fileName) {
  const std::string name = fileName != nullptr ? fileName : DefaultFile();
  Unload();
  SimpleParser<char16_t> parser = SymbolParser();
  LoadText<char16_t> text;
  text.SetTextParser(&parser);
  if (!text.Load(u8_w(name.data(), name.data() + name.size()).c_str(), nullptr)) {
    LogMessage(MC_ALWAYS, "\n!!!   Cannot open letters definition file %s   !!!\n", name.c_str());
    return false;
  }
  BASE_STRING<char16_t> item;
  int code = GetItem(text, item);
  if (item.len > 0 && *item.ptr == Mark) code = GetItem(text, item);
  for (;;) {
    switch (code) {
      case EndOfText:
        loaded = true;
        return true;
      case SymbolsSection:
        code = LoadComsymb(text, item);
        break;
      case TranslitSection:
        code = LoadTranslit(text, item);
        break;
      case Broken:
        return false;
      default:
        if (!ErrProc(text, WrongString)) return false;
    }
  }
}

int SymbControl::GetItem(LoadText<char16_t>& text, BASE_STRING<char16_t>& item) {
  int code = White;
  while (code == White || code == LineEnd || code == Comment) code = text.GetItem(item);
  return code;
}

std::u16string SymbControl::GetItem(LoadText<char16_t>& text) {
  BASE_STRING<char16_t> item;
  GetItem(text, item);
  return AsString(item);
}

bool SymbControl::CheckItem(LoadText<char16_t>& text, const char16_t* expected) {
  if (GetItem(text) == expected) return true;
  ErrProc(text, WrongString);
  return false;
}

// Passes over the line behind the reported one, too; false if there is none, which ends the
// reading. A mistake in the last line but one is therefore followed by a report at the end of the
// text.
bool SymbControl::ErrProc(LoadText<char16_t>& text, const char16_t* message) {
  BASE_STRING<char16_t> line;
  text.GetCurrLine(line);
  if (line.len > 0) --line.len;  // its line end, or of an unfinished line the last character
  LogMessage(MC_ALWAYS, u"!!!   %s %s   !!!\n", message, AsString(line).c_str());
  return text.SkipLine();
}

// What either section has behind the first item of an entry: =, a string, ;. A false answer is a
// reported mistake; `code` is then the first item's still, or Broken if the text has ended.
bool SymbControl::ReadValue(LoadText<char16_t>& text, BASE_STRING<char16_t>& value, int& code) {
  if (GetItem(text) != u"=" || GetItem(text, value) != String) {
    if (!ErrProc(text, WrongString)) code = Broken;
    return false;
  }
  CheckItem(text, u";");  // an entry without it counts all the same
  return true;
}

int SymbControl::LoadComsymb(LoadText<char16_t>& text, BASE_STRING<char16_t>& item) {
  int code = GetItem(text, item);
  while (code == Identifier) {
    const std::u16string name = AsString(item);
    const std::uint16_t language = TermCode(w_u8(name.data(), name.data() + name.size()));
    if (language == 0) {
      if (!ErrProc(text, (u"Wrong language code " + name).c_str())) code = Broken;
      continue;
    }
    if (alphabets.contains(language)) ErrProc(text, (u"Doubling language code " + name).c_str());
    BASE_STRING<char16_t> letters;
    if (!ReadValue(text, letters, code)) continue;
    alphabets[language] = AsString(letters);
    code = GetItem(text, item);
  }
  return code;
}

int SymbControl::LoadTranslit(LoadText<char16_t>& text, BASE_STRING<char16_t>& item) {
  std::vector<STRINGPAIR<char16_t>> pairs;
  int code = GetItem(text, item);
  while (code == String) {
    STRINGPAIR<char16_t> pair;
    AssignStr(pair.first, item);
    BASE_STRING<char16_t> written;
    if (!ReadValue(text, written, code)) continue;
    pair.second = AsString(written);
    pairs.push_back(std::move(pair));
    code = GetItem(text, item);
  }
  transliteration.SetArray(pairs.data(), static_cast<int>(pairs.size()));
  return code;
}

void SymbControl::AssignStr(std::u16string& target, const BASE_STRING<char16_t>& source) {
  target = AsString(source);
  for (std::size_t at = 0; (at = target.find(u"\\\"", at)) != target.npos;) target.erase(at, 1);
}
