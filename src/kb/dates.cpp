// A date stamp of the local time, and the order of two of them.
#include <cstddef>

#include "kvorlib/filehelpers.h"
#include "platform/localtime.h"

namespace {

constexpr std::size_t StampLimit = 100;
constexpr std::size_t DateLength = 19;  // of "01 02 2003 04:05:06"

struct Field {
  std::size_t start;
  std::size_t length;
};
constexpr Field FieldsByWeight[] = {{6, 4}, {3, 2}, {0, 2}, {11, 2}, {14, 2}, {17, 2}};

}  // namespace

std::u16string FormCurrentDate(const char16_t* format) {
  return platform::FormatLocalTime(format != nullptr ? format : u"%d %m %Y %H:%M:%S", StampLimit);
}

int DateCompare(const std::u16string& first, const std::u16string& second) {
  if (first.empty()) return second.empty() ? 0 : -1;
  if (second.empty()) return 1;
  if (first.size() != DateLength || second.size() != DateLength)
    throw static_cast<const char16_t*>(u"Ошибочный формат даты");
  for (const Field& field : FieldsByWeight) {
    const int order = first.compare(field.start, field.length, second, field.start, field.length);
    if (order != 0) return order < 0 ? -1 : 1;
  }
  return 0;
}
