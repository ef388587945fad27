// dictd_table: writes a dictd dictionary as a table of articles for `kvor dict import`.
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

#include "articles.h"

namespace {

int Convert(const std::string& index, const std::string& text, const std::string& output) {
  const dictd::Dictionary dictionary(index, text);
  std::size_t dropped = 0;
  const auto articles = dictd::MakeArticles(dictionary, dropped);

  std::ofstream out(output, std::ios::binary);
  std::size_t bare = 0;
  for (const dictd::Article& article : articles) {
    out << dictd::RowOf(article) << '\n';
    if (article.mtext.empty()) ++bare;
  }
  out.close();
  if (!out) throw dictd::Error(output + ": cannot be written");

  std::printf("%zu entries: %zu articles, %zu of them without a translation; ",
              dictionary.Entries().size(), articles.size(), bare);
  std::printf("%zu senses beyond the ten of a name left out\n", dropped);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr,
                 "usage: dictd_table INDEX TEXT.dz OUTPUT\n"
                 "Writes each sense of each entry as a row; the homonyms of NAME are NAME1 to "
                 "NAME9.\n");
    return 2;
  }
  try {
    return Convert(argv[1], argv[2], argv[3]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "dictd_table: %s\n", e.what());
    return 1;
  }
}
