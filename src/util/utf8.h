// UTF-8 to UTF-16 and back without a string for each text; the exported forms are in encoding.h.
#pragma once

#include <array>
#include <memory>
#include <string_view>

namespace util {

bool IsUtf8(std::string_view text);

// As u8_w and w_u8. Each answers the end of what was written. The room is for as many units as
// there are bytes, and 16 more; for three bytes a unit.
char16_t* ConvertUtf8(std::string_view text, char16_t* room);
char* ConvertUtf8(std::u16string_view text, char* room);

// A text in the other form, for as long as it is looked at. A short one takes no block.
template <class To, class From>
class Converted {
 public:
  explicit Converted(std::basic_string_view<From> text) {
    To* const first = RoomFor(sizeof(To) == 1 ? 3 * text.size() : text.size() + 16);
    view = {first, static_cast<std::size_t>(ConvertUtf8(text, first) - first)};
  }
  Converted(const Converted&) = delete;
  Converted& operator=(const Converted&) = delete;

  std::basic_string_view<To> View() const { return view; }

 private:
  To* RoomFor(std::size_t size) {
    if (size <= room.size()) return room.data();
    block = std::make_unique_for_overwrite<To[]>(size);
    return block.get();
  }

  std::array<To, 1024> room;
  std::unique_ptr<To[]> block;
  std::basic_string_view<To> view;
};

using WideText = Converted<char16_t, char>;
using Utf8Text = Converted<char, char16_t>;

}  // namespace util
