// The text of a document, put together tag by tag.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kvorlib/xmldoc.h"

namespace xml {

class MarkupWriter {
 public:
  void SetIndent(bool on) { indent = on; }

  // Forgets what was written before. No encoding: no declaration.
  void StartDocument(std::u16string_view encoding);
  void EndDocument();
  // Escapes the values of attributes, so that they are read back as they are but for what no
  // document can hold, which becomes U+FFFD.
  void StartElement(std::u16string_view name, const XMLAttrs& attrs);
  // An element without content is written in the short form.
  void EndElement(std::u16string_view name);
  // Not escaped.
  void RawText(std::u16string_view text);

  const std::u16string& Text() const { return out; }

 private:
  struct Level {
    bool inText;              // it has text, or stands in an element that has
    bool hasElement = false;  // before its end tag
  };

  bool InText() const { return !levels.empty() && levels.back().inText; }
  void FinishTag();
  void BreakLine();

  std::u16string out;
  std::vector<Level> levels;  // of the open elements
  bool indent = false;
  bool tagOpen = false;  // the last start tag still lacks its end
};

}  // namespace xml
