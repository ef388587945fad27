// Boolean conditions: an expression is compiled, while it is read, into leaves that know where to
// go on, so that evaluation needs no operators.

#include "kvorlib/predicates.h"

#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

// Reading, and the evaluation of negated brackets, call themselves once a level.
constexpr int MostLevels = 1000;

// How often an evaluation asks conditions anew that have failed already: (a|b)+(c|d)+… has twice as
// many ways through it with each bracket.
constexpr int FreeAsks = 1000;

std::u16string_view Next(DefText<char16_t>& text) {
  BASE_STRING<char16_t> item;
  text.GetItem(item);
  return {item.ptr, static_cast<std::size_t>(item.len)};
}

}  // namespace

// Leaf by leaf: left to themselves, the links of a long expression would be released by calls as
// deep as it is long.
TREELEAF::~TREELEAF() {
  std::vector<std::shared_ptr<TREELEAF>> going;
  const auto release = [&](TREELEAF& leaf) {
    if (leaf.next_or != nullptr) going.push_back(std::move(leaf.next_or));
    if (leaf.next_and != nullptr) going.push_back(std::move(leaf.next_and));
  };
  release(*this);
  while (!going.empty()) {
    const std::shared_ptr<TREELEAF> leaf = std::move(going.back());
    going.pop_back();
    if (leaf.use_count() == 1) release(*leaf);
  }
}

TreePred::TreePred(BASETREE* evaluating, std::shared_ptr<TREELEAF> subtree)
    : BasePred(evaluating), root(std::move(subtree)) {}

bool TreePred::Check() const { return tree->Check(root); }

bool BASETREE::ReadTreeBody(DefText<char16_t>& text, std::u16string& error) {
  try {
    root = ReadTreeBody(text, 0);
    return true;
  } catch (const std::u16string& message) {
    error = message;
    return false;
  }
}

bool BASETREE::Check() const {
  // A condition may read the tree anew.
  const Leaf held = root;
  asksLeft = FreeAsks;
  return Check(held);
}

void BASETREE::ThrowError(DefText<char16_t>& text, const std::u16string& message) {
  int line = 0;
  int column = 0;
  text.GetCoord(line, column);
  const std::string number = std::to_string(line);
  throw u"Line " + std::u16string(number.begin(), number.end()) + u": " + message + u"\r\n";
}

// Alternatives are hung one behind the other as they come, all of them at this one level.
BASETREE::Leaf BASETREE::ReadTreeBody(DefText<char16_t>& text, int level) {
  if (level > MostLevels) ThrowError(text, u"Wrong bracket level");
  Leaf first = ReadTreeIdent(text, level);
  Leaf alternative = first;
  Leaf last = first;
  std::u16string_view item = Next(text);
  for (; item == u"+" || item == u"|"; item = Next(text)) {
    const bool both = item == u"+";
    Leaf right = ReadTreeIdent(text, level);
    if (both) {
      AddAndTree(last.get(), right);
    } else {
      AddOrTree(alternative.get(), right);
      alternative = right;
    }
    last = std::move(right);
  }
  if (item != u")" && item != u";") ThrowError(text, u"Wrong syntax");
  if ((item == u";") != (level == 0)) ThrowError(text, u"Wrong bracket level");
  return first;
}

BASETREE::Leaf BASETREE::ReadTreeIdent(DefText<char16_t>& text, int level) {
  auto leaf = std::make_shared<TREELEAF>();
  std::u16string_view item = Next(text);
  leaf->negate = item == u"^";
  if (leaf->negate) item = Next(text);
  if (item == u"(") {
    Leaf inside = ReadTreeBody(text, level + 1);
    if (!leaf->negate) return inside;
    leaf->pred = std::make_shared<TreePred>(this, std::move(inside));
  } else {
    text.SetCurPos(item.data());
    leaf->pred.reset(ReadPred(text));
    if (leaf->pred == nullptr) ThrowError(text, u"Wrong syntax");
  }
  return leaf;
}

// `tail` becomes what follows wherever the subgraph succeeds. Many ways lead to a shared leaf, and
// each leaf need be seen only once.
void BASETREE::AddAndTree(TREELEAF* node, Leaf& tail) {
  std::unordered_set<TREELEAF*> seen = {tail.get()};
  std::vector<TREELEAF*> open = {node};
  while (!open.empty()) {
    TREELEAF* leaf = open.back();
    open.pop_back();
    if (!seen.insert(leaf).second) continue;
    if (leaf->next_and == nullptr)
      leaf->next_and = tail;
    else
      open.push_back(leaf->next_and.get());
    if (leaf->next_or != nullptr) open.push_back(leaf->next_or.get());
  }
}

// `tail` is what is tried when all of the chain of alternatives has failed. What hangs on a
// success needs no link to it: evaluation comes back from there.
void BASETREE::AddOrTree(TREELEAF* node, Leaf& tail) {
  while (node != tail.get() && node->next_or != nullptr) node = node->next_or.get();
  if (node != tail.get()) node->next_or = tail;
}

bool BASETREE::Holds(const TREELEAF& leaf) const {
  // Leaves may be shared with a copy of this tree: the condition is told who asks.
  leaf.pred->tree = const_cast<BASETREE*>(this);
  if (asksLeft > 0) --asksLeft;
  return leaf.pred->Check() != leaf.negate;
}

bool BASETREE::Check(const Leaf& leaf) const {
  // The leaves that hold, each waiting for what follows it by "and".
  std::vector<const TREELEAF*> waiting;
  // The leaves that do not hold, or after which all failed; known once the asks have run out.
  std::unordered_set<const TREELEAF*> failed;
  const TREELEAF* at = leaf.get();
  for (;;) {
    if (!failed.contains(at) && Holds(*at)) {
      if (at->next_and == nullptr) return true;
      waiting.push_back(at);
      at = at->next_and.get();
      continue;
    }
    if (asksLeft == 0) failed.insert(at);
    while (at->next_or == nullptr) {
      if (waiting.empty()) return false;
      at = waiting.back();
      waiting.pop_back();
      if (asksLeft == 0) failed.insert(at);
    }
    at = at->next_or.get();
  }
}
