// Folders: what a search finds and where it does not go, what is made, what is cleared.
#include "kb/folderfixture.h"
#include "kvorlib/filehelpers.h"
#include "platform/file.h"

namespace {

namespace fs = std::filesystem;
using Folders = InFolder;

TEST_F(Folders, AreSearchedByNameAndThenBelowWithoutFollowingLinks) {
  fs::create_directories(Path("d/sub/s.d"));
  fs::create_directory(Path("out"));
  for (const char* name : {"d/б.t", "d/a.t", "d/x", "d/sub/s.d/я.t", "out/o.t"}) Write(name);
  fs::create_symlink("..", Path("d/sub/loop"));
  fs::create_symlink("../out", Path("d/out"));
  fs::create_symlink("../out/o.t", Path("d/z.t"));
  using Names = std::vector<std::string>;
  const struct {
    const char *folder, *mask;
    bool recursive, narrowAnswer;
    Names wide, narrow;
  } cases[] = {
      {"d", "*.t", false, true, {"a.t", "z.t", "б.t"}, {"a.t", "z.t", "б.t"}},
      {"d/", "*.t", true, true, {"a.t", "z.t", "б.t", "sub/s.d/я.t"}, {"a.t", "z.t", "б.t"}},
      {"d/out/../d/./sub", "*", true, true, {"sub/s.d/я.t"}, {"sub/s.d/я.t"}},
      {"d/sub", "?.?", true, true, {"sub/s.d/я.t"}, {"sub/s.d/я.t"}},  // s.d fits
      {"d/sub", "*.t", true, true, {"sub/s.d/я.t"}, {}},
      {"missing", "*", true, true, {}, {}},
      {"d/x", "*", true, false, {}, {}},
  };
  for (const auto& c : cases) {
    std::vector<std::u16string> wide{u"kept"}, wideExpected{u"kept"};
    Names narrow, narrowExpected;
    for (const std::string& name : c.wide) wideExpected.push_back(Wide("d/" + name));
    for (const std::string& name : c.narrow) narrowExpected.push_back(Path("d/" + name));
    const std::u16string mask = kb::WidePath(c.mask);
    EXPECT_EQ(SearchFiles(wide, Wide(c.folder), mask, c.recursive), c.narrowAnswer) << c.folder;
    EXPECT_EQ(wide, wideExpected) << c.folder << ' ' << c.mask;
    EXPECT_EQ(SearchFiles(narrow, Path(c.folder), c.mask, c.recursive), c.narrowAnswer);
    EXPECT_EQ(narrow, narrowExpected) << c.folder << ' ' << c.mask;
  }

  const fs::path before = fs::current_path();
  fs::current_path(Path("d"));
  std::vector<std::u16string> found;
  for (const char16_t* path : {u"?", u"../out/*"}) EXPECT_TRUE(SearchFiles(found, path, false));
  EXPECT_TRUE(SearchFiles(found, u"", u"x", false));
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
      {"../", "", true, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(MakeDir(Wide(c.name), Wide(c.stop)), c.answer) << c.name << ' ' << c.stop;
    EXPECT_EQ(Exists(c.name), c.there) << c.name << ' ' << c.stop;
  }
  EXPECT_FALSE(MakeDir(u"/proc/no", u"")) << "the folder above is the root's, not none";
  EXPECT_FALSE(MakeDir(u"not here", u""));
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

  fs::create_directory(Path("f"));
  fs::create_symlink("open", Path("f/link"));
  int error = 0;
  const auto store = platform::OpenFile(Path("f/open"), platform::OpenMode::CreateNew,
                                        platform::Sharing::All, error);
  EXPECT_FALSE(ClearFolder(Wide("f"), false));
  EXPECT_TRUE(Exists("f/open") && !Exists("f/link"));
}

TEST(ExecPath, IsTheRealFolderOfTheFileThatHoldsTheLibrary) {
  const fs::path program = fs::read_symlink("/proc/self/exe");
  EXPECT_EQ(GetExecPath(), program.parent_path().u16string());
}

}  // namespace
