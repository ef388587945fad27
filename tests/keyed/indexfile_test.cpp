// Opening, creating, copying; what a keyed file tells of itself.
#include <fstream>
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
  CreateWords(file, {"cat кошка"});
  EXPECT_TRUE(file.Close() && file.Open(Path("words").c_str(), true));
  EXPECT_EQ(file.GetKeyDescr(), IndexFile::GetKDForType(IndexFile::KD_TEXT0));
  EXPECT_TRUE(file.Close() && file.GetKDType() == IndexFile::KD_STORED);
  try {
    IndexFile const wrong(Path("words").c_str(), true, IndexFile::KD_TEXT4);
    ADD_FAILURE() << "a wrong layout was taken";
  } catch (char const* words) {
    EXPECT_STREQ(words, "Keydescr error");
  }
  EXPECT_TRUE(file.Open(Path("words").c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_TRUE(file.Clear()) << "somebody still holds the file";
}

TEST_F(IndexFileTest, StandardLayoutsTakeTheKeyFromTheirPlaces) {
  struct {
    std::string record;
    std::string key;  // empty: the integer 0x04030201
  } const layouts[] = {
      {std::string(39, '.') + "ключ x", "ключ"},
      {"......key x", "key"},
      {"....key x", "key"},
      {"key x", "key"},
      {"..two words" + Zero + "x", "two words"},
      {"..\1\2\3\4x", ""},
      {"two words" + Zero + "x", "two words"},
      {"\1\2\3\4x", ""},
      {"a line\nx", "a line"},
  };
  for (int type = 0; type < 9; ++type) {
    auto const& [text, key] = layouts[type];
    IndexFile file;
    DataTransfer record;
    EXPECT_TRUE(
        file.Create(Path(std::to_string(type)).c_str(), static_cast<IndexFile::KDTYPE>(type)));
    EXPECT_TRUE(file.Put(text)) << type << file.ErrorMessage();
    EXPECT_TRUE(key.empty() ? file.Get(0x04030201, record) : file.Get(key, record)) << type;
    EXPECT_EQ(TextOf(record), text + Zero);
  }
}

TEST_F(IndexFileTest, TryOpenAsksOnceAndCreatesOnlyOnYes) {
  static std::u16string asked;
  static bool answer;
  SetUserQuestCallback([](std::u16string const& question) {
    asked += question;
    return answer;
  });
  // Whether it opened, after this answer; the question must have come if it was due.
  auto const tried = [&](std::string const& uri, bool due, bool yes) {
    asked.clear();
    answer = yes;
    std::u16string const wide = A2U(uri, 65001);
    bool const opened = IndexFile().TryOpen(wide.c_str(), false, IndexFile::KD_TEXT0);
    EXPECT_EQ(asked, due ? u"File " + wide + u" isn't exist. Try to create it?" : u"");
    return opened;
  };
  EXPECT_FALSE(tried(Path("слова"), true, false) || std::filesystem::exists(Path("слова")));
  EXPECT_TRUE(tried(Path("слова"), true, true));
  EXPECT_TRUE(tried(Path("слова"), false, false));
  std::ofstream(Path("damaged")) << "x";
  EXPECT_FALSE(tried(Path("damaged"), false, true));
  EXPECT_FALSE(tried("std://" + Path("damaged"), true, true));  // with a scheme it never is there
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

TEST_F(IndexFileTest, WideFormsDoWhatTheNarrowOnesDo) {
  IndexFile file;
  ASSERT_TRUE(file.Create(WidePath("слова").c_str(), IndexFile::KD_TEXT0));
  EXPECT_EQ(file.wGetURI(), WidePath("слова"));
  EXPECT_TRUE(file.Put(std::u16string(u"кот cat 😺")));
  EXPECT_TRUE(file.Find(std::u16string(u"кот")));
  EXPECT_EQ(file.Get(std::string("кот")), "кот cat 😺" + Zero);
  EXPECT_EQ(file.Get(std::u16string(u"кот")), u"кот cat 😺");
  EXPECT_TRUE(file.Update(std::u16string(u"кот kitten")));
  std::u16string value;
  EXPECT_TRUE(file.Get(std::u16string(u"кот"), value));
  EXPECT_EQ(value, u"кот kitten");
  EXPECT_FALSE(file.Get(std::u16string(u"пёс"), value));
  EXPECT_EQ(value, u"кот kitten");
  EXPECT_EQ(file.ExtractKey(std::u16string(u"кот kitten")), u"кот");
  EXPECT_TRUE(file.Erase(std::u16string(u"кот")) && file.Empty() && file.Close());
  EXPECT_TRUE(IndexFile(WidePath("слова").c_str(), true, IndexFile::KD_TEXT0).IsValid());
}

TEST_F(IndexFileTest, CopyHoldsTheTargetOpenAndNeverCopiesAFileOntoItself) {
  IndexFile words, copied;
  CreateWords(words, {"cat кошка", "dog собака"});
  words.Close();
  std::filesystem::create_hard_link(Path("words"), Path("linked"));
  std::string const source = "std://" + Path("words");
  auto const copyTo = [&](char const* name) {
    std::string const target = "std://" + Path(name);
    return copied.Copy(target.c_str(), source.c_str(), IndexFile::KD_TEXT0, nullptr);
  };
  for (char const* const itself : {"words", "linked"}) {
    EXPECT_FALSE(copyTo(itself));
    EXPECT_EQ(StateOf(*copied.GetIndHandle()), "3 SYSTEM ERROR");
  }
  EXPECT_TRUE(copyTo("copied"));
  EXPECT_EQ(copied.Size(), 2);
  EXPECT_FALSE(copied.Put(std::string("x y")));  // the layout was not looked up
  EXPECT_STREQ(copied.ErrorMessage(), "Key must be defined for this record format");
  EXPECT_TRUE(copied.Clear());

  RecordPool pool;
  ASSERT_TRUE(words.Open(source.c_str(), true));
  EXPECT_TRUE(words.GetPool(pool, std::string("d"), -1) && copied.Copy(pool, nullptr));
  EXPECT_EQ(copied.Size(), 1);
  EXPECT_TRUE(words.GetPool(pool) && copied.Copy(pool, nullptr));  // one refusal: "dog" is there
  EXPECT_EQ(copied.Size(), 2);
}

}  // namespace
