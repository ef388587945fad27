// Case, unit by unit.

#include <gtest/gtest.h>

#include "kvorlib/encoding.h"

namespace {

TEST(LetterCase, MapsUnitByUnit) {
  struct Case {
    std::u16string text, lower, upper, title;
  };
  const Case cases[] = {
      {u"", u"", u"", u""},
      {u"ё", u"ё", u"Ё", u"Ё"},
      {u"привет МИР, Ёж", u"привет мир, ёж", u"ПРИВЕТ МИР, ЁЖ", u"Привет мир, ёж"},
      {u"straße", u"straße", u"STRAßE", u"Straße"},  // never two units for one
      {u"ÿ ΣΑΣ", u"ÿ σασ", u"Ÿ ΣΑΣ", u"Ÿ σασ"},
      {u"Ii", u"ii", u"II", u"Ii"},
      {u"İİ", u"ii", u"İİ", u"İi"},
      {u"𐐀𐐨", u"𐐀𐐨", u"𐐀𐐨", u"𐐀𐐨"},  // pairs stay as they are
      {u"日本 1", u"日本 1", u"日本 1", u"日本 1"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(to_lower(c.text), c.lower);
    EXPECT_EQ(to_upper(c.text), c.upper);
    EXPECT_EQ(to_title(c.text), c.title);
  }
  const std::u16string lone{0xD801, u'A', 0xDC28};
  EXPECT_EQ(to_lower(lone), (std::u16string{0xD801, u'a', 0xDC28}));
}

}  // namespace
