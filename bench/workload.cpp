// Reads the dictionaries and puts their records in order.
#include "workload.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <random>

#include "dictd.h"
#include "records.h"

namespace bench {
namespace {

// Room is left for the mark of an absent key behind the longest key.
constexpr std::size_t longestKey = dictd::maxKey - 1;

Workload Finished(std::string name, std::string what, std::map<std::string, std::string> all,
                  std::size_t limit) {
  Workload work;
  work.name = std::move(name);
  work.what = std::move(what);
  const std::size_t step = std::max<std::size_t>(1, (all.size() + limit - 1) / limit);
  std::size_t place = 0;
  for (auto& [key, value] : all) {
    if (place++ % step != 0) continue;
    work.bytes += key.size() + value.size();
    std::string absent = key + '~';
    if (!all.contains(absent)) work.absent.push_back(std::move(absent));
    work.items.push_back({key, std::move(value)});
  }
  std::mt19937 random(20);
  std::vector<std::size_t> places(work.items.size());
  std::iota(places.begin(), places.end(), 0);
  std::shuffle(places.begin(), places.end(), random);
  std::shuffle(work.absent.begin(), work.absent.end(), random);
  // Copied, since strings that are moved or swapped stay where they lie.
  work.mixed.reserve(places.size());
  for (const std::size_t at : places) work.mixed.push_back(work.items[at]);
  work.absent = std::vector<std::string>(work.absent);
  return work;
}

}  // namespace

Workload Headwords(const std::string& index, std::size_t limit) {
  std::map<std::string, std::string> all;
  for (const dictd::Entry& entry : dictd::ReadIndex(index)) {
    const std::string key = dictd::KeyOf(entry.headword);
    if (key.empty() || key.size() > longestKey) continue;
    all.emplace(key, std::to_string(entry.offset) + ' ' + std::to_string(entry.length));
  }
  return Finished("headwords", "German headwords with the place of their article", std::move(all),
                  limit);
}

Workload Articles(const std::string& index, const std::string& text, std::size_t limit) {
  const dictd::Dictionary dictionary(index, text);
  dictd::Tally tally;
  std::map<std::string, std::string> all;
  for (dictd::Record& record : dictd::MakeRecords(dictionary, tally)) {
    if (record.key.size() <= longestKey) all.emplace(record.key, std::move(record.article));
  }
  return Finished("articles", "English headwords with their Russian article", std::move(all),
                  limit);
}

Workload RandomWords(std::size_t count) {
  std::mt19937 random(7);
  std::map<std::string, std::string> all;
  while (all.size() < count) {
    std::string word;
    for (std::size_t length = 6 + random() % 8; length > 0; --length) {
      word += static_cast<char>('a' + random() % 26);
    }
    all.emplace(std::move(word), std::to_string(random() % 10000000));
  }
  return Finished(std::to_string(count) + " words", "random letters with a number", std::move(all),
                  count);
}

}  // namespace bench
