// A directive is parsed, its argument is read by its size, and a number goes through the C library
// in a narrow directive built anew.

#include "util/wideformat.h"

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "kvorlib/encoding.h"

namespace util {
namespace {

constexpr int kMaxWidth = 1'000'000;  // of what a format can ask for, beyond which it is a fault

enum class Size { Plain, Char, Short, Long, LongLong, Wide, Size, Pointer, Int32, LongDouble };

struct Directive {
  std::string flags;
  int width = 0;
  int precision = -1;  // -1: none given
  Size size = Size::Plain;
  char16_t conversion = 0;

  bool Has(char flag) const { return flags.find(flag) != std::string::npos; }
};

// A va_list that is passed by reference whatever the platform makes of it.
struct Arguments {
  va_list list;
};

class Formatter {
 public:
  Formatter(const char16_t* text, va_list arguments) : format(text) {
    va_copy(args.list, arguments);
  }
  ~Formatter() { va_end(args.list); }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;

  std::u16string Run() {
    while (*format != 0) {
      const char16_t* start = format;
      if (*format++ != u'%')
        out += *start;
      else if (!Convert(ParseDirective()))
        out.append(start, format);
    }
    return std::move(out);
  }

 private:
  // The next argument. (The constructor has begun the list, which the lint does not see.)
  template <class T>
  T Take() {
    return va_arg(args.list, T);  // NOLINT(clang-analyzer-valist.Uninitialized)
  }

  Directive ParseDirective();
  int ParseNumber();
  Size ParseSize();

  bool Convert(const Directive& directive);
  void PutSigned(const Directive& directive);
  void PutUnsigned(const Directive& directive);
  void PutFloating(const Directive& directive);
  void PutPointer(const Directive& directive);
  void PutText(const Directive& directive, bool narrow);
  void PutCharacter(const Directive& directive, bool narrow);
  template <class Number>
  void PutNumber(const Directive& directive, const char* size, Number number);
  void Pad(const Directive& directive, std::u16string_view text);

