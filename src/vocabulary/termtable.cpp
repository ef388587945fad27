// Looking up in a table of terms: by name, by code, and along the chain of groups.
#include "vocabulary/termtable.h"

#include <algorithm>

#include "vocabulary/numbertext.h"

namespace vocabulary {

namespace {

constexpr const char16_t* NumberZero = u"0";
constexpr const char16_t* BigNumber = u"BIGNUM";
// As many numbers have codes of their own, behind that of zero.
constexpr unsigned FirstBigNumber = 255;

// The colon counts as a digit here.
bool LooksLikeNumber(std::u16string_view name) {
  return std::all_of(name.begin(), name.end(), [](char16_t c) { return c >= u'0' && c <= u':'; });
}

// From the top down to the entry itself.
std::vector<const Term*> PathTo(const Term* entry) {
  std::vector<const Term*> path;
  for (; entry != nullptr; entry = entry->parent) path.push_back(entry);
  std::reverse(path.begin(), path.end());
  return path;
}

template <class Map, class Key>
Term* FindIn(const Map& map, const Key& key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : nullptr;
}

}  // namespace

Term* Terms::Find(std::uint16_t code) const { return FindIn(codes, code); }
Term* Terms::Find(std::u16string_view name) const { return FindIn(names, name); }

std::uint16_t Terms::CodeOf(std::u16string_view name) const {
  const auto codeOfName = [this](std::u16string_view entry) {
    const Term* const found = Find(entry);
    return found != nullptr ? found->code : unknownCode;
  };
  if (!name.empty() && LooksLikeNumber(name)) {
    const std::uint16_t number = Cut16(DecimalValue(name));
    if (number >= FirstBigNumber) return codeOfName(BigNumber);
    if (number != 0) return static_cast<std::uint16_t>(codeOfName(NumberZero) + number);
  }
  return codeOfName(name);
}

const std::u16string& Terms::NameOf(std::uint16_t code) const {
  const Term* const found = Find(code);
  return found != nullptr ? found->name : unknownName;
}

bool Terms::Belong(std::uint16_t code, std::uint16_t group, int depth) const {
  if (group == UniversalGroup) return true;
  for (const Term* entry = Find(code); entry != nullptr; entry = entry->parent) {
    if (entry->code == group) return true;
    if (depth == 0) return false;
    if (depth > 0) --depth;  // below zero there is no limit, however long the chain
  }
  return false;
}

bool Terms::InNonRepGroup(std::uint16_t a, std::uint16_t b) const {
  const std::vector<const Term*> pathA = PathTo(Find(a));
  const std::vector<const Term*> pathB = PathTo(Find(b));
  const std::size_t shorter = std::min(pathA.size(), pathB.size());
  std::size_t common = 0;
  while (common < shorter && pathA[common]->code == pathB[common]->code) ++common;
  // An entry never counts as the group around itself.
  if (common == shorter && common > 0) --common;
  return common > 0 && pathA[common - 1]->nonrep == 1;
}

std::vector<Term*> Terms::InOrder() const {
  std::vector<Term*> all;
  all.reserve(codes.size());
  for (const auto& [code, entry] : codes) all.push_back(entry);
  std::sort(all.begin(), all.end(),
            [](const Term* left, const Term* right) { return left->code < right->code; });
  return all;
}

}  // namespace vocabulary
