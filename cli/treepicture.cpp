// Where the words of a tree stand, and the lines between them.
#include "treepicture.h"

#include <algorithm>

#include "environment.h"
#include "kvorlib/loghtml.h"

namespace kvor {
namespace {

// In pixels of the picture.
constexpr int LetterWidth = 8;
constexpr int Gap = 22;
constexpr int Margin = 16;
constexpr int RowHeight = 76;
constexpr int WordHeight = 36;  // the word and the note below it

constexpr const char* Style =
    "<style>"
    "text{font:14px 'DejaVu Sans Mono',Consolas,monospace;text-anchor:middle;fill:#1c1e21}"
    ".note{font-size:11px;fill:#6a6f76}"
    ".relation{font-size:11px;fill:#0b4f9e;stroke:#fff;stroke-width:5px;paint-order:stroke}"
    "line{stroke:#9aa0a8;stroke-width:1.5px}"
    "</style>\n";

struct Place {
  int x = 0;  // the middle of the word
  int y = 0;  // its upper edge
};

std::string Text(const char* className, int x, int y, const std::u16string& text) {
  return "<text class=\"" + std::string(className) + "\" x=\"" + std::to_string(x) + "\" y=\"" +
         std::to_string(y) + "\">" + Narrow(ToSafeHtmlText(text)) + "</text>\n";
}

std::string Line(const Place& from, const Place& to) {
  return "<line x1=\"" + std::to_string(from.x) + "\" y1=\"" + std::to_string(from.y) + "\" x2=\"" +
         std::to_string(to.x) + "\" y2=\"" + std::to_string(to.y) + "\"/>\n";
}

int DepthOf(const std::vector<Link>& links, std::size_t word) {
  int depth = 0;
  for (int head = links[word].head; head >= 0; head = links[static_cast<std::size_t>(head)].head)
    ++depth;
  return depth;
}

}  // namespace

std::string TreePicture(const std::vector<std::u16string>& words,
                        const std::vector<std::u16string>& notes, const std::vector<Link>& links) {
  std::vector<Place> places(words.size());
  int width = Margin;
  int height = 0;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::size_t letters = std::max(words[i].size(), notes[i].size());
    const int half = static_cast<int>(letters) * LetterWidth / 2;
    places[i] = {width + half, Margin + DepthOf(links, i) * RowHeight};
    width += 2 * half + Gap;
    height = std::max(height, places[i].y + WordHeight);
  }
  width += Margin - Gap;
  height += Margin;

  std::string lines;
  std::string texts;
  for (std::size_t i = 0; i < words.size(); ++i) {
    texts += Text("word", places[i].x, places[i].y + 14, words[i]);
    texts += Text("note", places[i].x, places[i].y + 29, notes[i]);
    if (links[i].head < 0) continue;
    const Place& head = places[static_cast<std::size_t>(links[i].head)];
    const Place from{head.x, head.y + WordHeight};
    lines += Line(from, places[i]);
    texts += Text("relation", (from.x + places[i].x) / 2, (from.y + places[i].y) / 2 + 4,
                  links[i].relation);
  }
  const std::string size = std::to_string(width) + "\" height=\"" + std::to_string(height);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size + "\">\n" + Style + lines +
         texts + "</svg>\n";
}

}  // namespace kvor
