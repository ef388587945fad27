// Keys made of texts and integers and taken out of records, what keys and records must be like,
// records as texts, walks. Most is asked through the wide forms, which go through the narrow ones.
#include <map>
#include <optional>
#include <random>

#include "keyed/keyedfixture.h"
#include "store/udb.h"

namespace {

using RecordsTest = KeyedFixture;

TEST_F(RecordsTest, KeyIsTakenOutOfItsPlaceInTheRecordOrRefusedWithWords) {
  auto const standard = [](int n) {
    return IndexFile::GetKDForType(static_cast<IndexFile::KDTYPE>(n));
  };
  std::tuple<KEYDESCR, std::string, char const*> const cases[] = {
      {standard(0), std::string(39, '.') + "ключ x", "ключ"},
      {standard(1), "......key x", "key"},
      {standard(2), "....key x", "key"},
      {standard(3), "key x", "key"},
      {standard(4), "..two words" + Zero + "x", "two words"},
      {standard(5), "..\1\2\3\4x", "\1\2\3\4"},
      {standard(6), "two words" + Zero + "x", "two words"},
      {standard(7), "\1\2\3\4x", "\1\2\3\4"},
      {standard(8), "a line\nx", "a line"},
      {{4, ' ', 2}, "..key", "Record contains a wrong key"},
      {{4, ' ', 2}, ".", "Record don't contain key"},
      {{1, 3, 2}, "..key", "key"},  // its zero stands behind the key
      {{1, 3, 2}, "..ke", "Record doesn't contain the specified key"}};
  for (auto const& [layout, record, key] : cases) {
    IndexFile file;
    CreateAs(layout, file);
    std::u16string const taken = file.ExtractKey(A2U(record, 65001));
    EXPECT_EQ(taken + file.wErrorMessage(), A2U(key, 65001));
  }
  for (int const none : {-1, 9}) EXPECT_EQ(standard(none), standard(10)) << "there is no such row";
}

TEST_F(RecordsTest, TextIsCutOrPaddedToAFixedKeyAndAKeyOfTheWrongSortIsRefused) {
  IndexFile text, fixed, bytes, number;
  CreateAs({4, ' ', 0}, text);
  CreateAs({3, 4, 0}, fixed);
  CreateAs({1, 4, 0}, bytes);
  CreateAs({0, 4, 0}, number);
  EXPECT_FALSE(text.Find(5) || fixed.Erase(5) || number.Find(std::u16string(u"5")));
  for (IndexFile const* file : {&text, &fixed, &number})
    EXPECT_EQ(StateOf(*file), "2 Wrong record format");
  DataTransfer record;
  std::u16string const shorter = u"ab", longer = u"ab  cut off";
  for (IndexFile* const file : {&fixed, &bytes})
    EXPECT_TRUE(file->Put(BytesFrom("ab  -")) && file->Find(shorter) && file->Find(longer));
  EXPECT_TRUE(number.Put(BytesFrom({"\5\0\0\0x", 5})) && number.Get(5, record));
  EXPECT_TRUE(number.Find(5) && number.Erase(5) && number.Empty());
  for (char16_t const* const empty : {u"", u" cat"}) {
    EXPECT_FALSE(text.Find(std::u16string(empty)));
    EXPECT_EQ(StateOf(text), "2 Empty key");
    EXPECT_FALSE(text.Find(std::u16string(u"cat")) || text.CheckError());  // clears the state
  }
}

TEST_F(RecordsTest, TextKeyMayEndInItsStopSymbolOrAZeroAndABadOneIsANoToFindAndElseAFailure) {
  std::string const longest(126, 'k');
  IndexFile text, fixed;
  CreateWords(text, "кот cat," + longest + " x");
  CreateAs({1, 4, 0}, fixed);
  struct {
    IndexFile& file;
    std::string key, words;
    int found = 1;
  } const bad[] = {
      {text, longest + 'k', "WRONG KEY", 2},  // passes the check, and the store refuses it
      {text, longest + "kk", "Key too long"},
      {text, "a b", "Stop symbol inside key"},
      {text, "a " + Zero, "Stop symbol inside key"},
      {fixed, "abcd" + Zero, "Wrong binary key size"},
  };
  DataTransfer record;
  for (auto const& end : {std::string(), std::string(" "), Zero})
    EXPECT_TRUE(text.Find(BytesFrom("кот" + end)) && text.Get(BytesFrom(longest + end), record));
  for (auto const& [file, key, words, found] : bad) {
    EXPECT_FALSE(file.Find(BytesFrom(key)));
    EXPECT_EQ(StateOf(file), std::to_string(found) + ' ' + words);
    EXPECT_FALSE(file.Get(BytesFrom(key), record));
    EXPECT_EQ(StateOf(file), "2 " + words);
    EXPECT_FALSE(file.Rewind() && file.Erase(BytesFrom(key)));
    EXPECT_EQ(StateOf(file), "2 " + words);
  }
}

TEST_F(RecordsTest, RecordIsStoredOnlyUnderItsOwnBareKey) {
  IndexFile text, fixed;
  CreateAs({4, ' ', 2}, text);
  CreateAs({3, 2, 1}, fixed);
  std::string const huge = "01cat " + std::string(udbMaxRecord - 6, 'x');
  struct {
    IndexFile& file;
    std::string key, record, state;
  } const cases[] = {
      {text, "cat", "01cat ", "0 "},
      {text, "", "01 x", "0 "},
      {text, "cat ", "01cat x", "2 Record don't contain key"},
      {text, "c t", "01cat x", "2 Record don't contain key"},  // before it is bad
      {text, "ca", "01cat x", "2 Record don't contain key"},
      {text, "cat", "01cat", "2 Record contains a wrong key"},
      {text, "cat", "01", "2 Record doesn't contain key"},
      {text, "cat", huge, "2 WRONG RECORD LENGTH"},
      {text, "cat", huge + 'x', "2 Too long record"},
      {fixed, "ab", "-ab-", "0 "},
      {fixed, "ab", "-ab", "2 Record doesn't contain key"},  // nothing behind the key
  };
  for (auto const& [file, key, record, state] : cases) {
    bool const stored = state == "0 ";
    EXPECT_EQ(file.Put(BytesFrom(key), BytesFrom(record), true), stored);
    EXPECT_EQ(StateOf(file), state);
    EXPECT_EQ(file.Size(), stored ? 1 : 0);
    EXPECT_TRUE(file.Clear());
  }
  EXPECT_FALSE(text.Update(BytesFrom("cat "), BytesFrom("01cat x")));
  EXPECT_EQ(StateOf(text), "2 Record don't contain key");
  // A zero at the end of a record's own key is no terminator.
  std::string const zeroed = "01cat" + Zero + " ";
  DataTransfer record;
  EXPECT_TRUE(text.Put(BytesFrom("cat"), BytesFrom("01cat 1"), false));
  EXPECT_FALSE(text.Update(BytesFrom("cat" + Zero), BytesFrom(zeroed)) || text.CheckError());
  for (char const* const value : {"2", "3"})
    EXPECT_TRUE(text.Put(BytesFrom("cat" + Zero), BytesFrom(zeroed + value), true));
  EXPECT_TRUE(text.Get(BytesFrom("cat"), record) && record == BytesFrom("01cat 1"));
  EXPECT_TRUE(text.Get(BytesFrom("cat" + Zero + " "), record) && record == BytesFrom(zeroed + "3"));
}

TEST_F(RecordsTest, RecordsAreTextsOnlyInTextLayoutsAndEndBehindTheirLastZero) {
  std::string const plain = "k plain", zeros("k a\0b\0", 6);
  for (KEYDESCR const kd : {KEYDESCR(2, ' ', 0), KEYDESCR(3, 1, 0), KEYDESCR(4, ' ', 0)}) {
    IndexFile file;
    CreateAs(kd, file);
    for (auto const& [stored, text] :
         std::map<std::string, std::string>{{plain, plain}, {zeros + "rubbish", zeros}}) {
      std::string value = "as it was";
      std::u16string wide = u"as it was";
      EXPECT_TRUE(file.Put(BytesFrom("k"), BytesFrom(stored), true));
      EXPECT_TRUE(file.Get(std::string("k"), value) && file.Get(std::u16string(u"k"), wide));
      EXPECT_EQ(value, kd.type != 2 ? text : "as it was");
      EXPECT_EQ(wide, kd.type != 2 ? A2U(text.c_str(), 65001) : u"as it was");
    }
  }
}

TEST_F(RecordsTest, PoolStartsAtTheKeyAndGivesKeysFirstAmongBytesAndLastAmongTexts) {
  IndexFile file;
  CreateWords(file, "кот cat,пёс dog,слон elephant");
  RecordPool pool;
  DataTransfer bytes, record;
  EXPECT_TRUE(file.GetPool(pool) && pool.GetNext(bytes, record));
  EXPECT_EQ(TextOf(bytes) + TextOf(record), "коткот cat" + Zero);
  std::string text, key;
  EXPECT_TRUE(pool.GetNext(text, key));
  EXPECT_EQ(text + key, "пёс dog" + Zero + "пёс");
  std::u16string wideText, wideKey;
  EXPECT_TRUE(pool.GetNext(wideText, wideKey));
  EXPECT_EQ(wideText + wideKey, u"слон elephantслон");
  EXPECT_TRUE(pool.empty() && !pool.GetNext(wideText, wideKey));

  std::list<std::u16string> keys;
  EXPECT_TRUE(file.GetPool(pool, std::u16string(u"пёс и кот"), -1));  // up to the blank
  EXPECT_TRUE(pool.GetKeyArray(keys) && file.GetKeyArray(keys));
  EXPECT_THAT(keys, ::testing::ElementsAre(u"пёс", u"слон", u"кот", u"пёс", u"слон"));

  // The mode of matching stays. A walk from nowhere ends at once, and without words.
  for (bool const exact : {true, false}) {
    EXPECT_TRUE(file.SetExactMatch(exact) && file.GetPool(pool, BytesFrom("р"), 5));
    EXPECT_EQ(Rest(pool), "слон elephant,");
    for (auto const& nowhere :
         {std::string("two words"), std::string("я"), std::string(127, 'k')}) {
      EXPECT_TRUE(file.GetPool(pool, BytesFrom(nowhere), -1));
      EXPECT_EQ(StateOf(file) + Rest(pool), "0 ");
    }
    EXPECT_NE(file.Find(std::string("к")), file.GetExactMatch());
    EXPECT_EQ(file.GetExactMatch(), exact);
  }
  EXPECT_FALSE(IndexFile().GetPool(pool) || pool.is_valid());
}

TEST_F(RecordsTest, ChangesAnswerAsAModelAndPoolsReadOneRecordAheadAndGoOnByKeyMeanwhile) {
  IndexFile file;
  CreateWords(file, "");
  std::map<std::string, std::string> model;
  std::minstd_rand random(1);
  auto const change = [&] {
    std::string const key = std::to_string(random() % 999);
    std::string const record = key + ' ' + std::to_string(random()) + "😺";
    bool const there = model.contains(key);
    switch (random() % 4) {
      case 0:
        EXPECT_EQ(file.Put(record), model.emplace(key, record).second);
        break;
      case 1:
        EXPECT_EQ(file.Update(record), there);
        if (there) model[key] = record;
        break;
      case 2:
        EXPECT_TRUE(file.Put(BytesFrom(key), DataTransfer(record.c_str()), true));
        model[key] = record;
        break;
      default:
        EXPECT_EQ(file.Erase(key), model.erase(key) == 1);
    }
    EXPECT_FALSE(file.CheckError());
    EXPECT_EQ(file.Get(key), model.contains(key) ? model[key] + Zero : "");
    EXPECT_EQ(file.Empty() ? 0U : file.Size(), model.size());
  };
  for (int n = 0; n < 1000; ++n) change();
  struct {
    RecordPool pool;
    std::optional<std::pair<std::string, std::string>> ahead;
  } walks[3];
  for (int n = 0; n < 20000; ++n) {
    if (random() % 20 == 0) change();
    auto& [pool, ahead] = walks[random() % 3 * random() % 3];  // now one, now another
    ASSERT_TRUE(ahead || (!model.empty() && file.GetPool(pool)));
    auto const expected = ahead.value_or(*model.begin());
    auto const next = model.upper_bound(expected.first);
    ahead = next == model.end() ? std::nullopt : std::make_optional(*next);
    std::string record, key;
    ASSERT_TRUE(pool.GetNext(record, key));
    ASSERT_EQ(key + '|' + record, expected.first + '|' + expected.second + Zero);
  }
}

TEST_F(RecordsTest, RecordWithoutAWholeKeyEndsTheWalkAsAFailureThatNobodyHasToCatch) {
  // Four bytes of key and nothing else: the store takes such a record, a file never gives it out.
  IndexFile file;
  CreateAs({1, 4, 0}, file);
  EXPECT_TRUE(file.Put(BytesFrom("aaaa-")) && file.Put(BytesFrom("bbbb-")));
  RecordPool pool, behind;
  EXPECT_TRUE(file.GetPool(pool) && file.GetPool(behind, BytesFrom("bbbb"), -1));
  std::string failure;
  int const bare = udbOpen(file.GetURI(), 2, failure);
  auto const* const key = reinterpret_cast<unsigned char const*>("bbbb");
  ASSERT_EQ(udbUpdate(bare, {key, 4}, key, 4), 0) << failure;
  udbClose(bare);
  EXPECT_EQ(Rest(pool), "aaaa-,");
  EXPECT_EQ(StateOf(file), "2 Record doesn't contain key");
  EXPECT_EQ(Rest(behind), "bbbb-,") << "it was read ahead";
  EXPECT_FALSE(file.GetPool(pool, BytesFrom("bbbb"), -1));
  EXPECT_EQ(StateOf(file), "2 Record doesn't contain key");
  std::vector<DataTransfer> keys;
  EXPECT_TRUE(file.GetIndHandle()->get_index_map(keys)) << "a walk that failed answers true";
}

TEST_F(RecordsTest, WalkOverALongRecordWithAnotherKeyThanItsEntryEndsAtTheDamageBehindIt) {
  IndexFile file;
  CreateAs({1, 4, 0}, file);
  std::string const path = file.GetURI(), rest(3000, '-');
  for (auto const& record : {std::string("aabd-"), "bbbb" + rest, std::string("cccc-")})
    EXPECT_TRUE(file.Put(BytesFrom(record)));
  file.Close();
  std::string bytes = Read("1");
  bytes.replace(bytes.find("bbbb" + rest), 4, "aabd");  // the sum is the same
  bytes[bytes.find("cccc-") - 7] = 9;
  Write("1", bytes);
  ASSERT_TRUE(file.Open(path.c_str(), true));
  for (int time = 0; time < 3; ++time) {
    RecordPool pool;
    DataTransfer key, record;
    EXPECT_TRUE(file.GetPool(pool) && pool.GetNext(key, record) && pool.GetNext(key, record));
    EXPECT_FALSE(pool.GetNext(key, record));
    EXPECT_EQ(StateOf(file), "2 FILE CORRUPTED");
  }
}

TEST_F(RecordsTest, WalkAmongKeysOutOfOrderInAPageThatCountsAsFreeDoesNotGoInACircle) {
  IndexFile file;
  CreateAs({1, 4, 0}, file);
  std::string const path = file.GetURI();
  for (char const* const record : {"aaaa-", "bbbb-", "cccc-"}) file.Put(BytesFrom(record));
  file.Close();
  std::string bytes = Read("1");
  auto const entry = [&](char const* record) { return bytes.begin() + bytes.find(record) - 7; };
  std::swap_ranges(entry("bbbb-"), entry("bbbb-") + 12, entry("cccc-"));
  bytes[25] &= ~2;
  Write("1", bytes);
  ASSERT_TRUE(file.Open(path.c_str(), true));
  RecordPool pool;
  EXPECT_TRUE(file.GetPool(pool));
  EXPECT_EQ(Rest(pool), "aaaa-,cccc-,");
  EXPECT_EQ(StateOf(file), "2 FILE CORRUPTED");
}

}  // namespace
