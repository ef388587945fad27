// kvor cond: conditions joined by logic, evaluated for given values, or drawn.
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>

#include "commands.h"
#include "environment.h"
#include "json.h"
#include "kvorlib/predicates.h"
#include "outcome.h"

namespace kvor {
namespace {

constexpr const char* CondFooter =
    "A condition consists of names, ^ for not, + for and, | for or, and brackets. The code is 1 "
    "if\n"
    "it does not hold.\n"
    "\n"
    "Examples:\n"
    "  kvor cond 'noun + ^plural | name' noun=1 plural=0 name=0\n"
    "  kvor cond 'noun + ^plural | name' --dot | dot -Tsvg > condition.svg\n";

struct CondOptions {
  std::string text;
  std::vector<std::string> values;
  bool dot = false;
};

using Values = std::map<std::string, bool>;

// A condition that has a value if `values` names it; the first one without ends the evaluation.
class NamedTree : public BASETREE {
 public:
  struct Unknown {
    std::string name;
  };
  Values values;
  std::set<std::string> names;

 protected:
  BasePred* ReadPred(DefText<char16_t>& text) override;
};

class Named : public BasePred {
 public:
  Named(NamedTree* owner, std::string asked)
      : BasePred(owner), named(owner), name(std::move(asked)) {}
  bool Check() const override {
    const auto found = named->values.find(name);
    if (found == named->values.end()) throw NamedTree::Unknown{name};
    return found->second;
  }

 private:
  NamedTree* named;
  std::string name;
};

BasePred* NamedTree::ReadPred(DefText<char16_t>& text) {
  constexpr int separator = 2;
  BASE_STRING<char16_t> item;
  const int kind = text.GetItem(item);
  if (kind <= separator || item.len == 0) return nullptr;
  const std::string name = Narrow(std::u16string(item.ptr, static_cast<std::size_t>(item.len)));
  names.insert(name);
  return new Named(this, name);  // NOLINT(cppcoreguidelines-owning-memory): the tree owns it
}

// Without white space, as the tree wants it.
class Text : public DefText<char16_t> {
 public:
  using DefText::DefText;
  int GetItem(BASE_STRING<char16_t>& item) override {
    int kind = DefText::GetItem(item);
    while (kind == 1) kind = DefText::GetItem(item);
    return kind;
  }
};

// Throws Failure.
void Read(NamedTree& tree, const std::string& expression) {
  std::u16string whole = Wide(expression);
  if (whole.find(u';') == whole.npos) whole += u';';
  SimpleParser<char16_t> lexer(nullptr, u"+|^();", u" \t\r\n", nullptr);
  Text text(BASE_STRING<char16_t>(whole.data(), static_cast<int>(whole.size())));
  text.SetTextParser(&lexer);
  std::u16string error;
  if (!tree.ReadTreeBody(text, error)) throw Failure("", OneLine(error));
  BASE_STRING<char16_t> rest;
  constexpr int end = 4;
  if (text.GetItem(rest) != end) throw Failure("", "there is more behind the ';'");
}

Values ReadValues(const CondOptions& options) {
  Values values;
  for (const std::string& text : options.values) {
    const std::size_t equals = text.rfind('=');
    const std::string value = equals == text.npos ? "" : text.substr(equals + 1);
    if (value != "0" && value != "1") throw Failure("", text + ": NAME=0 or NAME=1 is expected");
    values[text.substr(0, equals)] = value == "1";
  }
  return values;
}

// ---- the graph -------------------------------------------------------------------------------

// Which condition is asked next after which answer. Found out by asking: what the tree asks first
// of all without knowing is a node, and each answer leads to another one. Nodes that lead to the
// same are the same.
class Graph {
 public:
  explicit Graph(NamedTree& asked) : tree(asked) { root = Explore(); }

  std::string Dot() const {
    std::string text = "digraph condition {\n";
    text += "  0 [label=\"no\", shape=box];\n  1 [label=\"yes\", shape=box];\n";
    for (const auto& [node, number] : numbers) {
      const std::string own = std::to_string(number);
      text += "  " + own + " [label=" + Json::Quoted(node.name) + "];\n";
      text += "  " + own + " -> " + std::to_string(node.yes) + " [label=\"1\"];\n";
      text += "  " + own + " -> " + std::to_string(node.no) + " [label=\"0\", style=dashed];\n";
    }
    return text + "  start [shape=point];\n  start -> " + std::to_string(root) + ";\n}\n";
  }

 private:
  struct Node {
    std::string name;
    int yes;
    int no;
    bool operator<(const Node& o) const {
      return std::tie(name, yes, no) < std::tie(o.name, o.yes, o.no);
    }
  };

  std::optional<std::string> Asked(bool& answer) const {
    try {
      answer = tree.Check();
      return std::nullopt;
    } catch (const NamedTree::Unknown& unknown) {
      return unknown.name;
    }
  }

  int Explore() {
    constexpr int mostWays = 30000;
    if (++ways > mostWays) throw Failure("", "the condition has too many ways to be drawn");
    bool answer = false;
    const auto name = Asked(answer);
    if (!name) return answer ? 1 : 0;
    Node node{*name, 0, 0};
    node.yes = With(*name, true);
    node.no = With(*name, false);
    return numbers.emplace(node, static_cast<int>(numbers.size()) + 2).first->second;
  }

  int With(const std::string& name, bool value) {
    tree.values[name] = value;
    const int node = Explore();
    tree.values.erase(name);
    return node;
  }

  NamedTree& tree;
  std::map<Node, int> numbers;
  int ways = 0;
  int root = 0;
};

int Run(Session& session, const CondOptions& options) {
  NamedTree tree;
  Read(tree, options.text);
  tree.values = ReadValues(options);
  for (const auto& [name, value] : tree.values)
    if (!tree.names.contains(name)) throw Failure("", name + ": not in the condition");
  if (options.dot) {
    session.out << Graph(tree).Dot();
    return Fine;
  }
  try {
    const bool holds = tree.Check();
    if (session.json) {
      session.out << Json("holds", holds).Text() << '\n';
    } else {
      session.out << (holds ? "yes\n" : "no\n");
    }
    return holds ? Fine : Negative;
  } catch (const NamedTree::Unknown& unknown) {
    throw Failure("", unknown.name + ": has no value; " + unknown.name + "=0 or =1 is needed");
  }
}

}  // namespace

void AddCondCommand(CLI::App& app, Session& session) {
  const auto options = std::make_shared<CondOptions>();
  CLI::App* const cond = AddCommand(app, session, "cond", "Evaluate a condition, or draw it", "");
  cond->footer(CondFooter);
  cond->add_option("EXPR", options->text, "The condition")->required();
  cond->add_option("NAME=0|1", options->values, "The values of its names");
  cond->add_flag("--dot", options->dot,
                 "Print for Graphviz which name is asked after which answer; names with values are "
                 "not asked");
  cond->callback([&session, options] {
    session.run = [&session, options] { return Run(session, *options); };
  });
}

}  // namespace kvor
