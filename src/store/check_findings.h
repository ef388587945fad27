// Where the checker writes down what it finds, and what it knows about each page's use.
#pragma once

#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>

#include "kvorlib/storetools.h"

namespace store {

// Joins texts and numbers.
inline void AppendWord(std::string& out, std::string_view text) { out += text; }
inline void AppendWord(std::string& out, std::uint64_t number) { out += std::to_string(number); }
template <class... Parts>
std::string Words(const Parts&... parts) {
  std::string out;
  (AppendWord(out, parts), ...);
  return out;
}

// Adds to a report, keeping every count exact and the list short of exhausting memory.
class Findings {
 public:
  explicit Findings(StoreReport& target) : report(target) {}

  void Damage(std::uint32_t page, std::size_t offset, std::string words) {
    ++report.damages;
    Keep(FindingKind::Damage, page, offset, std::move(words));
  }
  void Leak(std::uint32_t page, std::size_t offset, std::string words) {
    ++report.leaks;
    Keep(FindingKind::Leak, page, offset, std::move(words));
  }
  void Note(std::uint32_t page, std::size_t offset, std::string words) {
    ++report.notes;
    Keep(FindingKind::Note, page, offset, std::move(words));
  }

 private:
  void Keep(FindingKind kind, std::uint32_t page, std::size_t offset, std::string words) {
    if (report.findings.size() >= StoreReport::MaxFindings) return;
    report.findings.push_back({kind, page, static_cast<std::uint32_t>(offset), std::move(words)});
  }

  StoreReport& report;
};

// Pages that something has been found to use. Page numbers have 16 bits on disk.
using PageSet = std::bitset<65536>;

}  // namespace store
