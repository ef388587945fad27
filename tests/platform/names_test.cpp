// Two small languages of the seam: masks of file names, and command lines.
#include <gtest/gtest.h>

#include "platform/posix/commandline.h"
#include "platform/posix/mask.h"

namespace platform {
namespace {

TEST(Mask, FitsByWholeCharactersAndTakesAnyExtensionForNoneToo) {
  const struct {
    const char *mask, *fits, *other;
  } cases[] = {{"a*.*", "ab", "ba.b"},      {"a.*", "a", "ab.c"}, {".*", ".", "x"},
               {"?", "🗄", "яя"},         {"?", "я", ""},       {"*??", "яb", "🗄"},
               {"*ab*b", "aabab", "aabba"}, {"*.t", ".t", "a.T"}, {"", "", "a"}};
  for (const auto& c : cases) {
    EXPECT_TRUE(FitsMask(c.fits, c.mask)) << c.mask << ' ' << c.fits;
    EXPECT_FALSE(FitsMask(c.other, c.mask)) << c.mask << ' ' << c.other;
  }
}

TEST(CommandLine, IsSplitAtBlanksOutsideQuotesAndBackslashesMatterBeforeQuotesAlone) {
  const std::pair<const char*, const char*> cases[] = {
      {" \t ", ""},
      {R"( "a b"c"d e"	"" )", "<a bcd e><>"},
      {R"(a\ b \\ c\)", R"(<a\><b><\\><c\>)"},
      {R"(\"a \\"b c" \\\"d)", R"(<"a><\b c><\"d>)"},
      {R"(a "b \" )", R"(<a><b " >)"},
  };
  for (const auto& [line, pieces] : cases) {
    std::string joined;
    for (const std::string& piece : SplitCommandLine(line)) joined += '<' + piece + '>';
    EXPECT_EQ(joined, pieces) << line;
  }
}

}  // namespace
}  // namespace platform
