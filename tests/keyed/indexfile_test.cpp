// Opening, creating, copying; what a keyed file tells of itself.
#include <fstream>

#include "keyed/keyedfixture.h"

namespace {

using IndexFileTest = KeyedFixture;
constexpr char const* notInitialized = "Index file not initialized properly";

TEST_F(IndexFileTest, ClosedObjectAnswersNoToEverything) {
  IndexFile file;
  DataTransfer key("k"), record;
  std::string text;
  RecordPool pool;
  std::list<std::u16string> keys;
  EXPECT_FALSE(file.Find(key) || file.Get(key, record) || file.Put(key, record, true) ||
               file.Update(key, record) || file.Erase(key) || file.Clear() || file.Empty() ||
               file.Rewind() || file.SetExactMatch(true) || file.GetExactMatch() ||
               file.ExtraCommand(1, &key, true) || file.GetPool(pool) || file.GetKeyArray(keys) ||
               file.Find(text) || file.Find(1) || file.Find(std::string("k")) ||
               file.Put(std::string("k r")) || file.Update(record) || file.Copy(pool, nullptr) ||
               file.IsValid());
  EXPECT_EQ(file.Size(), -1);
  EXPECT_EQ(file.GetState(), 3);
  EXPECT_TRUE(file.CheckError() && file.isFail());
  EXPECT_STREQ(file.ErrorMessage(), notInitialized);
  EXPECT_EQ(file.wErrorMessage(), u"Index file not initialized properly");
  EXPECT_EQ(file.GetURI(), nullptr);
  EXPECT_EQ(file.wGetURI(), u"");
  EXPECT_EQ(file.GetIndHandle(), nullptr);
  EXPECT_EQ(file.GetKDType(), IndexFile::KD_STORED);
  EXPECT_TRUE(file.Close());
  EXPECT_TRUE(file == IndexFile::EmptyFile);
}

TEST_F(IndexFileTest, WordsOfAFailedOpeningAreOnTheMapUntilClose) {
  IndexFile file;
  EXPECT_FALSE(file.Open(Path("missing").c_str(), true));
  EXPECT_STREQ(file.ErrorMessage(), notInitialized);
  ASSERT_NE(file.GetIndHandle(), nullptr);
  EXPECT_EQ(file.GetIndHandle()->get_err_mess(), "NONEXISTENT FILE");
  EXPECT_TRUE(file.isFail());
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(file.GetIndHandle(), nullptr);
  EXPECT_FALSE(file.Open(static_cast<char const*>(nullptr), true));
  EXPECT_FALSE(file.Create(Path("new").c_str(), IndexFile::KD_STORED));
  EXPECT_EQ(file.GetIndHandle()->get_err_mess(), "WRONG KEY");
  // A key or a record that cannot be served must not bring the file to life.
  EXPECT_FALSE(file.Find(std::string()) || file.Put(std::string("k r")));
  EXPECT_FALSE(file.IsValid());
  EXPECT_EQ(file.GetIndHandle()->get_err_mess(), "WRONG KEY");
}

TEST_F(IndexFileTest, OpenComparesTheLayoutUnlessTheStoredOneIsAskedFor) {
  IndexFile file;
  CreateWords(file, {"cat кошка"});
  EXPECT_TRUE(file.Close());
  EXPECT_TRUE(file.Open(Path("words").c_str(), true));
  EXPECT_EQ(file.GetKeyDescr(), IndexFile::GetKDForType(IndexFile::KD_TEXT0));
  EXPECT_EQ(file.GetKDType(), IndexFile::KD_STORED);
  file.Close();
  try {
    file.Open(Path("words").c_str(), true, IndexFile::KD_TEXT4);
    ADD_FAILURE() << "a wrong layout was taken";
  } catch (char const* words) {
    EXPECT_STREQ(words, "Keydescr error");
  }
  EXPECT_TRUE(file.Close());
  EXPECT_THROW(IndexFile(Path("words").c_str(), true, IndexFile::KD_INT0), char const*);
  // Nobody holds it any more: it can be deleted and made anew.
  EXPECT_TRUE(file.Open(Path("words").c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_TRUE(file.Clear());
}

TEST_F(IndexFileTest, StandardLayoutsTakeTheKeyFromTheirPlaces) {
  struct {
    int type;
    std::string record;
    std::string key;
  } const cases[] = {
      {IndexFile::KD_TEXT39, std::string(39, '.') + "ключ x", "ключ"},
      {IndexFile::KD_TEXT6, "......key x", "key"},
      {IndexFile::KD_TEXT4, "....key x", "key"},
      {IndexFile::KD_TEXT0, "key x", "key"},
      {IndexFile::KD_ZTEXT2, "..two words" + Zero + "x", "two words"},
      {IndexFile::KD_INT2, "..\1\2\3\4x", "\1\2\3\4"},
      {IndexFile::KD_ZTEXT0, "two words" + Zero + "x", "two words"},
      {IndexFile::KD_INT0, "\1\2\3\4x", "\1\2\3\4"},
      {IndexFile::KD_LINE0, "a line\nx", "a line"},
  };
  for (auto const& c : cases) {
    IndexFile file;
    auto const type = static_cast<IndexFile::KDTYPE>(c.type);
    ASSERT_TRUE(file.Create(Path(std::to_string(c.type)).c_str(), type));
    EXPECT_EQ(file.GetKDType(), type);
    EXPECT_TRUE(file.Put(c.record)) << c.type << file.ErrorMessage();
    EXPECT_EQ(file.ExtractKey(c.record), c.key);
    DataTransfer record;
    EXPECT_TRUE(c.key == "\1\2\3\4" ? file.Get(0x04030201, record) : file.Get(c.key, record))
        << c.type << file.ErrorMessage();
    std::string stored;
    record.GetData(stored);
    EXPECT_EQ(stored, c.record + Zero);
  }
}

TEST_F(IndexFileTest, TryOpenAsksOnceAndCreatesOnlyOnYes) {
  static int asked;
  static std::u16string question;
  static bool answer;
  asked = 0;
  SetUserQuestCallback([](std::u16string const& text) {
    ++asked;
    question = text;
    return answer;
  });
  IndexFile file;
  std::string const path = Path("слова");
  answer = false;
  EXPECT_FALSE(file.TryOpen(path.c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(question, u"File " + WidePath("слова") + u" isn't exist. Try to create it?");
  EXPECT_FALSE(std::filesystem::exists(path));
  answer = true;
  EXPECT_TRUE(file.TryOpen(WidePath("слова").c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_EQ(asked, 2);
  EXPECT_TRUE(file.TryOpen(path.c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_EQ(asked, 2);

  // A damaged file is there, so that nobody is asked; with a scheme in front it never counts.
  std::ofstream(Path("damaged")) << "x";
  EXPECT_FALSE(file.TryOpen(Path("damaged").c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_EQ(asked, 2);
  EXPECT_FALSE(file.TryOpen(("std://" + Path("damaged")).c_str(), false, IndexFile::KD_TEXT0));
  EXPECT_EQ(asked, 3);
  SetUserQuestCallback(nullptr);
}

TEST_F(IndexFileTest, WideFormsDoWhatTheNarrowOnesDo) {
  IndexFile file;
  ASSERT_TRUE(file.Create(WidePath("слова").c_str(), IndexFile::KD_TEXT0));
  EXPECT_EQ(file.wGetURI(), WidePath("слова"));
  EXPECT_TRUE(file.Put(std::u16string(u"кот cat 😺")));
  EXPECT_TRUE(file.Find(std::u16string(u"кот")));
  EXPECT_EQ(file.Get(std::string("кот")), "кот cat 😺" + Zero);
  EXPECT_EQ(file.Get(std::u16string(u"кот")), u"кот cat 😺");
  std::u16string value = u"as it was";
  EXPECT_FALSE(file.Get(std::u16string(u"пёс"), value));
  EXPECT_EQ(value, u"as it was");
  EXPECT_TRUE(file.Update(std::u16string(u"кот kitten")));
  EXPECT_TRUE(file.Get(std::u16string(u"кот"), value));
  EXPECT_EQ(value, u"кот kitten");
  EXPECT_EQ(file.ExtractKey(std::u16string(u"кот kitten")), u"кот");
  EXPECT_TRUE(file.Erase(std::u16string(u"кот")));
  EXPECT_TRUE(file.Empty());
  EXPECT_FALSE(file.Find(std::u16string()));
  EXPECT_EQ(file.wErrorMessage(), u"Empty key");
  file.Close();
  IndexFile const again(WidePath("слова").c_str(), true, IndexFile::KD_TEXT0);
  EXPECT_TRUE(again.IsValid());
}

TEST_F(IndexFileTest, CopyHoldsTheTargetOpenAndTellsByItsStateWhetherAllCame) {
  IndexFile words;
  CreateWords(words, {"cat кошка", "dog собака"});
  words.Close();
  std::string const source = "std://" + Path("words"), target = "std://" + Path("copied");
  IndexFile copied;
  EXPECT_TRUE(copied.Copy(target.c_str(), source.c_str(), IndexFile::KD_TEXT0, nullptr));
  EXPECT_EQ(copied.GetState(), 0);
  EXPECT_EQ(copied.Size(), 2);
  EXPECT_FALSE(copied.Put(std::string("x y")));  // the layout was not looked up
  EXPECT_STREQ(copied.ErrorMessage(), "Key must be defined for this record format");
  EXPECT_TRUE(copied.Close());
  EXPECT_TRUE(copied.Copy(target.c_str(), "std://missing", IndexFile::KD_TEXT0, nullptr));
  EXPECT_STREQ(copied.ErrorMessage(), "Copy error");
  EXPECT_TRUE(copied.Close());
  EXPECT_FALSE(copied.Copy(u"copied", u"words", IndexFile::KD_TEXT0, nullptr));

  RecordPool pool;
  words.Open(source.c_str(), true);
  words.GetPool(pool, std::string("d"), -1);
  ASSERT_TRUE(copied.Open(target.c_str(), false));
  EXPECT_TRUE(copied.Copy(pool, nullptr));
  EXPECT_EQ(copied.Get(std::string("dog")), "dog собака" + Zero);
  EXPECT_EQ(copied.Size(), 1);
  words.GetPool(pool);
  EXPECT_TRUE(copied.Copy(pool, nullptr));  // "dog" is there already: one refusal
  EXPECT_EQ(copied.Size(), 2);
}

TEST_F(IndexFileTest, FileIsNeverCopiedOntoItself) {
  IndexFile words;
  CreateWords(words, {"cat кошка", "dog собака"});
  words.Close();
  std::filesystem::create_hard_link(Path("words"), Path("linked"));
  for (char const* const name : {"words", "linked"}) {
    IndexFile copied;
    std::string const target = "std://" + Path(name), source = "std://" + Path("words");
    EXPECT_FALSE(copied.Copy(target.c_str(), source.c_str(), IndexFile::KD_TEXT0, nullptr));
    EXPECT_EQ(copied.GetIndHandle()->get_err_mess(), "SYSTEM ERROR");
  }
  ASSERT_TRUE(words.Open(Path("words").c_str(), true));
  EXPECT_EQ(words.Size(), 2);
}

TEST_F(IndexFileTest, StandardPrefixIsTakenOnlyIfSomebodyServesIt) {
  EXPECT_FALSE(IndexFile::SetStdPrefix(static_cast<char const*>(nullptr)));
  EXPECT_TRUE(IndexFile::SetStdPrefix(u"nobody://"));  // falls back on the standard factory
  EXPECT_FALSE(IndexFile::SetStdPrefix("else://"));    // and now there is nothing to fall back on
  IndexFile file;
  EXPECT_FALSE(file.Create(Path("x").c_str(), IndexFile::KD_TEXT0));
  EXPECT_STREQ(file.ErrorMessage(), notInitialized);
  EXPECT_TRUE(IndexFile::SetStdPrefix("std://"));
  EXPECT_TRUE(file.Create(Path("x").c_str(), IndexFile::KD_TEXT0));
  std::uint32_t longest = 0;
  EXPECT_TRUE(IndexFile::SystemCommand(6, &longest));
  EXPECT_EQ(longest, 0xFFFFFFU);
  EXPECT_FALSE(IndexFile::SystemCommand(7, &longest, u"std://"));
}

}  // namespace
