// Letters to their base letters, full-width forms to narrow ones, and for the Russian pages the
// signs that look alike.

#include "platform/posix/codepage_bestfit.h"

#include <unicode/unorm2.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace platform {
namespace {

struct Range {
  char16_t first;
  char16_t last;
};

// The Latin letters that fall back on a letter of ASCII.
constexpr Range kMarkedLetters[] = {
    {0x00C0, 0x00C5}, {0x00C7, 0x00CF}, {0x00D1, 0x00D6}, {0x00D8, 0x00DD}, {0x00E0, 0x00E5},
    {0x00E7, 0x00EF}, {0x00F1, 0x00F6}, {0x00F8, 0x00FD}, {0x00FF, 0x0130}, {0x0134, 0x0137},
    {0x0139, 0x013E}, {0x0141, 0x0148}, {0x014C, 0x0151}, {0x0154, 0x017E}, {0x0180, 0x0180},
    {0x0197, 0x0197}, {0x019A, 0x019A}, {0x019F, 0x01A1}, {0x01AB, 0x01AB}, {0x01AE, 0x01B0},
    {0x01CD, 0x01DC}, {0x01DE, 0x01DF}, {0x01E4, 0x01ED}, {0x01F0, 0x01F0}};

// Those of them that do not decompose: a stroke is part of the letter.
constexpr std::u16string_view kStroked = u"ØøĐđĦħŁłŦŧƀƗƚƟƫƮǤǥ";
constexpr std::string_view kUnstroked = "OoDdHhLlTtbIlOtTGg";

// Pages without a narrow form for full-width ones.
constexpr int kWithoutFullWidth[] = {855, 860, 861, 863, 864, 865, 869, 20866, 21866};

struct Sign {
  std::u16string_view units;
  char byte;
};

// Pages 866 and 20866.
constexpr Sign kCyrillicSigns[] = {{u"®", 'R'},    {u"™", 'T'},   {u"«‹", '<'},       {u"»›", '>'},
                                   {u"‘’‚", '\''}, {u"“”„", '"'}, {u"–—\u00AD", '-'}, {u"…", ':'},
                                   {u"‰", '%'},    {u"±", '+'},   {u"§", 0x15},       {u"¶", 0x14},
                                   {u"•", 0x07}};
// The signs that the IBM PC showed for control bytes, 00 to 1F in their order; a blank for none.
constexpr std::u16string_view kControlSigns = u" ☺☻♥♦♣♠ ◘○◙♂♀♪♫☼►◄↕‼  ▬↨↑↓→←∟↔▲▼";
constexpr std::u16string_view kLegalSigns = u"¦¬µ†‡";
constexpr unsigned char kLegal866[] = {0xB3, 0xBF, 0xE7, 0xC5, 0xD8};
constexpr unsigned char kLegal20866[] = {0x81, 0x83, 0xDE, 0x8A, 0xBC};

struct RangeFit {
  Range units;
  unsigned char byte;
};

// Page 1251: frames, blocks and arrows by their look, as far as it has anything like them.
constexpr RangeFit kSigns1251[] = {
    {{0x2195, 0x2195}, 0xA6}, {{0x21A8, 0x21A8}, 0xA6}, {{0x2302, 0x2302}, 0xA6},
    {{0x2502, 0x2502}, 0xA6}, {{0x2551, 0x2551}, 0xA6}, {{0x255E, 0x2563}, 0xA6},
    {{0x2567, 0x2569}, 0xA6}, {{0x258C, 0x258C}, 0xA6}, {{0x2590, 0x2590}, 0xA6},
    {{0x25A0, 0x25A0}, 0xA6}, {{0x2660, 0x2660}, 0xA6}, {{0x2663, 0x2663}, 0xA6},
    {{0x2665, 0x2666}, 0xA6}, {{0x2194, 0x2194}, 0x2D}, {{0x2500, 0x2500}, 0x2D},
    {{0x250C, 0x250C}, 0x2D}, {{0x2518, 0x2518}, 0x2D}, {{0x2552, 0x2552}, 0x2D},
    {{0x255B, 0x255D}, 0x2D}, {{0x2580, 0x2580}, 0x2D}, {{0x2584, 0x2584}, 0x2D},
    {{0x2588, 0x2588}, 0x2D}, {{0x2591, 0x2593}, 0x2D}, {{0x25AC, 0x25AC}, 0x2D},
    {{0x251C, 0x251C}, 0x2B}, {{0x2524, 0x2524}, 0x2B}, {{0x2534, 0x2534}, 0x2B},
    {{0x253C, 0x253C}, 0x2B}, {{0x256A, 0x256C}, 0x2B}, {{0x2640, 0x2640}, 0x2B},
    {{0x221F, 0x221F}, 0x4C}, {{0x2514, 0x2514}, 0x4C}, {{0x2558, 0x255A}, 0x4C},
    {{0x2510, 0x2510}, 0xAC}, {{0x2555, 0x2557}, 0xAC}, {{0x252C, 0x252C}, 0x54},
    {{0x2564, 0x2566}, 0x54}, {{0x2192, 0x2192}, 0x3E}, {{0x25BA, 0x25BA}, 0x3E},
    {{0x2642, 0x2642}, 0x3E}, {{0x25CB, 0x25CB}, 0x30}, {{0x25D9, 0x25D9}, 0x30},
    {{0x263C, 0x263C}, 0x30}, {{0x2190, 0x2190}, 0x3C}, {{0x25C4, 0x25C4}, 0x3C},
    {{0x2191, 0x2191}, 0x5E}, {{0x25B2, 0x25B2}, 0x5E}, {{0x2193, 0x2193}, 0x76},
    {{0x221A, 0x221A}, 0x76}, {{0x2219, 0x2219}, 0x95}, {{0x25D8, 0x25D8}, 0x95},
    {{0x2553, 0x2554}, 0xE3}, {{0x263A, 0x263B}, 0x4F}, {{0x266A, 0x266B}, 0x64},
    {{0x203C, 0x203C}, 0x21}, {{0x2550, 0x2550}, 0x3D}, {{0x25BC, 0x25BC}, 0xA1}};

// The letter of ASCII that a marked letter begins with, 0 if none.
unsigned char BaseLetter(char16_t unit) {
  if (auto at = kStroked.find(unit); at != std::u16string_view::npos)
    return static_cast<unsigned char>(kUnstroked[at]);
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* decomposer = unorm2_getNFDInstance(&status);
  UChar parts[8];
  const auto length = unorm2_getDecomposition(decomposer, unit, parts, 8, &status);
  return U_SUCCESS(status) && length > 0 && parts[0] < 0x80 ? static_cast<unsigned char>(parts[0])
                                                            : 0;
}

bool HasNarrowForms(int codePage) {
  const bool mac = codePage >= 10000 && codePage <= 10082;
  return !mac && std::find(std::begin(kWithoutFullWidth), std::end(kWithoutFullWidth), codePage) ==
                     std::end(kWithoutFullWidth);
}

void AddLetters(int codePage, std::vector<BestFit>& fits) {
  for (const Range& range : kMarkedLetters)
    for (char16_t unit = range.first; unit <= range.last; ++unit)
      if (const auto letter = BaseLetter(unit)) fits.push_back({unit, letter});
  if (!HasNarrowForms(codePage)) return;
  for (char16_t unit = 0xFF01; unit <= 0xFF5E; ++unit)
    fits.push_back({unit, static_cast<unsigned char>(unit - 0xFEE0)});
}

void AddCyrillicSigns(const unsigned char* legal, std::vector<BestFit>& fits) {
  for (const Sign& sign : kCyrillicSigns)
    for (char16_t unit : sign.units) fits.push_back({unit, static_cast<unsigned char>(sign.byte)});
  for (std::size_t byte = 0; byte < kControlSigns.size(); ++byte)
    if (kControlSigns[byte] != u' ')
      fits.push_back({kControlSigns[byte], static_cast<unsigned char>(byte)});
  fits.push_back({u'⌂', 0x7F});
  for (std::size_t i = 0; i < kLegalSigns.size(); ++i) fits.push_back({kLegalSigns[i], legal[i]});
}

}  // namespace

std::vector<BestFit> BestFitsOf(int codePage) {
  std::vector<BestFit> fits;
  AddLetters(codePage, fits);
  if (codePage == 866) fits.push_back({u'©', 'c'});
  if (codePage == 866) AddCyrillicSigns(kLegal866, fits);
  if (codePage == 20866) AddCyrillicSigns(kLegal20866, fits);
  if (codePage == 1251)
    for (const RangeFit& fit : kSigns1251)
      for (char16_t unit = fit.units.first; unit <= fit.units.last; ++unit)
        fits.push_back({unit, fit.byte});
  return fits;
}

}  // namespace platform
