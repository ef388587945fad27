// What the tests of conversions share.
#pragma once

#include <string>

#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"
#include "platform/codepage.h"

// Puts the current code page back when the test ends.
struct KeepCodePage {
  ~KeepCodePage() { SetCP(former); }
  int former = GetLocal();
};

inline std::u16string Decoded(int codePage, std::string_view text) {
  std::u16string out;
  return platform::DecodeCodePage(codePage, text, out) ? out : u"no such page";
}

// 1200 and 1201 are UTF-16, low and high byte first.
inline std::string Encoded(int codePage, std::u16string_view text) {
  std::string out;
  if (codePage == 1200 || codePage == 1201) {
    for (const char16_t unit : text)
      for (const int byte : {codePage - 1200, 1201 - codePage})
        out += static_cast<char>(unit >> (8 * byte));
    return out;
  }
  return platform::EncodeCodePage(codePage, text, 1000, out) ? out : "no such page";
}

// The words of the Except that the call throws.
template <class Call>
std::string Words(Call call) {
  try {
    call();
  } catch (const Except& error) {
    return error.GetText();
  }
  return "nothing was thrown";
}
