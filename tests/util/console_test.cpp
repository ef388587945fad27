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
    stream.put('a').put("ё"[0]).put("ё"[1]) << std::flush << "два";
    EXPECT_TRUE(stream.good());
  }
  EXPECT_EQ(shown, (std::vector<std::u16string>{u"ёж", u"a", u"\uFFFD", u"\uFFFD", u"два"}));
  stream << "back";
  const SetupUTF8WindowsConsole none(stream, {});
  stream << " and there";
  EXPECT_EQ(stream.str(), "back and there");
}

}  // namespace
