// Rules, their conditions, and the joining of words by them.
#include "demogrammar.h"

#include <algorithm>
#include <numeric>

#include "environment.h"
#include "kvorlib/terms.h"
#include "kvorlib/timers.h"
#include "outcome.h"

namespace kvor {

// A condition that is asked of two words.
class Grammar::PairTree final : public BASETREE {
 public:
  std::uint16_t left = 0;
  std::uint16_t right = 0;

  void Read(const std::u16string& condition) {
    SimpleParser<char16_t> lexer(nullptr, u"+|^();.", u" ", nullptr);
    // Names of terms hold a dash; without it they would not be single items.
    lexer.SetParsParam((std::u16string(lexer.GetParsParam(3)) + u'-').c_str(), 3);
    Text text(BASE_STRING<char16_t>(condition.data(), static_cast<int>(condition.size())));
    text.SetTextParser(&lexer);
    std::u16string error;
    if (!ReadTreeBody(text, error)) throw Failure("", OneLine(error));
  }

 protected:
  BasePred* ReadPred(DefText<char16_t>& text) override;

 private:
  class InGroup;
  struct Text : DefText<char16_t> {  // without white space, as trees are read
    using DefText::DefText;
    int GetItem(BASE_STRING<char16_t>& item) override {
      int kind = DefText::GetItem(item);
      while (kind == 1) kind = DefText::GetItem(item);
      return kind;
    }
  };
};

class Grammar::PairTree::InGroup : public BasePred {
 public:
  InGroup(PairTree* owner, bool ofLeft, std::uint16_t asked)
      : BasePred(owner), pair(owner), left(ofLeft), group(asked) {}
  bool Check() const override {
    KV::Timer::AddPred();
    return Belong(left ? pair->left : pair->right, group, -1);
  }

 private:
  PairTree* pair;
  bool left;
  std::uint16_t group;
};

BasePred* Grammar::PairTree::ReadPred(DefText<char16_t>& text) {
  BASE_STRING<char16_t> item;
  const auto next = [&] {
    text.GetItem(item);
    return std::u16string(item.ptr, static_cast<std::size_t>(item.len));
  };
  const std::u16string side = next();
  if ((side != u"left" && side != u"right") || next() != u".") return nullptr;
  const std::u16string name = next();
  const Term* const group = GetTerm(name);
  if (group == nullptr) ThrowError(text, u"the vocabulary has no term " + name);
  // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): the tree owns it
  return new InGroup(this, side == u"left", group->code);
}

const std::vector<Grammar::Rule>& Grammar::Rules() {
  static const std::vector<Rule> rules = {
      {u"attribute", u"left.adjective + right.noun;", false},
      {u"determiner", u"left.determiner + right.noun;", false},
      {u"complement", u"left.adposition + (right.noun | right.pronoun);", true},
      {u"object", u"left.verb + ^left.auxiliary-verb + (right.noun | right.pronoun);", true},
      {u"place", u"left.verb + right.adposition;", true},
      {u"subject", u"(left.noun | left.pronoun) + right.verb;", false},
  };
  return rules;
}

Grammar::Grammar() {
  for (const Rule& rule : Rules()) {
    conditions.push_back(std::make_unique<PairTree>());
    conditions.back()->Read(rule.condition);
  }
}

Grammar::~Grammar() = default;

namespace {

bool HasDependent(const std::vector<Link>& links, int head, const char16_t* relation) {
  return std::any_of(links.begin(), links.end(), [&](const Link& link) {
    return link.head == head && link.relation == relation;
  });
}

}  // namespace

std::vector<Link> Grammar::Join(const std::vector<std::uint16_t>& words) const {
  constexpr auto CheckOfConditions = KV::Timer::t_type{28};
  const KV::TimeStamp stamp(CheckOfConditions);
  std::vector<Link> links(words.size());
  std::vector<int> roots(words.size());
  std::iota(roots.begin(), roots.end(), 0);
  for (std::size_t rule = 0; rule < conditions.size();) {
    PairTree& condition = *conditions[rule];
    const auto [relation, text, leftIsHead] = Rules()[rule];
    const auto holds = [&, named = relation, onLeft = leftIsHead](int left, int right) {
      if (HasDependent(links, onLeft ? left : right, named)) return false;
      condition.left = words[static_cast<std::size_t>(left)];
      condition.right = words[static_cast<std::size_t>(right)];
      return condition.Check();
    };
    const auto found = std::adjacent_find(roots.begin(), roots.end(), holds);
    if (found == roots.end()) {
      ++rule;
      continue;
    }
    const auto tail = leftIsHead ? found + 1 : found;
    links[static_cast<std::size_t>(*tail)] = {leftIsHead ? *found : *(found + 1), relation};
    roots.erase(tail);
    rule = 0;
  }
  return links;
}

int RootsOf(const std::vector<Link>& links) {
  const auto isRoot = [](const Link& link) { return link.head < 0; };
  return static_cast<int>(std::count_if(links.begin(), links.end(), isRoot));
}

}  // namespace kvor
