// The process's locale and the code page that comes with it.

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

#include "platform/posix/locale_codeset.h"
#include "util/textsupport.h"

namespace {

TEST(Locale, KnownNameGivesItsCodePageAndAnswersTheFormerOneAndUnknownOneDoesNothing) {
  const KeepCodePage keep;
  SetCP(866);
  for (const char* name : {"no such locale", "xx_YY.UTF-8", ".12345", ".x", ".", "C"})
    EXPECT_EQ(SetLocale(name), 0) << name;  // "C" is known, but without a code page
  EXPECT_EQ(SetLocale("C.UTF-8"), 866);
  EXPECT_EQ(GetLocal(), 65001);
  SetCP(866);
  EXPECT_EQ(SetLocale(static_cast<const char*>(nullptr)), 866);  // takes over the present one
  EXPECT_EQ(SetLocale(u".1251"), 65001);
  EXPECT_EQ(SetLocale(".ACP"), 1251);
  EXPECT_EQ(GetLocal(), platform::SystemCodePage());
  std::setlocale(LC_ALL, "C");
}

// Each case runs in a process of its own: the system's code page is asked for once.
TEST(LocaleDeathTest, EnvironmentNamesTheSystemsCodePageInstalledOrNot) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto run = [](const char* environment, int expected) {
    setenv("LC_ALL", environment, 1);
    const bool zeroAtFirst = GetLocal() == 0 && SetLocale(".ACP") == 0;
    std::exit(zeroAtFirst && GetLocal() == expected ? 0 : 1);
  };
  const std::pair<const char*, int> cases[] = {
      {"C", 65001}, {"ru_RU.KOI8-R", 20866}, {"ru_RU.CP1251@modifier", 1251}, {"xx_YY", 65001}};
  for (const auto& [environment, expected] : cases)
    EXPECT_EXIT(run(environment, expected), testing::ExitedWithCode(0), "") << environment;
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
