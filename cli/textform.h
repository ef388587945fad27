// How a record looks as a line of text, for each layout of keys.
//
// The tool's users type and read lines; the store keeps bytes. This is the one place that turns one
// into the other. Whatever a line becomes, the same line comes back.
//
//   keys that end with a typeable stop symbol (layouts 0 to 3: a blank), and fixed binary keys:
//       the line's bytes and a terminating zero. The key is where the layout says.
//   keys that end with a zero or a line feed (layouts 4, 6 and 8), which no line can hold:
//       a TAB stands for the symbol: "KEY<TAB>text". Where the symbol is zero, "KEY" alone is a
//       record as well. Bytes in front of the key (layout 4) are zeros and are not shown.
//   integer keys (layouts 5 and 7): "NUMBER<TAB>text" (a blank serves as well), the number stored
//       in its four bytes. Bytes in front of it (layout 5) are zeros and are not shown.
//
// With --hex the bytes themselves, in hexadecimal, take the place of all that.
#pragma once

#include <string>
#include <string_view>

#include "kvorlib/keydescr.h"

namespace kvor {

class TextForm {
 public:
  explicit TextForm(const KEYDESCR& layout, bool hex = false) : kd(layout), inHex(hex) {}

  // The record's bytes, or a false answer with the reason.
  bool ToRecord(std::string_view line, std::string& record, std::string& reason) const;
  // The line that stands for a record, without its terminator. Any bytes give some text; those of
  // records that were not made from a line may give one that makes another record.
  std::string ToLine(std::string_view record) const;
  // A key as the store wants it looked up, or a false answer with the reason. A short fixed key is
  // filled with blanks.
  bool ToKey(std::string_view text, std::string& key, std::string& reason) const;
  // The text of a key that was taken from a record (without its stop symbol).
  std::string KeyText(std::string_view key) const;

  bool IsNumber() const { return kd.type == 0; }
  bool InHex() const { return inHex; }

 private:
  bool HiddenStop() const { return kd.IsText() && (kd.len == 0 || kd.len == '\n'); }
  std::size_t HiddenFront() const;
  bool LineRecord(std::string_view line, std::string& record, std::string& reason) const;
  bool NumberRecord(std::string_view line, std::string& record, std::string& reason) const;
  bool StopRecord(std::string_view line, std::string& record, std::string& reason) const;

  KEYDESCR kd;
  bool inHex;
};

// A sentence about a layout: "text from byte 0 up to the first blank".
std::string DescribeLayout(const KEYDESCR& kd);

}  // namespace kvor
