// The list of knowledge bases: what loading makes of it, which base is the default, and where the
// folders lie.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "kvorlib/encoding.h"
#include "kvorlib/knowledgebase.h"
#include "kvorlib/terms.h"
#include "maps/library.h"
#include "support/tempfolder.h"

using namespace KBEnv;

namespace {

// What derived classes may call. The one list is used, since the terms ask that one for folders.
struct Inner : KBMap {
  using KBMap::_Init;
  using KBMap::GetKB;
  using KBMap::RemoveKB;
};

class KnowledgeBases : public testing::Test, protected TempFolder {
 protected:
  KnowledgeBases() {
    setenv("USERPROFILE", Path("user").c_str(), 1);
    EXPECT_TRUE((map.*&Inner::_Init)(Wide(""), words));
  }
  ~KnowledgeBases() override {
    map.ShutDown();
    SetTermMap(nullptr);
  }

  // Lists a base with a root and a term of its own name.
  void Load(const std::string& name, const std::u16string& settings = {}) {
    std::filesystem::create_directories(Path(name + "/Data/Config"));
    Write(name + "/Data/Config/term.xml", "<t><term name='" + name + "' code='77'/></t>");
    map.LoadFromBuf(A2U(name), u"Root = \"" + Wide(name) + u"\"\n" + settings, words);
  }
  bool Default(const std::u16string& name) { return map.SetDefaultKB(name, words); }
  bool Remove(const std::u16string& name) { return (map.*&Inner::RemoveKB)(name, words); }

  KBMap& map = *GetKBMap();
  std::u16string words;
};

TEST_F(KnowledgeBases, FoldersAreMadeOnDemandUnlessRightBelowTheData) {
  Load("a");
  const struct {
    int code;
    const char* path;  // empty: there is none
  } rows[] = {{0, "."},
              {DIR_TEMP, "user/Documents/kvordata/"},
              {DIR_DATA, "a/Data/"},
              {DIR_CONFIG, "a/Data/Config/"},
              {DIR_BINARY, ""},
              {DIR_REGRESSION, "a/Data/test_systems/regression/"},
              {11, "."}};
  for (const auto& [code, path] : rows) {
    std::string expected = *path == '\0' ? "" : Path(path);
    if (*path == '.') expected = std::filesystem::current_path().string() + '/';
    EXPECT_EQ(map.GetDir(static_cast<enDirCode>(code), u"a"), A2U(expected, 65001)) << code;
    EXPECT_TRUE(expected.empty() || std::filesystem::is_directory(expected));
  }
  EXPECT_EQ(map.GetDir(DIR_DATA, u""), u"") << "without terms the local base is no default";

  unsetenv("USERPROFILE");
  map.LoadFromBuf(u"b", u"Root = \"" + Wide("") + u"\\b\\кот\\\\\"", words);
  EXPECT_EQ(map.GetDir(DIR_TEMP, u"b"), Wide("b/кот/Temp/"));
}

TEST_F(KnowledgeBases, SettingsComeFromTheNamedBaseAndTheFolderFromTheDefault) {
  Load("a", u"rules = \"a\"");
  Load("b", u"rules = \"sub\\b.txt\"\nPlugin=\"?\"");
  ASSERT_TRUE(Default(u"a")) << U2A(words);
  EXPECT_EQ(map.FormName(DIR_CONFIG, u"RULES", u"b"), Wide("a/Data/Config/sub/b.txt"));
  EXPECT_EQ(map.FormName(DIR_CONFIG, u"other", u"b"), Wide("a/Data/Config/other"));
  EXPECT_EQ(map.GetIndexPref(u"b"), u"b://");
  EXPECT_EQ(map.GetIndexPref(u""), u"std://");

  std::u16string text = u"b://$STANDDIR\\f $STANDDIR\\";
  EXPECT_TRUE(map.ReplStdDir(text, DIR_CONFIG, u"a"));
  EXPECT_EQ(text, u"b://" + Wide("b/Data/Config/") + u"f $STANDDIR\\");
  text = u"c://$STANDDIR\\f";
  EXPECT_FALSE(map.ReplStdDir(text, DIR_CONFIG, u"a"));
}

TEST_F(KnowledgeBases, FailedDefaultLeavesTheFormerInForceAndACopyHasADefaultOfItsOwn) {
  Load("a");
  Load("b", u"Plugin=\"?\"");
  Write("b/Data/Config/term.xml", "<t><term name='b' code='78'/><term name='2' code='FFFF'/></t>");
  ASSERT_TRUE(Default(u"a"));
  EXPECT_FALSE(Default(u"b"));
  EXPECT_EQ(words, u"KB b: Term file open error");
  EXPECT_EQ((map.*&Inner::GetKB)(u"b")->Error, words);
  EXPECT_EQ(map.GetDefaultKB(), u"a");
  EXPECT_EQ(map.GetDir(DIR_DATA, u"") + map.GetDir(DIR_DATA, u"b"), Wide("a/Data/"));
  EXPECT_EQ(maps::TheLibrary().stdPrefix, "std://");
  EXPECT_EQ(TermName(0x77), "a");
  EXPECT_FALSE(IsTerm(0x78)) << "read of b's, and in b's table alone";
  EXPECT_FALSE(Default(u"b"));
  EXPECT_EQ(words, u"База b имеет ошибки в описании");
  const KBMap copy = map;
  map.ShutDown();
  EXPECT_EQ(copy.GetDir(DIR_DATA, u""), Wide("a/Data/"));
  EXPECT_EQ(map.GetDir(DIR_DATA, u""), u"");
}

TEST_F(KnowledgeBases, DefaultThatGoesIsFollowedByTheFirstValidBase) {
  Load("c");
  Load("b");
  map.LoadFromBuf(u"a", u"Root=\"none\"", words);
  ASSERT_TRUE(!Default(u"a") && Default(u"c"));
  EXPECT_TRUE(Remove(u"<LOCAL>"));
  EXPECT_EQ(map.GetDefaultKB(), u"c");
  EXPECT_TRUE(Remove(u"c"));
  EXPECT_EQ(map.GetDefaultKB(), u"b");
  EXPECT_EQ(TermName(0x77), "b");
  // One that cannot take over ends with no default rather than with one that has gone.
  map.LoadFromBuf(u"d", u"Root=\"none\"", words);
  EXPECT_FALSE(Remove(u"b"));
  EXPECT_EQ(map.GetDir(DIR_DATA, u""), u"");
}

}  // namespace
