// Digests: the standard's own examples, every length around a block's end, and files.
#include "kvorlib/md5.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "support/tempfolder.h"

namespace {

// Takes a text over from the library.
template <typename Character>
std::basic_string<Character> Own(Character* digits) {
  return std::unique_ptr<Character, void (*)(void*)>(digits, std::free).get();
}

TEST(Md5, GivesTheDigestsOfTheStandardForTextsAndFiles) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {std::string(55, 'x'), "04364420e25c512fd958a70738aa8f72"},
      {std::string(56, 'x'), "668a72d5ba17f08e62dabcafad6db14b"},
      {std::string(1024, 'x'), "7265f4d211b56873a381d321f586e4a9"},
      {std::string(1025, 'x'), "41b2b8ce59ecc0c64c9c7ecaae3002c3"},
  };
  const TempFolder folder;
  for (const auto& [text, digest] : cases) {
    EXPECT_EQ(Own(MD5String(text.c_str())), digest) << text;
    folder.Write("ф", text);
    EXPECT_EQ(Own(MD5File(folder.Path("ф").c_str())), digest) << text;
  }
  EXPECT_EQ(Own(MD5Wstring(u"Да\xD800")), u"f5818381caf73f7dd1977b3d3d4cef43");
  EXPECT_EQ(Own(MD5File("/dev/null")), cases[0].second) << "no regular file";
  for (const char* none : {"missing", ""}) EXPECT_EQ(MD5File(folder.Path(none).c_str()), nullptr);
}

}  // namespace
