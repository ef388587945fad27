// What the first program of a newcomer does: makes a keyed file, stores a record, reads it back.
#include <cstdio>
#include <string>

#include <kvorlib/kvorlib.h>

// Templates come out of the library too, for those who derive from them.
struct Quotes : TagsProc<char16_t> {};

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  IndexFile file;
  std::string article;
  if (!file.Create(argv[1], IndexFile::KD_TEXT0) || !file.Put(std::string("cat кошка")) ||
      !file.Get("cat", article) || !file.Close()) {
    std::fprintf(stderr, "%s\n", file.ErrorMessage());
    return 1;
  }
  IndexFile again(argv[1], true, IndexFile::KD_TEXT0);
  Quotes quotes;
  quotes.GetArray().emplace_back(7, u"\"", u"\"", u'\\');
  SimpleParser<char16_t> lexer;
  lexer.SetParsTags(quotes);
  BASE_STRING<char16_t> text(u"\"cat\"", -1), item;
  int length = 0;
  if (lexer.GetItem(text, item, length) != 7 || length != 5) return 1;
  std::printf("%s\n", again.Get("cat").c_str());
  return 0;
}
