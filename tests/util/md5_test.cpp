// Digests of texts and files. All lengths around a block's end are compared with md5sum's
// elsewhere.
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
  const TempFolder folder;
  for (const auto& [text, digest] :
       {std::pair(std::string(), "d41d8cd98f00b204e9800998ecf8427e"),
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {std::string(1025, 'x'), "41b2b8ce59ecc0c64c9c7ecaae3002c3"}}) {
    EXPECT_EQ(Own(MD5String(text.c_str())), digest);
    folder.Write("ф", text);
    EXPECT_EQ(Own(MD5File(folder.Path("ф").c_str())), digest);
  }
  EXPECT_EQ(Own(MD5Wstring(u"Да\xD800")), u"f5818381caf73f7dd1977b3d3d4cef43");
  EXPECT_EQ(Own(MD5File("/dev/null")), Own(MD5String(""))) << "no regular file";
  for (const char* none : {"missing", ""}) EXPECT_EQ(MD5File(folder.Path(none).c_str()), nullptr);
}

}  // namespace
