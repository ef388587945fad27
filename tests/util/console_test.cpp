// UTF-8 on its way to a console of wide text.

#include "util/console.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

TEST(Console, TextInOnePieceIsWholeAndBytesOneByOneAreNot) {
  std::vector<std::u16string> shown;
  std::ostringstream stream;
  {
    const SetupUTF8WindowsConsole console(
        stream, [&](const std::u16string& text) { shown.push_back(text); });
    stream << "ёж";
    stream.put('a').put("ё"[0]).put("ё"[1]);
    stream << std::flush;
    EXPECT_TRUE(stream.good());
    using Traits = std::char_traits<char>;
    EXPECT_NE(stream.std::ios::rdbuf()->sputc('z'), Traits::eof());
    EXPECT_EQ(stream.std::ios::rdbuf()->sputn("два", 6), 6);
  }
  EXPECT_EQ(shown, (std::vector<std::u16string>{u"ёж", u"a", u"\uFFFD", u"\uFFFD", u"z", u"два"}));
  stream << "back";
  EXPECT_EQ(stream.str(), "back");
}

TEST(Console, WithoutAConsoleTheStreamStays) {
  std::ostringstream stream;
  const auto* former = stream.std::ios::rdbuf();
  const SetupUTF8WindowsConsole console(stream, {});
  EXPECT_EQ(stream.std::ios::rdbuf(), former);
}

}  // namespace
