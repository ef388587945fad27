// Whole files: their encodings, the limits of a buffer, what makes saving fail, and the lock.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <future>

#include "kb/folderfixture.h"
#include "kvorlib/errors.h"
#include "kvorlib/filehelpers.h"
#include "platform/fdio.h"

using namespace std::string_literals;

namespace {

class Files : public InFolder {
 protected:
  Files() { SetCP(1251); }
  ~Files() override { SetCP(0); }
};

TEST_F(Files, TellTheirEncodingBeforeTheCallerDoes) {
  const struct {
    std::string bytes;
    int codePage;
    std::u16string wide;
    std::string narrow;
    int codePageAfter;
  } cases[] = {
      {"", -1, u"", "", 0},
      {"\xC4\r\n", -1, u"Д\r\n", "\xC4\r\n", 0},
      {"\x84\xA0", 866, u"Да", "\x84\xA0", 866},
      {"\xEF\xBB\xBF\xD0\x94", 866, u"Д", "\x84", 866},
      {"\xEF\xBB\xBF\xD0\x94", -1, u"Д", "\xD0\x94", 65001},
      {"\xEF\xBB\xBF", 1200, u"", "", 65001},
      {"\xFF\xFE\x14\x04\n\0"s, 866, u"Д\n", "\x84\n", 866},
      {"\x14\x04 \0\x14\x04\x30\x04\n\0"s, -1, u"Д Да\n", "\xC4 \xC4\xE0\n", 0},
      {"\xFF\xFE\x14\x04\x30"s, 1200, u"Д", "\xC4", 0},  // an odd length tells nothing
      {"\xFF\xFE\0\0a\0"s, 1200, u"\0a"s, "", 0},
      {"a\0b"s, 866, u"a", "a\0b"s, 866},
      {"\xEF\xBB\xBF\x61\0b"s, 866, u"a", "a", 866},
  };
  for (const auto& c : cases) {
    Write("t", c.bytes);
    std::u16string wide = u"before";
    EXPECT_TRUE(GetText(Wide("t"), wide, c.codePage));
    EXPECT_EQ(wide, c.wide) << testing::PrintToString(c.bytes);
    std::string narrow = "before";
    int codePage = c.codePage;
    EXPECT_TRUE(GetText(Path("t"), narrow, codePage));
    EXPECT_EQ(narrow, c.narrow) << testing::PrintToString(c.bytes);
    EXPECT_EQ(codePage, c.codePageAfter) << testing::PrintToString(c.bytes);
  }
}

TEST_F(Files, AreSavedWithAMarkInUnicodeAloneAndKeptWhenTheTextCannotBeConverted) {
  const std::string wide = "\xFF\xFE\x14\x04\0\0a\0"s;
  for (const auto& [codePage, bytes] : {std::pair(1200, wide),
                                        {-1, wide},
                                        {65001, "\xEF\xBB\xBF\xD0\x94"s},
                                        {866, "\x84"s},
                                        {0, "\xC4"s}}) {
    Write("t", "a longer text that was there before");
    EXPECT_TRUE(SaveText(Wide("t"), u"Д\0a"s, codePage));
    EXPECT_EQ(Content("t"), bytes) << codePage;
  }
  EXPECT_THROW(SaveText(Wide("t"), u"b", 99999), Except);
  EXPECT_EQ(Content("t"), "\xC4");
  EXPECT_FALSE(SaveText(u"/dev/full", u"a", 0));
  std::u16string text = u"before";
  for (const char* none : {"t/x", "x", "."}) EXPECT_FALSE(GetText(Wide(none), text, 0)) << none;
  EXPECT_EQ(text, u"before");
}

TEST_F(Files, AreSavedWithRoomForTheWholePrefixAndFilledIntoABufferUpToALimit) {
  const platform::FileNumber file(open(Path("t").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  const struct {
    const char* prefix;
    int prefixLength, length, limit;
    std::string content;  // empty where saving is refused
  } cases[] = {{nullptr, 7, 4, -1, "data"},       {"prefix", -1, 4, 10, "prefixdata"},
               {"prefix", 3, 4, 0, "predataata"},  // the end of what was there before
               {"p\0q", 3, 4, 6, "p\0qdata"s},    {"prefix", -1, -1, -2, ""},
               {"prefix", -2, 4, -2, ""},         {"prefix", -1, 0x7FFFFFFF, -2, ""}};
  for (const auto& c : cases) {
    const bool fits = !c.content.empty();
    EXPECT_EQ(SaveBuf(file.Get(), "data", c.length, c.prefix, c.prefixLength), fits);
    EXPECT_EQ(Content("t"), fits ? c.content : "p\0qdata"s);
    int length = 0;
    const std::unique_ptr<const char[]> buffer(FillBuf(file.Get(), length, c.limit));
    ASSERT_EQ(buffer != nullptr, fits);
    if (!fits) continue;
    const std::string text = c.content.substr(0, static_cast<std::size_t>(c.limit));
    EXPECT_EQ(std::string(buffer.get(), static_cast<std::size_t>(length) + 2), text + "\0\0"s);
    EXPECT_EQ(lseek(file.Get(), 0, SEEK_CUR), 0);
  }
  int length = 0;
  ASSERT_EQ(ftruncate(file.Get(), off_t{1} << 31), 0);
  EXPECT_EQ(FillBuf(file.Get(), length, 3), nullptr) << "no int counts its length";
  const platform::FileNumber full(memfd_create("takes a size and no bytes", MFD_ALLOW_SEALING));
  ASSERT_EQ(fcntl(full.Get(), F_ADD_SEALS, F_SEAL_WRITE), 0);
  EXPECT_FALSE(SaveBuf(full.Get(), "data", 4, nullptr, 0));
}

TEST_F(Files, AreReadTogetherAndNotTouchedWhileAnotherReads) {
  Write("t", "old");
  const platform::FileNumber reader(platform::OpenToRead(Path("t")));
  ASSERT_TRUE(platform::LockStart(reader.Get(), 3));
  std::u16string text;
  EXPECT_TRUE(GetText(Wide("t"), text, 0)) << "readers do not wait for one another";
  auto saved = std::async(std::launch::async, [&] { return SaveText(Wide("t"), u"n", 0); });
  EXPECT_EQ(saved.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  EXPECT_EQ(Content("t"), "old");
  EXPECT_TRUE(platform::UnlockStart(reader.Get(), 3));
  EXPECT_TRUE(saved.get());
  EXPECT_EQ(Content("t"), "n");
}

}  // namespace
