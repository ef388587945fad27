// AlfFile: the homonyms of a name, which are a stem and the stem with a digit from 1 to 9 behind
// it.
#include <algorithm>
#include <string_view>

#include "keyed/utf8.h"
#include "kvorlib/alffile.h"

namespace {

constexpr std::string_view homonymDigits = "123456789";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

// The digits are looked for two bytes before the last one, not at the last one: so "abc1" keeps its
// digit, and "ab1cd" loses its last letter. Names in use were chosen by what this finds.
int AlfFile::GetNonDigitLen(std::string const& name) {
  int const last = static_cast<int>(name.find_last_not_of(' ') + 1) - 1;
  if (last <= 1) return last;
  std::size_t const from = static_cast<std::size_t>(last) - 2;
  std::size_t const end = std::min(name.find_first_not_of(homonymDigits, from), name.size());
  return end - from == 1 ? last - 1 : last;
}

int AlfFile::GetHoms(std::string const& name, std::vector<BASIC_ALFSTAT<char>>& result) const {
  if (name.empty()) return -1;
  int const length = GetNonDigitLen(name) + 1;
  std::string const stem = name.substr(0, static_cast<std::size_t>(length));
  result.clear();  // behind the last use of `name`, which may belong to an article in it
  BASIC_ALFSTAT<char> article;
  SetExactMatch(true);
  if (GetAlfArticle(stem.c_str(), &article)) result.push_back(article);
  // Blanks alone have no stem, and single digits are not their homonyms.
  if (!stem.empty() && !IsDigit(stem.back())) {
    for (char const digit : homonymDigits) {
      if (GetAlfArticle((stem + digit).c_str(), &article)) result.push_back(article);
    }
  }
  return static_cast<int>(result.size());
}

int AlfFile::GetHoms(std::u16string const& name,
                     std::vector<BASIC_ALFSTAT<char16_t>>& result) const {
  std::vector<BASIC_ALFSTAT<char>> narrow;
  int const count = GetHoms(keyed::Narrow(name), narrow);
  if (count == 0) return 0;
  result.clear();
  for (BASIC_ALFSTAT<char> const& article : narrow) Convert(result.emplace_back(), article);
  return count;
}
