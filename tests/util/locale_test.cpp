// The process's locale and the code page that comes with it.

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "platform/posix/locale_codeset.h"
#include "util/textsupport.h"

namespace {

class Locale : public testing::Test {
 protected:
  ~Locale() override { std::setlocale(LC_ALL, former.c_str()); }

  KeepCodePage keep;
  std::string former = std::setlocale(LC_ALL, nullptr);
};

TEST_F(Locale, UnknownNameLeavesTheCodePageAlone) {
  SetCP(866);
  for (const char* name : {"no such locale", "xx_YY.UTF-8", ".12345", ".x", "."})
    EXPECT_EQ(SetLocale(name), 0) << name;
  EXPECT_EQ(SetLocale(u"нет такой"), 0);
  EXPECT_EQ(SetLocale("C"), 0);  // known, but without a code page
  EXPECT_EQ(GetLocal(), 866);
}

TEST_F(Locale, KnownNameGivesItsCodePageAndAnswersTheFormerOne) {
  SetCP(866);
  EXPECT_EQ(SetLocale("C.UTF-8"), 866);
  EXPECT_EQ(GetLocal(), 65001);
  SetCP(866);
  EXPECT_EQ(SetLocale(static_cast<const char*>(nullptr)), 866);  // takes over the present one
  EXPECT_EQ(SetLocale(u".1251"), 65001);
  EXPECT_EQ(GetLocal(), 1251);
  EXPECT_EQ(SetLocale(".ACP"), 1251);
  EXPECT_EQ(GetLocal(), platform::SystemCodePage());
}

// Each case runs in a process of its own: the system's code page is asked for once.
void ExpectSystemCodePage(const char* environment, int expected) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        setenv("LC_ALL", environment, 1);
        const bool zeroAtFirst = GetLocal() == 0 && SetLocale(".ACP") == 0;
        std::exit(zeroAtFirst && GetLocal() == expected ? 0 : 1);
      },
      testing::ExitedWithCode(0), "")
      << environment;
}

TEST(LocaleDeathTest, EnvironmentNamesTheSystemsCodePageInstalledOrNot) {
  ExpectSystemCodePage("C", 65001);
  ExpectSystemCodePage("C.UTF-8", 65001);
  ExpectSystemCodePage("ru_RU.KOI8-R", 20866);
  ExpectSystemCodePage("ru_RU.CP1251@modifier", 1251);
  ExpectSystemCodePage("xx_YY", 65001);
}

TEST(Codeset, HasANumberWhateverItsSpelling) {
  const std::pair<const char*, int> names[] = {
      {"UTF-8", 65001},       {"utf8", 65001}, {"windows-1252", 1252},
      {"ISO-8859-15", 28605}, {"EUC-KR", 949}, {"ANSI_X3.4-1968", 0},
      {"ISO-8859-12", 0},     {"CP", 0},       {"CP99999", 0}};
  for (const auto& [name, number] : names)
    EXPECT_EQ(platform::CodePageOfCodeset(name), number) << name;
}

}  // namespace
