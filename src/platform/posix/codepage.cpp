// Conversion by number: the pages that are rules rather than tables, and the pages built so far.

#include "platform/codepage.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>

#include "platform/posix/codepage_table.h"

namespace platform {
namespace {

constexpr int kAsciiCodePage = 20127;

class Utf8CodePage : public CodePage {
 public:
  std::size_t ValidLength(std::string_view text) const override {
    for (std::size_t i = 0; i < text.size();) {
      const std::size_t start = i;
      UChar32 point;
      U8_NEXT(text.data(), i, text.size(), point);
      if (point < 0) return start;
    }
    return text.size();
  }

  void Decode(std::string_view text, std::u16string& out) const override {
    for (std::size_t i = 0; i < text.size();) {
      UChar32 point;
      U8_NEXT_OR_FFFD(text.data(), i, text.size(), point);
      if (!U_IS_BMP(point)) out += static_cast<char16_t>(U16_LEAD(point));
      out += static_cast<char16_t>(U_IS_BMP(point) ? point : U16_TRAIL(point));
    }
  }

  void Encode(std::u16string_view text, std::string& out) const override {
    for (std::size_t i = 0; i < text.size();) {
      UChar32 point;
      U16_NEXT_OR_FFFD(text.data(), i, text.size(), point);
      char bytes[U8_MAX_LENGTH];
      std::size_t length = 0;
      U8_APPEND_UNSAFE(bytes, length, point);
      out.append(bytes, length);
    }
  }
};

// Decoding masks the high bit.
class AsciiCodePage : public CodePage {
 public:
  std::size_t ValidLength(std::string_view text) const override {
    const auto* bad = std::find_if(text.begin(), text.end(), [](char byte) {
      return (static_cast<unsigned char>(byte) & 0x80) != 0;
    });
    return static_cast<std::size_t>(bad - text.begin());
  }

  void Decode(std::string_view text, std::u16string& out) const override {
    for (char byte : text) out += static_cast<char16_t>(byte & 0x7F);
  }

  void Encode(std::u16string_view text, std::string& out) const override {
    for (char16_t unit : text) out += unit < 0x80 ? static_cast<char>(unit) : '?';
  }
};

std::unique_ptr<CodePage> BuildCodePage(int number) {
  if (number == kUtf8CodePage) return std::make_unique<Utf8CodePage>();
  if (number == kAsciiCodePage) return std::make_unique<AsciiCodePage>();
  const PageRow* row = FindPageRow(number);
  if (row == nullptr) return nullptr;
  if (row->kind == PageKind::Streamed) return OpenStreamedCodePage(*row);
  return TableCodePage::Build(*row);
}

// Null when there is no conversion.
const CodePage* FindConversion(int number) {
  // Never destroyed: objects that die when the process ends may still convert.
  static auto& built = *new std::map<int, std::unique_ptr<CodePage>>;
  const auto known = built.find(number);
  if (known != built.end()) return known->second.get();
  auto page = BuildCodePage(number);
  if (page == nullptr) return nullptr;
  return built.emplace(number, std::move(page)).first->second.get();
}

}  // namespace

std::optional<std::size_t> ValidLength(int codePage, std::string_view text) {
  const CodePage* page = FindConversion(codePage);
  if (page == nullptr) return std::nullopt;
  return page->ValidLength(text);
}

bool DecodeCodePage(int codePage, std::string_view text, std::u16string& out) {
  const CodePage* page = FindConversion(codePage);
  if (page == nullptr) {
    errno = EINVAL;
    return false;
  }
  page->Decode(text, out);
  return true;
}

bool EncodeCodePage(int codePage, std::u16string_view text, std::size_t room, std::string& out) {
  const CodePage* page = FindConversion(codePage);
  if (page == nullptr) {
    errno = EINVAL;
    return false;
  }
  const std::size_t former = out.size();
  page->Encode(text, out);
  if (out.size() - former <= room) return true;
  out.resize(former);
  errno = ENOBUFS;
  return false;
}

}  // namespace platform
