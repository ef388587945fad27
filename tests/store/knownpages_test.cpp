// What is known of pages finds what a walk over them finds.
#include "store/knownpages.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include "store/pageeditor.h"
#include "store/pagesearch.h"
#include "store/records.h"

namespace {

store::Bytes BytesOfText(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Of few letters, so that numbers are often equal, and zeros that are there meet zeros that are
// not.
struct KeyKind {
  KEYDESCR kd;
  std::size_t prefix;   // bytes that nearly all keys begin with
  std::size_t letters;  // behind it, at most so many less one
};

std::string RandomKey(const KeyKind& kind, std::mt19937& random) {
  if (kind.kd.type == 0) {
    const std::uint32_t number = random() % 400 - 200U;
    return {reinterpret_cast<const char*>(&number), sizeof number};
  }
  const std::string letters("\0\1a\xFF", 4);
  std::string key = letters + letters + letters;
  key.resize(random() % 20 == 0 ? random() % (kind.prefix + 1) : kind.prefix);
  const std::size_t length = kind.kd.IsText() ? key.size() + random() % kind.letters : kind.kd.len;
  while (key.size() < length) key += letters[random() % letters.size()];
  return kind.kd.IsText() ? key + ' ' : key;
}

store::Page PageOf(const KeyKind& kind, bool leaf, std::size_t most, std::mt19937& random) {
  const auto isLess = [&](const std::string& a, const std::string& b) {
    return store::CompareKeys(kind.kd, BytesOfText(a), BytesOfText(b)) < 0;
  };
  std::set<std::string, decltype(isLess)> keys(isLess);
  for (std::size_t i = 0; i < most; ++i) keys.insert(RandomKey(kind, random));
  store::Page page{};
  store::PageEditor editor(page);
  editor.SetType(leaf ? store::LeafType : store::InternalType);
  editor.SetRightChild(9999);
  store::StagedEntry entry;
  std::uint16_t child = 100;
  for (const std::string& key : keys) {
    if (leaf) {
      entry.BuildInline(BytesOfText(key + std::string(random() % 9, 'v')));
    } else {
      entry.BuildKey(child++, BytesOfText(key));
    }
    const std::size_t used = store::TreePage::Of(page)->Used();
    if (used + entry.Size() >= store::EntriesEnd) break;
    editor.Insert(used, entry.Whole());
  }
  return page;
}

TEST(PageDirectoryTest, FindsWhatAWalkFindsWhateverKeysShare) {
  std::mt19937 random(5);
  const KeyKind kinds[] = {{KEYDESCR(4, ' ', 0), 0, 5},  {KEYDESCR(4, ' ', 0), 3, 9},
                           {KEYDESCR(4, ' ', 0), 7, 12}, {KEYDESCR(4, ' ', 0), 8, 20},
                           {KEYDESCR(4, ' ', 0), 9, 5},  {KEYDESCR(1, 11, 0), 6, 0},
                           {KEYDESCR(3, 4, 0), 0, 0},    {KEYDESCR(0, 4, 0), 0, 0}};
  for (int round = 0; round < 480; ++round) {
    const KeyKind& kind = kinds[static_cast<std::size_t>(round / 2) % std::size(kinds)];
    const bool leaf = round % 2 == 0;
    const store::Page page = PageOf(kind, leaf, 1 + random() % 300, random);
    const auto view = *store::TreePage::Of(page);
    const store::SoundPage sound(view, kind.kd);
    ASSERT_TRUE(sound.IsSound());
    const auto directory = store::PageDirectory::Of(sound);
    for (int asked = 0; asked < 100; ++asked) {
      const std::string text = RandomKey(kind, random);
      const store::SoughtKey key(kind.kd, BytesOfText(text));
      const std::size_t at = store::StepOverLess(view, kind.kd, key.Whole());
      const auto entry = view.At(at);
      const auto found = directory->FirstNotLess(key, kind.kd, view.Entries());
      ASSERT_TRUE(found.found);
      if (leaf) {
        ASSERT_EQ(found.offset, at) << round;
      } else {
        ASSERT_EQ(found.child, entry ? entry->Child() : view.RightChild()) << round;
      }
    }
  }
}

// Leaves that lose, gain and hand over keys, more often than a page has editions, in a table that
// was made for fewer.
TEST(KnownPagesTest, PlacesAreThoseOfTheLatestVersionsOfAllLeaves) {
  constexpr std::uint16_t leaves = 9;
  std::mt19937 random(8);
  store::DirectoryMemory memory;
  store::KnownPages known;
  known.KeepIn(memory);
  const KeyKind kind{KEYDESCR(4, ' ', 0), 0, 5};
  std::vector<store::Page> pages(leaves + 1);
  std::vector<std::uint64_t> versions(leaves + 1, 0);
  std::size_t refused = 0;
  for (int round = 0; round < 1500; ++round) {
    const auto changed = static_cast<std::uint16_t>(1 + random() % (round < 600 ? 2 : leaves));
    versions[changed] += 2;
    if (round % 100 == 50) known.Clear();
    pages[changed] = PageOf(kind, true, 1 + random() % 300, random);
    const auto view = *store::TreePage::Of(pages[changed]);
    const store::SoundPage leaf(view, kind.kd);
    if (!known.AddPlaces(changed, versions[changed], leaf, 100)) {
      ++refused;
      ASSERT_TRUE(known.AddPlaces(changed, versions[changed], leaf, 100));
    }
    for (int asked = 0; asked < 20; ++asked) {
      const auto looked = static_cast<std::uint16_t>(asked < 15 ? changed : 1 + random() % leaves);
      const auto* const latest = known.FindAt(looked, versions[looked]);
      ASSERT_TRUE(looked != changed || (latest != nullptr && latest->hasPlaces));
      if (latest == nullptr || !latest->hasPlaces) continue;
      const std::string text = RandomKey(kind, random);
      const store::Bytes key = BytesOfText(text);
      std::uint16_t met = 0;
      known.FindKey(store::KeyMark(kind.kd, key), [&](const store::KnownPages::Place& place) {
        const auto* const its = known.FindAt(place.page, versions[place.page]);
        if (place.page != looked || its == nullptr) return false;
        const auto entry = store::TreePage::Of(pages[looked])->At(place.offset);
        const auto there = entry ? entry->Key(kind.kd) : std::nullopt;
        EXPECT_TRUE(there) << "no entry begins there, round " << round;
        met += there && std::equal(there->begin(), there->end(), key.begin(), key.end()) ? 1 : 0;
        return false;
      });
      const auto searched = *store::TreePage::Of(pages[looked]);
      const auto at = searched.At(store::StepOverLess(searched, kind.kd, key));
      const bool isThere = at && store::CompareKeys(kind.kd, *at->Key(kind.kd), key) == 0;
      ASSERT_EQ(met, isThere ? 1 : 0) << round;
    }
  }
  EXPECT_GT(refused, 0U);  // a full table is made anew, larger
  EXPECT_LT(refused, 15U);
  known.Clear();
  EXPECT_EQ(memory.Used(), 0U);
}

struct RandomLeaf {
  RandomLeaf(const KeyKind& kind, std::mt19937& random)
      : page(PageOf(kind, true, 100, random)), sound(*store::TreePage::Of(page), kind.kd) {}
  const store::Page page;
  const store::SoundPage sound;
};

// More of them than a page has editions.
TEST(KnownPagesTest, KeysThatWentAreNotFoundAgainAndTakeNoRoom) {
  std::mt19937 random(8);
  store::DirectoryMemory memory;
  store::KnownPages known;
  known.KeepIn(memory);
  const KeyKind kind{KEYDESCR(1, 11, 0), 0, 0};
  const RandomLeaf first(kind, random);
  const store::SoundPage& gone = first.sound;
  known.AddPlaces(1, 0, gone, 10'000);
  for (std::uint64_t version = 2; version < 500; version += 2) {
    known.AddPlaces(1, version, RandomLeaf(kind, random).sound, 10'000);
    ASSERT_LT(memory.Used(), 100'000U) << version;
    std::size_t met = 0;
    for (std::size_t n = 0; n < gone.Count(); ++n) {
      const auto isAny = [](const store::KnownPages::Place&) { return true; };
      met += known.FindKey(store::KeyMark(kind.kd, gone.Key(n)), isAny) ? 1 : 0;
    }
    ASSERT_LT(met, 3U) << version;  // others may have the same mark
  }
}

TEST(KnownPagesTest, LeafIsWorthKnowingWhenATableIsAndOthersLeaveItAlone) {
  std::mt19937 random(8);
  const RandomLeaf leaf({KEYDESCR(4, ' ', 0), 0, 5}, random);
  store::DirectoryMemory memory;
  store::KnownPages known;
  known.KeepIn(memory);
  const auto askUntilItIs = [&](std::uint64_t version) {
    int asked = 1;
    while (asked < 20 && !known.IsWorthKnowing(1, version, 3000)) ++asked;
    known.AddPlaces(1, version, leaf.sound, 3000);
    return asked;
  };
  EXPECT_EQ(askUntilItIs(0), 3);
  EXPECT_EQ(askUntilItIs(2), 6);
  known.Drop(1);
  EXPECT_EQ(askUntilItIs(4), 1) << "changed by oneself";
}

TEST(KnownPagesTest, AllKeysAreInTheTableWhenThoseOfEveryLeafBelowTheRootAre) {
  std::mt19937 random(8);
  const KeyKind kind{KEYDESCR(4, ' ', 0), 0, 5};
  const RandomLeaf leaf(kind, random);
  const store::Page page = PageOf(kind, false, 5, random);
  const store::SoundPage root(*store::TreePage::Of(page), kind.kd);
  const auto itself = root.At(0).Child();
  store::DirectoryMemory memory;
  store::KnownPages known;
  known.KeepIn(memory);
  const auto hasAll = [&](std::uint16_t from) {
    for (std::uint32_t missed = 0; missed < store::MaxPages; ++missed) known.NoteMissed(from, 2);
    return known.HasAll(2);
  };
  known.AddDirectory(1, 0, root);
  known.AddDirectory(root.RightChild(), 0, leaf.sound);
  for (std::size_t n = 0; n < root.Count(); ++n) {
    EXPECT_FALSE(hasAll(1)) << n;
    known.AddPlaces(root.At(n).Child(), 0, leaf.sound, 1000);
  }
  EXPECT_FALSE(hasAll(1)) << "one of them has a directory only";
  known.AddPlaces(root.RightChild(), 0, leaf.sound, 1000);
  EXPECT_TRUE(hasAll(1));
  EXPECT_FALSE(known.HasAll(4)) << "changed by oneself";
  std::uint16_t other = 200;
  while (known.AddPlaces(other, 0, leaf.sound, 1000)) ++other;
  EXPECT_FALSE(known.HasAll(2)) << "the table ran over";
  for (const std::uint16_t child : known.At(1)->directory->ChildPages()) {
    known.AddPlaces(child, 0, leaf.sound, 1000);
  }
  EXPECT_TRUE(hasAll(1));
  known.Doubt();
  EXPECT_FALSE(known.HasAll(2)) << "changed by somebody";
  known.AddDirectory(itself, 2, root);
  EXPECT_FALSE(hasAll(itself)) << "links lead in a circle";
}

TEST(KnownPagesTest, TablesOfSeveralFilesDoNotPushEachOtherOut) {
  std::mt19937 random(8);
  const RandomLeaf leaf({KEYDESCR(4, ' ', 0), 0, 5}, random);
  store::DirectoryMemory memory;
  memory.limit = 100'000;
  store::KnownPages known[2];
  for (auto& one : known) one.KeepIn(memory);
  EXPECT_TRUE(known[0].AddPlaces(1, 0, leaf.sound, 7000));
  EXPECT_FALSE(known[1].AddPlaces(1, 0, leaf.sound, 7000));
  EXPECT_TRUE(known[0].FindAt(1, 0)->hasPlaces);
  known[0].Clear();
  EXPECT_TRUE(known[1].AddPlaces(1, 0, leaf.sound, 7000));
}

}  // namespace
