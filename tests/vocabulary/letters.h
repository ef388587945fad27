// Conditions of one letter each, which know who was asked.
#pragma once

#include <string>
#include <vector>

#include "kvorlib/encoding.h"
#include "kvorlib/predicates.h"

struct Items : LoadText<char16_t> {
  int GetItem(BASE_STRING<char16_t>& item) override {
    int code = 1;
    while (code == 1 || code == 6) code = LoadText::GetItem(item);
    return code;
  }
};

struct Letters : BASETREE {
  struct Letter : BasePred {
    Letter(BASETREE* owner, char name) : BasePred(owner), letter(1, name) {}
    bool Check() const override {
      static_cast<Letters*>(tree)->asked += letter[0];
      return static_cast<Letters*>(tree)->truths.find(letter[0]) != std::string::npos;
    }
    std::vector<char> letter;  // leaks when a condition is deleted as less than it is
  };

  BasePred* ReadPred(DefText<char16_t>& text) override {
    BASE_STRING<char16_t> item;
    if (text.GetItem(item) == 4) return nullptr;
    if (*item.ptr == '!') ThrowError(text, u"Bad condition");
    return new Letter(this, static_cast<char>(*item.ptr));
  }
  // The error, if there is one.
  std::string Read(const std::string& expression) {
    SimpleParser<char16_t> parser(nullptr, u"();+|^", nullptr, nullptr);
    Items text;
    text.SetTextParser(&parser);
    text.SetText(A2U(expression));
    std::u16string error;
    return ReadTreeBody(text, error) ? "" : U2A(error);
  }

  std::string truths, asked;  // the letters that hold, and those that were asked
};
