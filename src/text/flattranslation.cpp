// The substitutions of the flat lexer.

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "kvorlib/flatparser.h"
#include "text/firstpattern.h"

namespace {

text::PatternHit FirstTrans(std::string_view text, const tagTransGroup* groups, int count) {
  return text::FirstPattern(text, text.size(), count, [&](int i) { return groups[i].from; });
}

// Hands over the translated text piece by piece.
template <class Put>
void ForEachPiece(std::string_view text, const tagTransGroup* groups, int count, Put put) {
  while (!text.empty()) {
    const text::PatternHit hit = FirstTrans(text, groups, count);
    if (hit.index < 0) break;
    put(text.substr(0, hit.place));
    put(std::string_view(groups[hit.index].to));
    text.remove_prefix(hit.place + hit.length);
  }
  put(text);
}

}  // namespace

const char* GetFirstTrans(const char* text, int length, const tagTransGroup* groups, int count,
                          int* index) {
  if (length <= 0) return nullptr;
  const auto hit = FirstTrans({text, static_cast<std::size_t>(length)}, groups, count);
  if (hit.index < 0) return nullptr;
  *index = hit.index;
  return text + hit.place;
}

bool TranslateStr(BASE_STRING<char>* text, char* buffer, int capacity, const tagTransGroup* groups,
                  int count) {
  const auto length = static_cast<std::size_t>(std::max(text->len, 0));
  std::size_t total = 0;
  ForEachPiece({text->ptr, length}, groups, count,
               [&](std::string_view piece) { total += piece.size(); });
  if (capacity <= 0 || total >= static_cast<std::size_t>(capacity)) return false;
  const std::unique_ptr<char[]> copy(new (std::nothrow) char[length + 1]);
  if (copy == nullptr) return false;
  if (length > 0) std::memcpy(copy.get(), text->ptr, length);
  ForEachPiece({copy.get(), length}, groups, count, [&](std::string_view piece) {
    buffer = std::copy(piece.begin(), piece.end(), buffer);
  });
  *buffer = '\0';
  return true;
}

bool TranslateStrPars(BASE_STRING<char>* text, char* buffer, int capacity, PARSSTR* parser) {
  return TranslateStr(text, buffer, capacity, parser->trans, parser->transCount);
}
