// dictd_lines: writes a dictd dictionary as lines for `kvor store load --key 3`.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "records.h"

namespace {

int Convert(const std::string& index, const std::string& text, const std::string& output) {
  const dictd::Dictionary dictionary(index, text);
  dictd::Tally tally;
  const auto records = dictd::MakeRecords(dictionary, tally);

  std::ofstream out(output, std::ios::binary);
  std::size_t longest = 0;
  for (const dictd::Record& record : records) {
    out << record.key << ' ' << record.article << '\n';
    longest = std::max(longest, record.key.size() + 1 + record.article.size());
  }
  out.close();
  if (!out) throw dictd::Error(output + ": cannot be written");

  std::printf("%zu entries: %zu records, %zu articles joined to one of the same headword\n",
              dictionary.Entries().size(), tally.records, tally.joined);
  std::printf(
      "%zu entries about the dictionary and %zu without a headword left out, %zu headwords cut\n",
      tally.about, tally.wordless, tally.cut);
  std::printf("longest record: %zu bytes\n", longest);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr,
                 "usage: dictd_lines INDEX TEXT.dz OUTPUT\n"
                 "Writes each entry as a line \"headword article\"; blanks in a headword become "
                 "underscores.\n");
    return 2;
  }
  try {
    return Convert(argv[1], argv[2], argv[3]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "dictd_lines: %s\n", e.what());
    return 1;
  }
}
