// The code pages that convert by a table of ICU's. What stands here is the difference between the
// table of that name and the page as Windows has it, byte by byte.

#include "platform/posix/codepage_rows.h"

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

constexpr PageKind Single = PageKind::SingleByte;
constexpr PageKind Double = PageKind::DoubleByte;
constexpr PageKind Streamed = PageKind::Streamed;

// In the order of the numbers.
constexpr PageRow kRows[] = {
    {437, Single, "ibm-437_P100-1995", "D E6>B5"},
    {737, Single, "ibm-737_P100-1997", "D"},
    {775, Single, "ibm-775_P100-1996", "D"},
    {850, Single, "ibm-850_P100-1995", "D"},
    {852, Single, "ibm-852_P100-1995", "D AA>AC"},
    {855, Single, "ibm-855_P100-1995", "D"},
    {857, Single, "ibm-857_P100-1995", "D *>F8BB"},
    {860, Single, "ibm-860_P100-1995", "D E6>B5"},
    {861, Single, "ibm-861_P100-1995", "D E6>B5"},
    {862, Single, "ibm-862_P100-1995", "D E6>B5"},
    {863, Single, "ibm-863_P100-1995", "D E6>B5"},
    {864, Single, "ibm-864_X110-1999", "D 9B-9C 9F D7>FEC1 D8>FEC5 F1>0651 *>F8BE"},
    {865, Single, "ibm-865_P100-1995", "D E6>B5"},
    {866, Single, "ibm-866_P100-1995", "D"},
    {869, Single, "ibm-869_P100-1995", "D 80-85 87 93-94 88>B7 EF>0384"},
    {874, Single, "ibm-1162_P100-1999", "*>F8C1"},
    {932, Double, "ibm-943_P15A-2003", "D 80 A0>F8F0 FD>F8F1 FE>F8F2 FF>F8F3"},
    {936, Double, "windows-936-2000", ""},
    {949, Double, "windows-949-2000", ""},
    {950, Double, "windows-950-2000", ""},
    {1250, Single, "ibm-5346_P100-1998", ""},
    {1251, Single, "ibm-5347_P100-1998", ""},
    {1252, Single, "ibm-5348_P100-1997", ""},
    {1253, Single, "ibm-5349_P100-1998", "AA>F8F9 D2>F8FA FF>F8FB"},
    {1254, Single, "ibm-5350_P100-1998", ""},
    {1255, Single, "ibm-9447_P100-2002", "CA>05BA *>F88D"},
    {1256, Single, "ibm-9448_X100-2005", ""},
    {1257, Single, "ibm-9449_P100-2002", "*>F8FC"},
    {1258, Single, "ibm-5354_P100-1998", ""},
    {10000, Single, "macos-0_2-10.2", "BD>2126 F0>F8FF"},
    {10006, Single, "macos-6_2-10.4", "9C>AD AF>0387 FF>F8A0"},
    {10007, Single, "macos-7_3-10.2", "A2 B6>2202 FF>A4"},
    {10010, Single, "macos-0_2-10.2",
     "AE>0102 AF>015E BD>2126 BE>0103 BF>015F DB>A4 DE>0162 DF>0163 F0>F8FF"},
    {10017, Single, "macos-7_3-10.2", "FF>A4"},
    {10029, Single, "macos-29-10.2", ""},
    {20866, Single, "ibm-878_P100-1996", ""},
    {21866, Single, "ibm-1168_P100-2002", "AE>045E BE>040E"},
    {28591, Single, "ISO-8859-1", ""},
    {28592, Single, "ibm-912_P100-1995", ""},
    {28593, Single, "ibm-913_P100-2000", "*>F7F5"},
    {28594, Single, "ibm-914_P100-1995", ""},
    {28595, Single, "ibm-915_P100-1995", ""},
    {28596, Single, "ibm-1089_P100-1995", "*>F7C8"},
    {28597, Single, "ibm-813_P100-1995", "A1>02BD A2>02BC B4>0384 B7 *>F7C2"},
    {28598, Single, "ibm-916_P100-1995", "B7 *>F79C"},
    {28599, Single, "ibm-920_P100-1995", ""},
    {28600, Single, "iso-8859_10-1998", ""},
    {28601, Single, "iso-8859_11-2001", ""},
    {28603, Single, "ibm-921_P100-1995", ""},
    {28604, Single, "iso-8859_14-1998", ""},
    {28605, Single, "ibm-923_P100-1998", ""},
    {50220, Streamed, "iso-2022-jp", ""},
    {50221, Streamed, "ISO_2022,locale=ja,version=3", ""},
    {51932, Streamed, "euc-jp-2007", ""},
    {51949, Streamed, "ibm-970_P110_P110-2006_U2", ""},
    {54936, Streamed, "gb18030", ""},
    {65000, Streamed, "UTF-7", ""},
};

}  // namespace

const PageRow* FindPageRow(int number) {
  const auto* row =
      std::lower_bound(std::begin(kRows), std::end(kRows), number,
                       [](const PageRow& left, int right) { return left.number < right; });
  return row != std::end(kRows) && row->number == number ? row : nullptr;
}

}  // namespace platform
