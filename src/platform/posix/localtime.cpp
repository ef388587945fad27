// The local time on POSIX systems, where a wide character is a whole code point.
#include "platform/localtime.h"

#include <ctime>
#include <cwchar>

namespace platform {
namespace {

bool IsHigh(wchar_t c) { return c >= 0xD800 && c < 0xDC00; }
bool IsLow(wchar_t c) { return c >= 0xDC00 && c < 0xE000; }

// A lone surrogate passes as itself.
std::wstring CodePoints(const std::u16string& text) {
  std::wstring points;
  for (const char16_t unit : text) {
    const auto point = static_cast<wchar_t>(unit);
    if (IsLow(point) && !points.empty() && IsHigh(points.back())) {
      points.back() = 0x10000 + ((points.back() - 0xD800) << 10) + (point - 0xDC00);
    } else {
      points += point;
    }
  }
  return points;
}

std::u16string Units(const std::wstring& points) {
  std::u16string text;
  for (const wchar_t point : points) {
    if (point >= 0x10000) text += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
    text += static_cast<char16_t>(point >= 0x10000 ? 0xDC00 + (point & 0x3FF) : point);
  }
  return text;
}

}  // namespace

std::u16string FormatLocalTime(const std::u16string& format, std::size_t limit) {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  tzset();  // the variable TZ may have changed; localtime_r alone does not look
  if (localtime_r(&now, &local) == nullptr) return {};
  std::wstring buffer(limit, L'\0');
  buffer.resize(std::wcsftime(buffer.data(), limit, CodePoints(format).c_str(), &local));
  std::u16string text = Units(buffer);
  return text.size() < limit ? text : std::u16string();
}

}  // namespace platform
