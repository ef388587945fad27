// Opening, creating, copying; what a keyed file tells of itself.
#include <memory>

#include "keyed/keyedfixture.h"

namespace {

using IndexFileTest = KeyedFixture;

TEST_F(IndexFileTest, ClosedObjectAnswersNoToEverything) {
  IndexFile file;
  DataTransfer key("k"), record;
  RecordPool pool;
  std::list<std::u16string> keys;
  std::string text = "k r";
  EXPECT_FALSE(file.Find(key) || file.Get(key, record) || file.Put(key, record, true) ||
               file.Update(key, record) || file.Erase(key) || file.Clear() || file.Empty() ||
               file.Rewind() || file.SetExactMatch(true) || file.GetExactMatch() ||
               file.ExtraCommand(1, &key, true) || file.GetPool(pool) || file.GetKeyArray(keys) ||
               file.Find(text) || file.Find(1) || file.Put(text) || file.Update(record) ||
               file.Copy(pool, nullptr) || file.IsValid() || file.GetIndHandle() || file.GetURI() ||
               pool.is_valid() || pool.empty() || pool.GetNext(key, record) ||
               pool.GetNext(text, text) || pool.GetKeyArray(keys));
  EXPECT_TRUE(file.CheckError() && file.isFail() && file.GetState() == 3 && file.Size() == -1);
  EXPECT_EQ(file.wErrorMessage() + file.wGetURI(), u"Index file not initialized properly");
  EXPECT_TRUE(file.Close() && file == IndexFile::EmptyFile);
}

TEST_F(IndexFileTest, UnusableMapStaysSoIsSharedByAssignmentAndFreedOnce) {
  auto file = std::make_unique<IndexFile>(Path("missing").c_str(), true);
  EXPECT_STREQ(file->ErrorMessage(), "Index file not initialized properly");
  // A key or a record that cannot be served must not bring the file to life.
  EXPECT_FALSE(file->Find(std::string()) || file->Put(std::string("k r")) || file->IsValid());
  IndexFile second, third(*file);
  EXPECT_EQ(third.GetIndHandle(), nullptr);
  second = *file;
  file.reset();
  EXPECT_EQ(StateOf(*second.GetIndHandle()), "3 NONEXISTENT FILE");
  EXPECT_FALSE(second.Open(static_cast<char const*>(nullptr), true) || second.Close());
  EXPECT_EQ(second.GetIndHandle(), nullptr);
}

TEST_F(IndexFileTest, OpenComparesTheLayoutUnlessTheStoredOneIsAskedFor) {
  IndexFile file;
  EXPECT_TRUE(file.Create(Wide("слова").c_str(), IndexFile::KD_TEXT0) && file.Close());
  EXPECT_TRUE(file.Open(Wide("слова").c_str(), true) && file.wGetURI() == Wide("слова"));
  EXPECT_EQ(file.GetKeyDescr(), IndexFile::GetKDForType(IndexFile::KD_TEXT0));
  EXPECT_TRUE(file.GetKDType() == IndexFile::KD_STORED && file.Close());
  try {
    IndexFile const wrong(Wide("слова").c_str(), true, IndexFile::KD_TEXT4);
    ADD_FAILURE() << "a wrong layout was taken";
  } catch (char const* words) {
    EXPECT_STREQ(words, "Keydescr error");
  }
  EXPECT_TRUE(file.Open(Path("слова").c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_EQ(file.GetKDType(), IndexFile::KD_TEXT0);
  EXPECT_TRUE(file.Clear()) << "somebody still holds the file";
}

TEST_F(IndexFileTest, TryOpenAsksOnceAndCreatesOnlyOnYes) {
  static std::u16string asked;
  static bool answer;
  SetUserQuestCallback([](std::u16string const& question) {
    asked += question;
    return answer;
  });
  Write("damaged", "x");
  struct {
    char const* scheme;  // with one it never is there
    char const* name;
    bool answer, due, opened;
  } const cases[] = {{"", "слова", false, true, false},
                     {"", "слова", true, true, true},
                     {"", "слова", false, false, true},
                     {"", "damaged", true, false, false},
                     {"std://", "damaged", true, true, false}};
  for (auto const& [scheme, name, yes, due, opened] : cases) {
    std::u16string const uri = A2U(scheme, 65001) + Wide(name);
    asked.clear();
    answer = yes;
    EXPECT_EQ(IndexFile().TryOpen(uri.c_str(), false, IndexFile::KD_TEXT0), opened) << name << yes;
    EXPECT_EQ(asked, due ? u"File " + uri + u" isn't exist. Try to create it?" : u"");
    EXPECT_EQ(std::filesystem::exists(Path("слова")), asked.empty() || yes) << name << yes;
  }
  SetUserQuestCallback(nullptr);
}

TEST_F(IndexFileTest, StandardPrefixAndSystemCommandGoToThoseWhoServeThem) {
  EXPECT_FALSE(IndexFile::SetStdPrefix(static_cast<char const*>(nullptr)));
  EXPECT_TRUE(IndexFile::SetStdPrefix(u"nobody://"));  // falls back on the standard factory
  EXPECT_FALSE(IndexFile::SetStdPrefix("else://"));    // and now there is nothing to fall back on
  EXPECT_FALSE(IndexFile().Create(Path("x").c_str(), IndexFile::KD_TEXT0));
  EXPECT_TRUE(IndexFile::SetStdPrefix("std://"));
  std::uint32_t longest = 0;
  EXPECT_TRUE(IndexFile::SystemCommand(6, &longest) && longest == 0xFFFFFF);
  EXPECT_FALSE(IndexFile::SystemCommand(1, &longest));  // a command of maps, not of factories
  EXPECT_TRUE(IndexFile::SystemCommand(5, &longest));   // nobody knows it: nobody refuses
  EXPECT_FALSE(IndexFile::SystemCommand(5, &longest, u"std://"));
}

TEST_F(IndexFileTest, CopyHoldsTheTargetOpenAndNeverCopiesAFileOntoItself) {
  IndexFile words, copied;
  CreateWords(words, "cat кошка,dog собака");
  words.Close();
  std::filesystem::create_hard_link(Path("words"), Path("linked"));
  std::u16string const source = u"std://" + Wide("words");
  for (char const* const name : {"words", "linked", "copied"}) {
    std::u16string const target = u"std://" + Wide(name);
    bool const other = name == std::string("copied");
    EXPECT_EQ(copied.Copy(target.c_str(), source.c_str(), IndexFile::KD_TEXT0, nullptr), other);
    EXPECT_EQ(StateOf(*copied.GetIndHandle()), other ? "0 " : "3 SYSTEM ERROR");
  }
  EXPECT_EQ(copied.Size(), 2);
  EXPECT_FALSE(copied.Put(std::string("x y")));  // the layout was not looked up
  EXPECT_STREQ(copied.ErrorMessage(), "Key must be defined for this record format");

  RecordPool pool;
  EXPECT_TRUE(copied.Clear() && !copied.Copy(pool, nullptr) && words.Open(source.c_str(), true));
  EXPECT_TRUE(words.GetPool(pool, std::string("d"), -1) && copied.Copy(pool, nullptr));
  EXPECT_EQ(copied.Size(), 1);
  EXPECT_TRUE(words.GetPool(pool) && copied.Copy(pool, nullptr));  // one refusal: "dog" is there
  EXPECT_EQ(copied.Size(), 2);
}

}  // namespace
