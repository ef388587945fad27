// Names of code pages.

#include <gtest/gtest.h>

#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"

namespace {

TEST(Catalogue, NamesGoBothWays) {
  struct Entry {
    int codePage;
    std::u16string charset, name;
  };
  const Entry entries[] = {
      {1251, u"windows-1251", u"Cyrillic (Windows)"},
      {1200, u"unicode", u"Unicode"},
      {54936, u"GB18030", u"Chinese Simplified (GB18030)"},
  };
  for (const Entry& entry : entries) {
    EXPECT_EQ(CP2chset(entry.codePage), entry.charset);
    EXPECT_EQ(CP2name(entry.codePage), entry.name);
    EXPECT_EQ(chset2CP(entry.charset), entry.codePage);
    EXPECT_EQ(chset2CP(to_upper(entry.charset)), entry.codePage);
  }
  const std::pair<const char16_t*, int> labels[] = {{u"UTF-16", 1200},
                                                    {u"ASCII", 20127},
                                                    {u"GBK", 936},
                                                    {u"IBM866", 866},
                                                    {u"csiso2022jp", 50221}};
  for (const auto& [label, codePage] : labels) EXPECT_EQ(chset2CP(label), codePage);
}

TEST(Catalogue, UnknownEntryThrowsItsWords) {
  const auto expectWords = [](auto call) {
    try {
      call();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const Except& error) {
      EXPECT_EQ(error.GetText(), "Multianguage support error");
    }
  };
  for (int codePage : {0, -1, 1201, 10010, 12345}) {
    expectWords([=] { CP2chset(codePage); });
    expectWords([=] { CP2name(codePage); });
  }
  for (const char16_t* charset : {u"", u"utf-88", u"utf", u"кои8-р"})
    expectWords([=] { chset2CP(charset); });
}

}  // namespace
