// The substitutions of the flat lexer.

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "kvorlib/flatparser.h"
#include "text/firstpattern.h"

namespace {

// A text and what is to be replaced in it. It keeps where each pattern stands next until it has
// been read beyond that: what is rare is not sought again after each hit of what is not.
class Translation {
 public:
  Translation(const tagTransGroup* given, int n)
      : groups(given),
        count(std::max(n, 0)),
        places(new (std::nothrow) std::size_t[std::max(n, 1)]) {}

  bool HasRoom() const { return places != nullptr; }
  // Hands over the translated text piece by piece.
  template <class Put>
  void ForEachPiece(std::string_view text, Put put) {
    const auto from = [&](int i) { return groups[i].from; };
    std::fill_n(places.get(), count, 0);
    std::size_t at = 0;
    while (at < text.size()) {
      const auto find = [&](int i, std::string_view pattern, std::size_t /*end*/) {
        if (places[i] <= at) places[i] = text.find(pattern, at);
        return places[i];
      };
      const text::PatternHit hit = text::FirstPattern(text.size(), count, from, find);
      if (hit.index < 0) break;
      put(text.substr(at, hit.place - at));
      put(std::string_view(groups[hit.index].to));
      at = hit.place + hit.length;
    }
    put(text.substr(at));
  }

 private:
  const tagTransGroup* groups;
  int count;
  std::unique_ptr<std::size_t[]> places;
};

}  // namespace

const char* GetFirstTrans(const char* text, int length, const tagTransGroup* groups, int count,
                          int* index) {
  if (length <= 0) return nullptr;
  const auto size = static_cast<std::size_t>(length);
  const auto hit =
      text::FirstPattern({text, size}, size, count, [&](int i) { return groups[i].from; });
  if (hit.index < 0) return nullptr;
  *index = hit.index;
  return text + hit.place;
}

bool TranslateStr(BASE_STRING<char>* text, char* buffer, int capacity, const tagTransGroup* groups,
                  int count) {
  const auto length = static_cast<std::size_t>(std::max(text->len, 0));
  const std::unique_ptr<char[]> copy(new (std::nothrow) char[length + 1]);
  Translation translation(groups, count);
  if (copy == nullptr || !translation.HasRoom()) return false;
  if (length > 0) std::memcpy(copy.get(), text->ptr, length);
  const std::string_view source(copy.get(), length);
  std::size_t total = 0;
  translation.ForEachPiece(source, [&](std::string_view piece) { total += piece.size(); });
  if (capacity <= 0 || total >= static_cast<std::size_t>(capacity)) return false;
  translation.ForEachPiece(source, [&](std::string_view piece) {
    buffer = std::copy(piece.begin(), piece.end(), buffer);
  });
  *buffer = '\0';
  return true;
}

bool TranslateStrPars(BASE_STRING<char>* text, char* buffer, int capacity, PARSSTR* parser) {
  return TranslateStr(text, buffer, capacity, parser->trans, parser->transCount);
}
