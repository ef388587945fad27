// Articles for an empty dictionary.
#include "dictload.h"

#include <algorithm>
#include <vector>

namespace kvor {
namespace {

std::string_view NameIn(const std::string& record) {
  return std::string_view(record).substr(0, record.find(' '));
}

}  // namespace

DictLoad::DictLoad(DictFile& filled) : dictionary(filled), takes(dictionary.Articles().Empty()) {}

// A record too long for any file is declined, for the file to say so.
DictLoad::Answer DictLoad::Take(const Article& article) {
  if (!takes) return Answer::Declined;
  if (names.contains(article.Name)) return Answer::Present;
  std::string record = DictFile::RecordOf(article);
  if (bytes + record.size() > MostBytes ||
      record.size() >= static_cast<std::size_t>(IndexFile::GetMaxRecLen(u"std://"))) {
    return Answer::Declined;
  }
  bytes += record.size();
  names.insert(NameIn(records.emplace_back(std::move(record))));
  return Answer::Taken;
}

LoadReport DictLoad::Finish() {
  if (!takes) {
    LoadReport nothing;
    nothing.done = true;
    return nothing;
  }
  takes = false;
  std::vector<const std::string*> sorted;
  for (const std::string& record : records) sorted.push_back(&record);
  std::ranges::sort(sorted, {}, [](const std::string* record) { return NameIn(*record); });
  auto next = sorted.begin();
  LoadReport report =
      LoadStore(dictionary.Path(), [&]() -> std::optional<std::span<const unsigned char>> {
        if (next == sorted.end()) return std::nullopt;
        const std::string& record = **next++;
        return std::span(reinterpret_cast<const unsigned char*>(record.data()), record.size());
      });
  names.clear();
  records.clear();
  return report;
}

}  // namespace kvor
