// The tables of one page: read from ICU's converter at first use, patched to what Windows has, and
// walked by our own loops. ICU's loops would not do: they drop invisible characters where the page
// has a '?' for them.

#include "platform/posix/codepage_table.h"

#include <unicode/ucnv.h>

#include <charconv>
#include <cstddef>

#include "platform/posix/codepage_bestfit.h"

namespace platform {
namespace {

constexpr char16_t kNone = 0xFFFF;  // no page has this unit

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

Converter OpenConverter(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name, &status), &ucnv_close);
  if (U_FAILURE(status)) return Converter(nullptr, &ucnv_close);
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &status);
  ucnv_setFallback(converter.get(), false);
  return U_SUCCESS(status) ? std::move(converter) : Converter(nullptr, &ucnv_close);
}

char16_t DecodeOne(UConverter* converter, const char* bytes, std::ptrdiff_t length) {
  UErrorCode status = U_ZERO_ERROR;
  UChar units[4];
  UChar* end = units;
  ucnv_reset(converter);
  ucnv_toUnicode(converter, &end, units + 4, &bytes, bytes + length, nullptr, true, &status);
  return U_SUCCESS(status) && end - units == 1 ? units[0] : kNone;
}

// The one or two bytes of the unit as a number, 0 for none. Success without a byte is ICU's way of
// dropping what is invisible.
std::uint16_t EncodeOne(UConverter* converter, char16_t unit) {
  UErrorCode status = U_ZERO_ERROR;
  unsigned char bytes[8] = {};
  char* end = reinterpret_cast<char*>(bytes);
  const UChar* source = &unit;
  ucnv_reset(converter);
  ucnv_fromUnicode(converter, &end, end + sizeof bytes, &source, source + 1, nullptr, true,
                   &status);
  const auto length = end - reinterpret_cast<char*>(bytes);
  if (U_FAILURE(status) || length < 1 || length > 2) return 0;
  return static_cast<std::uint16_t>(length == 1 ? bytes[0] : bytes[0] << 8 | bytes[1]);
}

// Takes a hexadecimal number off the front of `text`.
unsigned TakeHex(std::string_view& text) {
  unsigned number = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number, 16).ptr;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

std::string_view TakeWord(std::string_view& text) {
  const auto word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return word;
}

}  // namespace

TableCodePage::TableCodePage(const PageRow& pageRow)
    : row(pageRow), badUnit(pageRow.number == 932 ? u'・' : u'?') {}

std::unique_ptr<TableCodePage> TableCodePage::Build(const PageRow& row) {
  std::unique_ptr<TableCodePage> page(
      new TableCodePage(row));  // NOLINT: the constructor is private
  if (!page->ReadTables()) return nullptr;
  page->ApplyPatches();
  if (row.kind == PageKind::SingleByte) page->AddBestFit();
  return page;
}

bool TableCodePage::IsLead(unsigned char byte) const {
  if (row.kind == PageKind::SingleByte) return false;
  if (row.number == 932) return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
  return byte >= 0x81 && byte <= 0xFE;
}

bool TableCodePage::ReadTables() {
  const Converter converter = OpenConverter(row.converter);
  if (converter == nullptr) return false;
  if (row.kind == PageKind::DoubleByte) pairs.assign(0x10000, kNone);
  for (unsigned lead = 0; lead < 256; ++lead) {
    char bytes[2] = {static_cast<char>(lead), 0};
    const bool isLead = IsLead(static_cast<unsigned char>(lead));
    singles[lead] = isLead ? kNone : DecodeOne(converter.get(), bytes, 1);
    for (unsigned trail = 1; isLead && trail < 256; ++trail) {
      bytes[1] = static_cast<char>(trail);
      pairs[lead << 8 | trail] = DecodeOne(converter.get(), bytes, 2);
    }
  }
  codes.assign(0x10000, 0);
  // In the Chinese and Korean pages the converter's own fallbacks are the best fits of Windows.
  const bool fallBack = row.kind == PageKind::DoubleByte && row.number != 932;
  ucnv_setFallback(converter.get(), static_cast<UBool>(fallBack));
  for (unsigned unit = 1; unit < kNone; ++unit)
    if (unit < 0xD800 || unit > 0xDFFF)
      codes[unit] = EncodeOne(converter.get(), static_cast<char16_t>(unit));
  return true;
}

void TableCodePage::ApplyPatches() {
  std::string_view text = row.patches;
  while (!text.empty()) {
    std::string_view word = TakeWord(text);
    if (word == "D") {
      for (unsigned byte = 0; byte < 0x20; ++byte) PatchByte(byte, static_cast<char16_t>(byte));
      PatchByte(0x7F, 0x7F);
    } else if (word.starts_with("*>")) {
      word.remove_prefix(2);
      auto next = static_cast<char16_t>(TakeHex(word));
      for (unsigned byte = 0; byte < 256; ++byte)
        if (singles[byte] == kNone) PatchByte(byte, next++);
    } else {
      const unsigned first = TakeHex(word);
      unsigned last = first;
      if (word.starts_with('-')) word.remove_prefix(1), last = TakeHex(word);
      const bool self = word.empty();
      if (!self) word.remove_prefix(1);
      const auto target = static_cast<char16_t>(self ? first : TakeHex(word));
      for (unsigned byte = first; byte <= last; ++byte)
        PatchByte(byte, static_cast<char16_t>(target + (byte - first)));
    }
  }
}

// The byte's former unit goes back to it no more.
void TableCodePage::PatchByte(unsigned byte, char16_t unit) {
  const char16_t former = singles[byte];
  if (former != kNone && codes[former] == byte) codes[former] = 0;
  singles[byte] = unit;
  codes[unit] = static_cast<std::uint16_t>(byte);
}

void TableCodePage::AddBestFit() {
  for (const BestFit& fit : BestFitsOf(row.number))
    if (codes[fit.unit] == 0) codes[fit.unit] = fit.byte;
}

char16_t TableCodePage::Next(std::string_view text, std::size_t& i) const {
  const auto byte = static_cast<unsigned char>(text[i++]);
  // A lead byte takes whatever follows, but for a zero and the end of the text.
  if (!IsLead(byte) || i == text.size() || text[i] == 0) return singles[byte];
  return pairs[byte << 8 | static_cast<unsigned char>(text[i++])];
}

std::size_t TableCodePage::ValidLength(std::string_view text) const {
  // Private use stands for single bytes without a meaning; its last unit is a sign of the Mac's.
  const auto isMeaningless = [](char16_t unit) { return unit >= 0xE000 && unit < 0xF8FF; };
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t start = i;
    const char16_t unit = Next(text, i);
    if (unit == kNone || (i - start == 1 && isMeaningless(unit))) return start;
  }
  return text.size();
}

void TableCodePage::Decode(std::string_view text, std::u16string& out) const {
  for (std::size_t i = 0; i < text.size();) {
    const char16_t unit = Next(text, i);
    out += unit == kNone ? badUnit : unit;
  }
}

void TableCodePage::Encode(std::u16string_view text, std::string& out) const {
  for (char16_t unit : text) {
    const std::uint16_t code = unit == 0 ? 0 : codes[unit] == 0 ? '?' : codes[unit];
    if (code > 0xFF) out += static_cast<char>(code >> 8);
    out += static_cast<char>(code & 0xFF);
  }
}

}  // namespace platform
