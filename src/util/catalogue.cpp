// The catalogue of code pages, as callers see it.

#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"
#include "platform/codepage.h"

namespace {

constexpr const char* kNoEntry = "Multianguage support error";

std::u16string Widen(const char* ascii) {
  const std::string_view text(ascii);
  return {text.begin(), text.end()};
}

const platform::CodePageInfo& Entry(int codePage) {
  const platform::CodePageInfo* entry = platform::FindCodePage(codePage);
  if (entry == nullptr) throw Except(kNoEntry);
  return *entry;
}

}  // namespace

std::u16string CP2chset(int codePage) { return Widen(Entry(codePage).webCharset); }

std::u16string CP2name(int codePage) { return Widen(Entry(codePage).description); }

int chset2CP(const std::u16string& charset) {
  const std::optional<int> codePage = platform::FindCharset(charset);
  if (!codePage.has_value()) throw Except(kNoEntry);
  return *codePage;
}
