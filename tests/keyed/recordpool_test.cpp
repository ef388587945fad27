// A walk as an object.
#include "keyed/keyedfixture.h"

namespace {

using ::testing::ElementsAre;
using RecordPoolTest = KeyedFixture;

TEST_F(RecordPoolTest, PoolWithoutACursorAnswersNoToEverything) {
  RecordPool pool;
  DataTransfer key, record;
  std::string text, keyText = "as it was";
  std::list<std::u16string> keys;
  EXPECT_FALSE(pool.is_valid() || pool.empty() || pool.GetNext(key, record) ||
               pool.GetNext(text, keyText) || pool.GetKeyArray(keys));
  EXPECT_EQ(keyText, "as it was");
}

TEST_F(RecordPoolTest, KeyComesFirstAmongBytesAndTheRecordFirstAmongTexts) {
  IndexFile file;
  CreateWords(file, {"кот cat", "пёс dog", "слон elephant"});
  RecordPool pool;
  ASSERT_TRUE(file.GetPool(pool));
  DataTransfer bytes, record;
  EXPECT_TRUE(pool.GetNext(bytes, record));
  EXPECT_EQ(bytes.Size(), 6);
  EXPECT_EQ(record, DataTransfer("кот cat"));
  std::string text, key;
  EXPECT_TRUE(pool.GetNext(text, key));
  EXPECT_EQ(key, "пёс");
  EXPECT_EQ(text, "пёс dog" + Zero);
  std::u16string wideText, wideKey;
  EXPECT_TRUE(pool.GetNext(wideText, wideKey));
  EXPECT_EQ(wideKey, u"слон");
  EXPECT_EQ(wideText, u"слон elephant");
  EXPECT_TRUE(pool.empty());
  EXPECT_FALSE(pool.GetNext(wideText, wideKey));
  EXPECT_EQ(wideKey, u"слон");
}

TEST_F(RecordPoolTest, PoolStartsAtTheKeyAndIsSetAnewByTheNextGetPool) {
  IndexFile file;
  CreateWords(file, {"кот cat", "пёс dog", "слон elephant"});
  RecordPool pool;
  std::list<std::u16string> keys;
  EXPECT_TRUE(file.GetPool(pool, std::string("пёс и кот"), -1));  // up to the blank
  EXPECT_TRUE(pool.GetKeyArray(keys));
  EXPECT_THAT(keys, ElementsAre(u"пёс", u"слон"));
  keys.clear();
  EXPECT_TRUE(file.GetPool(pool, std::u16string(u"р"), 5));
  EXPECT_TRUE(pool.GetKeyArray(keys));
  EXPECT_THAT(keys, ElementsAre(u"слон"));
  keys.clear();
  EXPECT_TRUE(file.GetPool(pool, std::string(), -1));
  EXPECT_TRUE(pool.GetKeyArray(keys));
  EXPECT_EQ(keys.size(), 3U);
  keys.clear();
  EXPECT_TRUE(file.GetKeyArray(keys));
  EXPECT_EQ(keys.size(), 3U);
  EXPECT_TRUE(file.GetPool(pool, DataTransfer("я"), -1));
  EXPECT_TRUE(pool.empty());

  IndexFile const closed;
  EXPECT_FALSE(closed.GetPool(pool));
  EXPECT_FALSE(pool.is_valid());
}

}  // namespace
