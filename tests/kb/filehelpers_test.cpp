// Whole files, folders, processes and dates.
#include "kvorlib/filehelpers.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>

#include "kb/pathtext.h"
#include "kvorlib/errors.h"
#include "kvorlib/messages.h"
#include "platform/fdio.h"
#include "platform/file.h"
#include "support/tempfolder.h"

using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

class FileHelpers : public testing::Test, protected TempFolder {
 protected:
  bool Exists(const std::string& name) const { return fs::exists(Path(name)); }
};

struct Files : FileHelpers {
  Files() { SetCP(1251); }
  ~Files() override { SetCP(0); }
};

TEST_F(Files, TellTheirEncodingBeforeTheCallerDoes) {
  using Case = std::tuple<std::string, int, std::u16string, std::string, int>;
  const Case cases[] = {
      {"", -1, u"", "", 0},
      {"", 99999, u"", "", 99999},  // nothing to convert
      {"\xC4\r\n", -1, u"Д\r\n", "\xC4\r\n", 0},
      {"\x84\xA0", 866, u"Да", "\x84\xA0", 866},
      {"\xEF\xBB\xBF\xD0\x94", 866, u"Д", "\x84", 866},
      {"\xEF\xBB\xBF\xD0\x94", -1, u"Д", "\xD0\x94", 65001},
      {"\xFF\xFE\x14\x04\n\0"s, 866, u"Д\n", "\x84\n", 866},
      {"\x14\x04 \0\x14\x04\x30\x04\n\0"s, -1, u"Д Да\n", "\xC4 \xC4\xE0\n", 0},
      {"\xFF\xFE\x14\x04\x30"s, 1200, u"Д", "\xC4", 0},  // an odd length tells nothing
      {"\xFF\xFE\0\0a\0"s, 1200, u"\0a"s, "", 0},
      {"a\0b"s, 866, u"a", "a\0b"s, 866},
      {"\xEF\xBB\xBF\x61\0b"s, 866, u"a", "a", 866},
  };
  for (const auto& [bytes, codePage, wideText, narrowText, codePageAfter] : cases) {
    Write("t", bytes);
    std::u16string wide = u"before";
    std::string narrow = "before";
    int page = codePage;
    EXPECT_TRUE(GetText(Wide("t"), wide, page) && GetText(Path("t"), narrow, page));
    EXPECT_TRUE(wide == wideText && narrow == narrowText && page == codePageAfter)
        << testing::PrintToString(bytes) << codePage << testing::PrintToString(narrow) << page;
  }
  SetCP(65001);
  const std::u16string longText = u"a" + std::u16string(63'998, u'я') + u"😀";
  EXPECT_TRUE(SaveText(Wide("t"), longText, 0));
  std::u16string wide;
  EXPECT_TRUE(GetText(Wide("t"), wide, 0) && wide == longText) << "cut within a character";
}

TEST_F(Files, AreSavedWithAMarkInUnicodeAloneAndKeptWhenTheTextCannotBeConverted) {
  const auto saved = [&](int codePage) {
    Write("t", "a longer text that was there before");
    return SaveText(Wide("t"), u"Д\0a"s, codePage) ? Read("t") : "failed";
  };
  for (const int codePage : {1200, -1}) EXPECT_EQ(saved(codePage), "\xFF\xFE\x14\x04\0\0a\0"s);
  EXPECT_EQ(saved(65001), "\xEF\xBB\xBF\xD0\x94");
  EXPECT_EQ(saved(866), "\x84");
  EXPECT_THROW(SaveText(Wide("t"), u"b", 99999), Except);
  EXPECT_EQ(Read("t"), "\x84");
  EXPECT_FALSE(SaveText(u"/dev/full", u"a", 0));
  std::u16string text = u"before";
  for (const char* none : {"t/x", "x", "."}) EXPECT_FALSE(GetText(Wide(none), text, 0)) << none;
  EXPECT_EQ(text, u"before");
}

TEST_F(Files, AreSavedWithRoomForTheWholePrefixAndFilledIntoABufferUpToALimit) {
  const platform::FileNumber file(open(Path("t").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  const platform::FileNumber reader(platform::OpenToRead(Path("t")));
  const struct {
    const char* prefix;
    int prefixLength, length, limit;
    std::string content;  // empty where saving is refused
  } cases[] = {{nullptr, 7, 4, -1, "data"},
               {"prefix", -1, 4, 10, "prefixdata"},
               {"prefix", 3, 4, 0, "predataata"},  // the end of what was there before
               {"p\0q", 3, 4, 6, "p\0qdata"s},
               {"prefix", -1, 0x7FFFFFFF, -2, ""}};
  int length = 0;
  for (const auto& c : cases) {
    const bool fits = !c.content.empty();
    EXPECT_EQ(SaveBuf(file.Get(), "data", c.length, c.prefix, c.prefixLength), fits);
    EXPECT_EQ(Read("t"), fits ? c.content : "p\0qdata"s);
    const std::unique_ptr<const char[]> buffer(FillBuf(reader.Get(), length, c.limit));
    ASSERT_EQ(buffer != nullptr, fits);
    const std::string text = c.content.substr(0, static_cast<std::size_t>(c.limit)) + "\0\0"s;
    EXPECT_TRUE(!fits || std::string(buffer.get(), static_cast<std::size_t>(length) + 2) == text);
    EXPECT_EQ(lseek(file.Get(), 0, SEEK_CUR) + lseek(reader.Get(), 0, SEEK_CUR), 0);
  }
  ASSERT_EQ(ftruncate(file.Get(), off_t{1} << 31), 0);
  EXPECT_EQ(FillBuf(file.Get(), length, 3), nullptr) << "no int counts its length";
  const platform::FileNumber full(memfd_create("takes a size and no bytes", MFD_ALLOW_SEALING));
  ASSERT_EQ(fcntl(full.Get(), F_ADD_SEALS, F_SEAL_WRITE), 0);
  EXPECT_FALSE(SaveBuf(full.Get(), "data", 4, nullptr, 0));
}

TEST_F(Files, AreReadTogetherAndWaitWhileAnotherReadsOrWrites) {
  for (const char* name : {"t", "w"}) Write(name, "old");
  const platform::FileNumber reader(platform::OpenToRead(Path("t")));
  ASSERT_TRUE(platform::LockStart(reader.Get(), 3));
  std::u16string text;
  EXPECT_TRUE(GetText(Wide("t"), text, 0)) << "readers do not wait for one another";
  const platform::FileNumber writer(platform::OpenToOverwrite(Path("w")));
  ASSERT_TRUE(platform::LockStart(writer.Get(), 3));
  auto saved = std::async(std::launch::async, [&] { return SaveText(Wide("t"), u"n", 0); });
  auto read = std::async(std::launch::async, [&] { return GetText(Wide("w"), text, 0); });
  EXPECT_EQ(saved.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  EXPECT_EQ(Read("t"), "old");
  EXPECT_TRUE(platform::WriteAll(writer.Get(), "longer", 6));
  EXPECT_TRUE(platform::UnlockStart(writer.Get(), 3) && read.get() && text == u"longer");
  EXPECT_TRUE(platform::UnlockStart(reader.Get(), 3) && saved.get());
  EXPECT_EQ(Read("t"), "n");
}

struct Folders : FileHelpers {};

TEST_F(Folders, AreSearchedByNameAndThenBelowWithoutFollowingLinks) {
  fs::create_directories(Path("d/sub/s.d"));
  fs::create_directory(Path("out"));
  for (const char* name : {"d/б.t", "d/a.t", "d/x", "d/sub/s.d/я.t", "out/o.t"}) Write(name);
  fs::create_symlink("..", Path("d/sub/loop"));
  fs::create_symlink("../out", Path("d/out"));
  fs::create_symlink("../out/o.t", Path("d/z.t"));
  // " d/a.t" for each file, or "failed".
  const auto search = [&](const auto& folder, const auto& mask, bool recursive) {
    std::vector<std::decay_t<decltype(folder)>> found;
    std::string names;
    if (!SearchFiles(found, folder, mask, recursive)) return "failed"s;
    for (const fs::path path : found) names += ' ' + path.string().substr(Path("").size());
    return names;
  };
  const struct {
    const char *folder, *mask;
    bool recursive;
    const char *wide, *narrow = wide;
  } cases[] = {{"d", "*.t", false, " d/a.t d/z.t d/б.t"},
               {"d/", "*.t", true, " d/a.t d/z.t d/б.t d/sub/s.d/я.t", " d/a.t d/z.t d/б.t"},
               {"d/out/../d/./sub", "*", true, " d/sub/s.d/я.t"},
               {"d/sub", "?.?", true, " d/sub/s.d/я.t"},  // s.d fits
               {"d/sub", "*.t", true, " d/sub/s.d/я.t", ""},
               {"missing", "*", true, ""},
               {"d/x", "*", true, "failed"}};
  for (const auto& [folder, mask, recursive, wide, narrow] : cases) {
    EXPECT_EQ(search(Wide(folder), kb::WidePath(mask), recursive), wide) << folder << ' ' << mask;
    EXPECT_EQ(search(Path(folder), std::string(mask), recursive), narrow) << folder << ' ' << mask;
  }
  const fs::path before = fs::current_path();
  fs::current_path(Path("d"));
  std::vector<std::u16string> found;
  EXPECT_TRUE(SearchFiles(found, u"?", false) && SearchFiles(found, u"../out/*", false));
  EXPECT_TRUE(SearchFiles(found, u"\0cut off"s, u"x", true));
  fs::current_path(before);
  EXPECT_THAT(found, testing::ElementsAre(Wide("d/x"), Wide("out/o.t"), Wide("d/x")));
}

TEST_F(Folders, AreMadeUpToTheOneToStopAtWhichGuardsOneLevelAlone) {
  Write("file");
  const struct {
    const char *name, *stop;
    bool answer, there;
  } cases[] = {
      {"file", "", false, true},  {"file/a", "", false, false}, {"a/б", "a", false, false},
      {"a/б/c", "a", true, true}, {"a/x", "a", false, false},   {"a/x", "A", true, true},
      {"e/f/", "", false, true},  // the folder "f" is there before "f/" is to be made
  };
  for (const auto& c : cases) {
    EXPECT_EQ(MakeDir(Wide(c.name), Wide(c.stop)), c.answer) << c.name << ' ' << c.stop;
    EXPECT_EQ(Exists(c.name), c.there) << c.name << ' ' << c.stop;
  }
  for (int i = 0; i < 20; ++i) {
    const std::u16string deep = Wide("at once/" + std::to_string(i) + "/a/b/c/d/e/f/g/h");
    auto other = std::async(std::launch::async, [&] { return MakeDir(deep, u""); });
    EXPECT_TRUE(MakeDir(deep, u"") && other.get());
  }
}

TEST_F(Folders, AreClearedOneLevelACallWithAnAnswerThatIsTrueOnlyForWhatWasNeverThere) {
  fs::create_directories(Path("f/g/h"));
  fs::create_directory(Path("out"));
  for (const char* name : {"f/1", "f/g/2", "f/g/h/bad\xFFname", "out/kept"}) Write(name);
  fs::create_symlink(Path("out"), Path("f/g/link"));
  const struct {
    bool removeSelf, answer;
    const char *there, *gone;
  } calls[] = {{true, false, "f/g", "f/g/h"},
               {true, false, "f", "f/g"},
               {false, true, "f", "f/1"},
               {true, false, "out/kept", "f"},
               {true, true, "out/kept", "f"}};
  for (const auto& c : calls) {
    EXPECT_EQ(ClearFolder(Wide("f"), c.removeSelf), c.answer) << c.gone;
    EXPECT_TRUE(Exists(c.there) && !Exists(c.gone)) << c.gone;
  }
  int error = 0;
  const auto store = platform::OpenFile(Path("out/store"), platform::OpenMode::CreateNew,
                                        platform::Sharing::All, error);
  EXPECT_FALSE(ClearFolder(Wide("out"), false));
  EXPECT_TRUE(Exists("out/store") && !Exists("out/kept"));
}

class Processes : public FileHelpers {
 protected:
  // Runs a script with the folder as $1.
  bool Shell(const std::string& script, CRPROCMODE mode) const {
    std::u16string msg;
    const std::string line = "sh -c \"" + script + "\" - \"" + Path() + "\"";
    return CreateProc(kb::WidePath(line).c_str(), mode, msg) && msg.empty();
  }
  bool Appears(const std::string& name) const {
    for (int i = 0; i < 500 && !Exists(name); ++i) usleep(20'000);
    return Exists(name);
  }
};

TEST_F(Processes, AreWaitedForInheritNoFilesAndKeepTheirExitCodeToThemselves) {
  const platform::FileNumber file(platform::OpenToOverwrite(Path("open")));
  const platform::FileNumber inherited(dup2(file.Get(), 77));
  ASSERT_EQ(dup2(file.Get(), STDIN_FILENO), STDIN_FILENO);
  for (const auto mode : {CRPROC_HIDDEN, CRPROC_WAIT, static_cast<CRPROCMODE>(9)}) {
    Write("in");
    EXPECT_TRUE(
        Shell("sleep 0.1; test -e /proc/$$/fd/77 || readlink /proc/$$/fd/0 > $1/in; exit 3", mode));
    EXPECT_EQ(Read("in"), (mode == CRPROC_HIDDEN ? "/dev/null" : Path("open")) + "\n");
  }
}

TEST_F(Processes, NotWaitedForRunOnAndLeaveNothingToCollect) {
  ASSERT_TRUE(Shell("until test -e $1/go; do sleep 0.02; done; mkdir $1/done", CRPROC_NOWAIT));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "it is nobody's child here";
  Write("go");
  EXPECT_TRUE(Appears("done"));
  for (const auto mode : {CRPROC_HIDDEN, CRPROC_NOWAIT, CRPROC_WAIT}) {
    std::u16string msg, none;
    const std::u16string line = Wide("прог") + u" a  b";
    EXPECT_FALSE(CreateProc(line.c_str(), mode, msg) || CreateProc(u"", mode, none));
    EXPECT_EQ(msg + none, u"Cannot start " + line + u"; error 2Cannot start ; error 2");
  }
}

TEST_F(Processes, OpenOnTheDesktopWhatIsThereOrIsAnAddressElseTheUserIsTold) {
  static int told = 0;
  SetUserCallback([](const std::u16string& text) { told += text == u"Shell open error"; });
  const std::string path = std::getenv("PATH");
  setenv("PATH", Path().c_str(), 1);
  EXPECT_FALSE(ShellOpen(u"http://a")) << "there is no desktop";
  Write("xdg-open", "#!/bin/sh\n/bin/mkdir \"$0 ${1##*/}\"");
  fs::permissions(Path("xdg-open"), fs::perms::owner_all);
  EXPECT_TRUE(ShellOpen(u"mail:b c") && Appears("xdg-open mail:b c"));
  EXPECT_TRUE(ShellOpen(Wide("./xdg-open")) && Appears("xdg-open xdg-open"));
  EXPECT_FALSE(ShellOpen(u"no file"));
  EXPECT_EQ(told, 2);
  SetUserCallback(nullptr);
  setenv("PATH", path.c_str(), 1);
}

TEST(Dates, AreOrderedFieldByFieldFromTheYearDownWhateverStandsBetween) {
  std::u16string date = u"23-23-2223-23:23:23";
  const std::u16string later = u"22 22 2222 22:22:22";
  for (const std::size_t lastDigit : {9, 4, 1, 12, 15, 18}) {  // of the fields by weight
    date[lastDigit] = u'1';
    EXPECT_EQ(DateCompare(date, later) * 10 + DateCompare(later, date), -9) << lastDigit;
    date[lastDigit] = u'2';
  }
  EXPECT_EQ(DateCompare(date, later), 0);
  EXPECT_EQ(DateCompare(u"", u"x") * 10 + DateCompare(u"x", u"") + DateCompare(u"", u""), -9);
  EXPECT_THAT([&] { DateCompare(date, date + u"2"); },
              testing::Throws<const char16_t*>(testing::Eq(u"Ошибочный формат даты"s)));
}

TEST(Dates, AreStampedInLocalTimeUpToNinetyNineUnits) {
  setenv("TZ", "XYZ-14:30", 1);
  EXPECT_EQ(FormCurrentDate(u"%Z%z 🗄\xD800"), u"XYZ+1430 🗄\xD800");
  unsetenv("TZ");
  EXPECT_LE(DateCompare(FormCurrentDate(nullptr), FormCurrentDate(u"%d %m %Y %H:%M:%S")), 0);
  EXPECT_EQ(FormCurrentDate(std::u16string(99, u'-').c_str()), std::u16string(99, u'-'));
  EXPECT_EQ(FormCurrentDate((std::u16string(98, u'-') + u"🗄").c_str()), u"");
}

}  // namespace
