// Conversion under one numbered code page.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/codepage_rows.h"

namespace platform {

class CodePage {
 public:
  virtual ~CodePage() = default;
  // The length of the good text in front.
  virtual std::size_t ValidLength(std::string_view text) const = 0;
  // Both append to `out`.
  virtual void Decode(std::string_view text, std::u16string& out) const = 0;
  virtual void Encode(std::u16string_view text, std::string& out) const = 0;
};

// A page of single bytes, or of single bytes and pairs, held as two tables.
class TableCodePage : public CodePage {
 public:
  // Null when the converter is not in this build of ICU.
  static std::unique_ptr<TableCodePage> Build(const PageRow& row);

  std::size_t ValidLength(std::string_view text) const override;
  void Decode(std::string_view text, std::u16string& out) const override;
  void Encode(std::u16string_view text, std::string& out) const override;

  bool IsLead(unsigned char byte) const;

 private:
  explicit TableCodePage(const PageRow& row);

  // Takes one character, kNone for a bad one.
  char16_t Next(std::string_view text, std::size_t& i) const;
  bool ReadTables();
  void ApplyPatches();
  void PatchByte(unsigned byte, char16_t unit);
  void AddBestFit();

  const PageRow& row;
  char16_t badUnit;                   // what bytes without a meaning become
  std::array<char16_t, 256> singles;  // by byte
  std::vector<char16_t> pairs;        // by lead * 256 + trail; empty in a page of single bytes
  std::vector<std::uint16_t> codes;   // by unit: the byte, or lead * 256 + trail; 0 for none
};

// A page without tables. Null as above.
std::unique_ptr<CodePage> OpenStreamedCodePage(const PageRow& row);

}  // namespace platform
