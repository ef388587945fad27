// Conditions joined by logic, read from a text and evaluated: A + ^B | (C + D);
//
// '^' negates what follows it, '+' is "and" and binds more tightly than '|', "or"; an expression
// ends with ';'. What A to D are only the caller knows, who derives a tree that reads them and a
// condition that tests them:
//
//   struct Flag : BasePred {
//     Flag(BASETREE* owner, bool on) : BasePred(owner), value(on) {}
//     bool Check() const override { return value; }
//     bool value;
//   };
//   struct FlagTree : BASETREE {
//     BasePred* ReadPred(DefText<char16_t>& text) override {
//       BASE_STRING<char16_t> item;
//       text.GetItem(item);
//       return new Flag(this, item.len == 3);
//     }
//   };
//
// The text's GetItem must give no white space, and each operator as an item of its own: "(", ")"
// and ";" are separators of a new lexer, "+", "|" and "^" must be made so.
//
// A tree is no tree inside: each condition is linked to the one that is tried next when it holds,
// and to the one that is tried next when it does not. Nothing here may be used by two threads.
#pragma once

#include <memory>
#include <string>

#include "kvorlib/export.h"
#include "kvorlib/textbuffer.h"

class BASETREE;

// One condition. It may be asked more than once in an evaluation, so asking must change nothing.
class KVORLIB_API BasePred {
 public:
  explicit BasePred(BASETREE* evaluating) : tree(evaluating) {}
  BasePred(const BasePred&) = default;
  BasePred& operator=(const BasePred&) = default;

  virtual bool Check() const = 0;
  // Behind Check: trees delete what ReadPred gave them through this class.
  virtual ~BasePred() = default;

 protected:
  friend class BASETREE;

  // The tree that evaluates the condition, set before every Check.
  BASETREE* tree;
};

// A condition and where to go on. Leaves are shared, between trees and within one.
struct KVORLIB_API TREELEAF {
  std::shared_ptr<TREELEAF> next_or;   // where this way failed; null: the answer is false
  std::shared_ptr<TREELEAF> next_and;  // where the leaf holds; null: the answer is true
  bool negate = false;                 // the leaf holds when its condition is false
  std::shared_ptr<BasePred> pred;

  TREELEAF() = default;
  TREELEAF(const TREELEAF&) = default;
  TREELEAF& operator=(const TREELEAF&) = default;
  ~TREELEAF();
};

// A bracket as a condition; only a negated bracket becomes one.
class KVORLIB_API TreePred : public BasePred {
 public:
  TreePred(BASETREE* evaluating, std::shared_ptr<TREELEAF> subtree);

  bool Check() const override;

 private:
  std::shared_ptr<TREELEAF> root;
};

// Copies share their leaves.
class KVORLIB_API BASETREE {
 public:
  // Reads one expression with its ';'. False on an error, with "Line N: …" and a line end in
  // `error`; the tree is then what it was. Errors: "Wrong bracket level" for a bracket that is
  // not open or not closed, or is the 1,001st open one; "Wrong syntax" for anything else that is
  // no operator where one is due, and for a ReadPred that gives null.
  // REQUIRES: a text with a lexer.
  bool ReadTreeBody(DefText<char16_t>& text, std::u16string& error);
  // Evaluates the expression from left to right, no further than needed. A condition to which
  // several ways lead is asked on each of them; but from the 1,000th ask of an evaluation on, none
  // whose failure is known is asked again.
  // REQUIRES: that an expression was read.
  bool Check() const;

 protected:
  // Throws the std::u16string that ReadTreeBody answers as the error, with the cursor's line: for
  // a ReadPred that finds a bad condition.
  [[noreturn]] void ThrowError(DefText<char16_t>& text, const std::u16string& message);

  // Reads the condition at the cursor, and leaves the cursor on what follows it; the tree owns the
  // result. A condition that begins with a tag is read from the tag's body on. Exceptions pass
  // through ReadTreeBody, but for std::u16string.
  virtual BasePred* ReadPred(DefText<char16_t>& text) = 0;

 private:
  friend class TreePred;
  using Leaf = std::shared_ptr<TREELEAF>;

  Leaf ReadTreeBody(DefText<char16_t>& text, int level);
  Leaf ReadTreeIdent(DefText<char16_t>& text, int level);
  static void AddAndTree(TREELEAF* node, Leaf& tail);
  static void AddOrTree(TREELEAF* node, Leaf& tail);
  bool Check(const Leaf& leaf) const;
  bool Holds(const TREELEAF& leaf) const;

  Leaf root;
  mutable int asksLeft = 0;  // of the running evaluation, in its negated brackets too
};
