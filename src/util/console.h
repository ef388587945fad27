// UTF-8 on the standard narrow output where the console takes wide text.
#pragma once

#include <functional>
#include <ostream>
#include <streambuf>
#include <string>

#include "kvorlib/encoding.h"

// While it lives, what is written to the stream is UTF-8 and goes to the console as wide text, at
// once, without a buffer. A text written in one piece shows correctly; written byte by byte, each
// byte of a multibyte character shows as one U+FFFD.
//
// The library has one of these for std::cout, from its load to its unload. Where terminals take
// UTF-8 as it is, it replaces nothing.
class SetupUTF8WindowsConsole {
 public:
  using Writer = std::function<void(const std::u16string&)>;

  // Replaces the stream's buffer, or does nothing when `console` is empty.
  // REQUIRES: the stream outlives the object.
  SetupUTF8WindowsConsole(std::ostream& stream, Writer console);
  ~SetupUTF8WindowsConsole();  // puts the former buffer back
  SetupUTF8WindowsConsole(const SetupUTF8WindowsConsole&) = delete;
  SetupUTF8WindowsConsole& operator=(const SetupUTF8WindowsConsole&) = delete;

 private:
  std::ostream& output;
  std::streambuf* former = nullptr;  // null if nothing was replaced

  class : public std::streambuf {
   public:
    Writer write;

   protected:
    int_type overflow(int_type character) override {
      if (traits_type::eq_int_type(character, traits_type::eof()))
        return traits_type::not_eof(character);
      const char byte = traits_type::to_char_type(character);
      write(u8_w(&byte, &byte + 1));
      return character;
    }

    std::streamsize xsputn(const char* text, std::streamsize count) override {
      write(u8_w(text, text + count));
      return count;
    }
  } buffer;
};
