// Two small languages of the seam: masks of file names, and command lines.
#include <gtest/gtest.h>

#include "platform/posix/commandline.h"
#include "platform/posix/mask.h"

using platform::FitsMask;

TEST(Mask, FitsByWholeCharactersAndTakesAnyExtensionForNoneToo) {
  const struct {
    const char *mask, *fits, *other;
  } cases[] = {{"a*.*", "ab", "ba.b"},      {"a.*", "a", "ab.c"}, {".*", ".", "x"},
               {"?", "🗄", "яя"},         {"?", "я", ""},       {"*??", "яb", "🗄"},
               {"*ab*b", "aabab", "aabba"}, {"*.t", ".t", "a.T"}, {"", "", "a"}};
  for (const auto& c : cases)
    EXPECT_TRUE(FitsMask(c.fits, c.mask) && !FitsMask(c.other, c.mask)) << c.mask << ' ' << c.fits;
}

TEST(CommandLine, IsSplitAtBlanksOutsideQuotesAndBackslashesMatterBeforeQuotesAlone) {
  const std::pair<const char*, const char*> cases[] = {
      {R"( "a b"c"d e"	"" )", "<a bcd e><>"},
      {R"(a\ b \\ c\)", R"(<a\><b><\\><c\>)"},
      {R"(\"a \\"b c" \\\"d)", R"(<"a><\b c><\"d>)"},
      {R"(a "b \" )", R"(<a><b " >)"},
  };
  for (const auto& [line, pieces] : cases) {
    std::string joined;
    for (const std::string& piece : platform::SplitCommandLine(line)) joined += '<' + piece + '>';
    EXPECT_EQ(joined, pieces) << line;
  }
}