  const char16_t* format;
  Arguments args;
  std::u16string out;
};

int Formatter::ParseNumber() {
  if (*format == u'*') {
    ++format;
    return std::clamp(Take<int>(), -kMaxWidth, kMaxWidth);
  }
  int number = 0;
  for (; *format >= u'0' && *format <= u'9'; ++format)
    number = std::min(number * 10 + (*format - u'0'), kMaxWidth);
  return number;
}

Size Formatter::ParseSize() {
  const auto take = [this](std::u16string_view letters) {
    if (std::u16string_view(format).substr(0, letters.size()) != letters) return false;
    format += letters.size();
    return true;
  };
  if (take(u"hh")) return Size::Char;
  if (take(u"h")) return Size::Short;
  if (take(u"ll") || take(u"I64") || take(u"j")) return Size::LongLong;
  if (take(u"l")) return Size::Long;
  if (take(u"w")) return Size::Wide;
  if (take(u"z")) return Size::Size;
  if (take(u"I32")) return Size::Int32;
  if (take(u"t") || take(u"I")) return Size::Pointer;
  if (take(u"L")) return Size::LongDouble;
  return Size::Plain;
}

Directive Formatter::ParseDirective() {
  Directive directive;
  for (; *format != 0 && std::u16string_view(u"-+ #0").find(*format) != std::u16string_view::npos;
       ++format)
    directive.flags += static_cast<char>(*format);
  directive.width = ParseNumber();
  if (directive.width < 0) {
    directive.flags += '-';
    directive.width = -directive.width;
  }
  if (*format == u'.') {
    ++format;
    directive.precision = std::max(ParseNumber(), -1);
  }
  directive.size = ParseSize();
  directive.conversion = *format;
  if (*format != 0) ++format;
  return directive;
}

// False when it is no directive at all.
bool Formatter::Convert(const Directive& directive) {
  const bool narrow = directive.size == Size::Short;
  const bool wide = directive.size == Size::Long || directive.size == Size::Wide;
  switch (directive.conversion) {
    case u'd':
    case u'i':
      return PutSigned(directive), true;
    case u'u':
    case u'o':
    case u'x':
    case u'X':
      return PutUnsigned(directive), true;
    case u'a':
    case u'A':
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
      return PutFloating(directive), true;
    case u's':
      return PutText(directive, narrow), true;
    case u'S':
      return PutText(directive, !wide), true;
    case u'c':
      return PutCharacter(directive, narrow), true;
    case u'C':
      return PutCharacter(directive, !wide), true;
    case u'p':
      return PutPointer(directive), true;
    case u'n':  // a way to write into memory that no format needs
      return static_cast<void>(Take<void*>()), true;
    case u'%':
      return out += u'%', true;
    default:
      return false;
  }
}

void Formatter::PutSigned(const Directive& directive) {
  const auto read = [&]() -> std::intmax_t {
    switch (directive.size) {
      case Size::Char:
        return static_cast<signed char>(Take<int>());
      case Size::Short:
        return static_cast<short>(Take<int>());
      case Size::Long:
        return Take<long>();
      case Size::LongLong:
        return Take<long long>();
      case Size::Size:
      case Size::Pointer:
        return Take<std::ptrdiff_t>();
      default:
        return Take<int>();
    }
  };
  PutNumber(directive, "j", read());
}

void Formatter::PutUnsigned(const Directive& directive) {
  const auto read = [&]() -> std::uintmax_t {
    switch (directive.size) {
      case Size::Char:
        return static_cast<unsigned char>(Take<unsigned>());
      case Size::Short:
        return static_cast<unsigned short>(Take<unsigned>());
      case Size::Long:
        return Take<unsigned long>();
      case Size::LongLong:
        return Take<unsigned long long>();
      case Size::Size:
      case Size::Pointer:
        return Take<std::size_t>();
      default:
        return Take<unsigned>();
    }
  };
  PutNumber(directive, "j", read());
}

void Formatter::PutFloating(const Directive& directive) {
  if (directive.size == Size::LongDouble)
    PutNumber(directive, "L", Take<long double>());
  else
    PutNumber(directive, "", Take<double>());
}

// The directive in narrow form, its size replaced; the result with a point for the decimal sign.
template <class Number>
void Formatter::PutNumber(const Directive& directive, const char* size, Number number) {
  std::string narrow = '%' + directive.flags + "*.*" + size;
  narrow += static_cast<char>(directive.conversion);
  const auto print = [&](char* to, std::size_t room) {
    return std::snprintf(to, room, narrow.c_str(), directive.width, directive.precision, number);
  };
  std::string text(128, '\0');
  const int length = print(text.data(), text.size());
  if (length < 0) return;
  if (static_cast<std::size_t>(length) >= text.size()) {
    text.resize(static_cast<std::size_t>(length) + 1);
    print(text.data(), text.size());
  }
  text.resize(static_cast<std::size_t>(length));
  const std::string_view sign = std::localeconv()->decimal_point;
  const auto at = sign == "." ? std::string::npos : text.find(sign);
  if (at != std::string::npos) text.replace(at, sign.size(), ".");
  out.append(text.begin(), text.end());
}

void Formatter::PutPointer(const Directive& directive) {
  const auto address = reinterpret_cast<std::uintptr_t>(Take<void*>());
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016jX", static_cast<std::uintmax_t>(address));
  Pad(directive, std::u16string(digits, digits + 16));
}

// A text with a precision needs no terminator.
template <class C>
std::basic_string<C> Bounded(const C* text, int precision) {
  if (precision < 0) return text;
  const C* end = std::find(text, text + precision, C{});
  return {text, end};
}

void Formatter::PutText(const Directive& directive, bool narrow) {
  const void* text = Take<const void*>();
  std::u16string wide;
  if (text == nullptr)
    wide = Bounded(u"(null)", directive.precision);
  else if (narrow)
    wide = A2U(Bounded(static_cast<const char*>(text), directive.precision));
  else
    wide = Bounded(static_cast<const char16_t*>(text), directive.precision);
  Pad(directive, wide);
}

void Formatter::PutCharacter(const Directive& directive, bool narrow) {
  const int character = Take<int>();
  if (narrow && character != 0)
    Pad(directive, A2U(std::string(1, static_cast<char>(character))));
  else
    Pad(directive, std::u16string(1, static_cast<char16_t>(character)));
}

void Formatter::Pad(const Directive& directive, std::u16string_view text) {
  const auto width = static_cast<std::size_t>(directive.width);
  const std::size_t blanks = width > text.size() ? width - text.size() : 0;
  if (!directive.Has('-')) out.append(blanks, u' ');
  out += text;
  if (directive.Has('-')) out.append(blanks, u' ');
}

}  // namespace

std::u16string FormatWide(const char16_t* format, va_list args) {
  return Formatter(format, args).Run();
}

}  // namespace util
