// Opening, creating, copying; what a keyed file tells of itself; who may go first: copies of a
// file, pools on it, the library itself.
#include <list>
#include <memory>

#include "keyed/keyedfixture.h"

namespace {

// Global objects are built before the library may know of itself and go after all tests; the
// sanitizers watch their end.
IndexFile leftOpen;
RecordPool leftWalking;

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
  EXPECT_EQ(StateOf(second), "3 NONEXISTENT FILE");
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

TEST_F(IndexFileTest, PathStandsBehindAnySchemeAndOnlyAFailureToOpenMakesTheMapUnusable) {
  IndexFile file;
  CreateWords(file, "cat 1");
  file.Close();
  for (std::string const scheme : {"", "std://", "unknown://"}) {
    EXPECT_FALSE(file.Create(scheme.c_str(), IndexFile::KD_TEXT0));
    EXPECT_EQ(StateOf(file), "3 Wrong file name");
    ASSERT_TRUE(file.Open((scheme + Path("words")).c_str(), true));
    EXPECT_FALSE(file.Put(std::string("dog 1")));
    EXPECT_EQ(StateOf(file), "2 SYSTEM ERROR") << "it was opened for reading only";
    EXPECT_TRUE(file.Find(std::string("cat")) && !file.ExtraCommand(3, nullptr, false));
    EXPECT_EQ(StateOf(file), "2 Command not supported");
    EXPECT_TRUE(file.Close());
  }
  auto const* const none = maps::CreateMap(Path("new").c_str(), 0, nullptr);
  EXPECT_EQ(::StateOf(*none), "3 WRONG KEY");
}

TEST_F(IndexFileTest, TryOpenAsksOnceAndCreatesOnlyOnYes) {
  static std::u16string asked;
  static bool answer;
  SetUserQuestCallback([](std::u16string const& question) {
    asked += question;
    return answer;
  });
  auto const tried = [&](std::u16string const& uri, bool yes) {
    asked.clear();
    answer = yes;
    return IndexFile().TryOpen(uri.c_str(), false, IndexFile::KD_TEXT0);
  };
  std::u16string const words = Wide("слова");
  EXPECT_FALSE(tried(words, false) || std::filesystem::exists(Path("слова")));
  EXPECT_EQ(asked, u"File " + words + u" isn't exist. Try to create it?");
  EXPECT_TRUE(tried(words, true) && std::filesystem::exists(Path("слова")));
  EXPECT_TRUE(tried(words, false) && asked.empty());
  Write("damaged", "x");
  EXPECT_FALSE(tried(Wide("damaged"), true) || !asked.empty());
  EXPECT_FALSE(tried(u"std://" + Wide("damaged"), true) || asked.empty()) << "no such path";
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
  std::u16string const folder = u"std://" + Wide(""), source = folder + u"words";
  auto const copy = [&](std::u16string const& name) {
    copied.Copy((folder + name).c_str(), source.c_str(), IndexFile::KD_TEXT0, nullptr);
    return StateOf(copied);
  };
  EXPECT_EQ(copy(u"words"), "3 SYSTEM ERROR");
  EXPECT_EQ(copy(u"linked"), "3 SYSTEM ERROR");
  EXPECT_EQ(copy(u"copied"), "0 ");
  EXPECT_EQ(Stored(copied), "cat кошка,dog собака,");
  EXPECT_FALSE(copied.Put(std::string("x y")));  // the layout was not looked up
  EXPECT_STREQ(copied.ErrorMessage(), "Key must be defined for this record format");

  RecordPool pool;
  EXPECT_TRUE(copied.Clear() && !copied.Copy(pool, nullptr) && words.Open(source.c_str(), true));
  EXPECT_TRUE(words.GetPool(pool, std::string("d"), -1) && copied.Copy(pool, nullptr));
  EXPECT_EQ(Stored(copied), "dog собака,");
  EXPECT_TRUE(words.GetPool(pool) && copied.Copy(pool, nullptr));  // one refusal: "dog" is there
  EXPECT_EQ(copied.Size(), 2);
}

TEST_F(IndexFileTest, LastOfTheCopiesClosesTheFile) {
  IndexFile first, third;
  CreateWords(first, "cat 1");
  IndexFile second(first);
  IndexFile const& same = third = second;
  third = second;  // these change nothing
  third = same;
  EXPECT_TRUE(first == third && third.Find(std::string("cat of a text layout")));
  EXPECT_TRUE(first.Close() && second.Find(std::string("cat")));
  EXPECT_FALSE(first == third);
  EXPECT_TRUE(second.Close() && third.Find(std::string("cat")) && third.Close());
  EXPECT_TRUE(first.Open(Path("words").c_str(), false));
  EXPECT_TRUE(first.Clear()) << "somebody still holds the file";
}

TEST_F(IndexFileTest, ShutDownClosesAllFilesAndTheirHoldersNeverSeeALaterOne) {
  IndexFile first, third;
  CreateWords(first, "cat 1");
  IndexFile second(first);
  RecordPool pool, lost;
  EXPECT_TRUE(first.GetPool(pool));
  // Opened over: it is lost, but open until the end.
  EXPECT_TRUE(third.Create(Path("other").c_str(), IndexFile::KD_TEXT0) && third.GetPool(lost));
  third = IndexFile::EmptyFile;
  EXPECT_TRUE(third.Close() && lost.is_valid());
  PersistentMap const* const gone = first.GetIndHandle();
  udbShutDown();
  DataTransfer key, record;
  EXPECT_FALSE(lost.is_valid() || pool.is_valid() || pool.GetNext(key, record));
  EXPECT_FALSE(first.Find(std::string("cat")));
  std::list<IndexFile> others;  // one of them most likely at the same address
  do {
    EXPECT_TRUE(others.emplace_back().Open(Path("words").c_str(), true));
  } while (others.back().GetIndHandle() != gone && others.size() < 50);
  IndexFile& later = others.back();
  third = second;
  for (IndexFile* stale : {&first, &second, &third}) {
    EXPECT_FALSE(stale->IsValid() || *stale == later || stale->GetIndHandle());
    EXPECT_FALSE(stale->Close());
    EXPECT_TRUE(stale->Close());
  }
  EXPECT_TRUE(later.IsValid());
}

TEST_F(IndexFileTest, GlobalFileMayStayOpenToTheEndOfTheProcess) {
  static TempFolder const stays;
  ASSERT_TRUE(leftOpen.Create(stays.Path("words").c_str(), IndexFile::KD_TEXT0));
  EXPECT_TRUE(leftOpen.Put(std::string("cat 1")) && leftOpen.GetPool(leftWalking));
}

}  // namespace
