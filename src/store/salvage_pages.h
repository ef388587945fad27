// The order in which a damaged store file is searched for leaves.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "store/salvage_records.h"

namespace store {

class PageSearch {
 public:
  // `page0` is null when the header is lost; then nothing but the pages themselves is known.
  PageSearch(ExaminedFile& from, const Page* page0, RecordSaver& saver,
             const SalvageOptions& options, SalvageReport& report);

  // False: the new file takes no more.
  bool Run();

 private:
  // Where the entries of one page are looked for.
  struct Stretch {
    std::uint32_t page;
    Bytes entries;
    std::size_t offset;    // of the first one in the page
    std::uint64_t* saved;  // the count to raise
    bool tellLosses;
  };

  bool FollowChain();
  std::uint32_t FirstLeaf(const Header& header);
  std::uint32_t LeftEnd(std::uint32_t leaf);
  bool MayFollow(std::uint32_t number, std::uint32_t from, const Page& page) const;
  bool ScanPages(bool inUse, bool leavesOnly);
  bool SearchLeftovers();
  bool SaveLeaf(std::uint32_t number, const Page& page, std::uint64_t& saved, bool tellLosses);
  bool SaveStretch(const Stretch& stretch);
  bool Missing() const;
  bool Marked(std::uint32_t number) const {
    return page0 == nullptr || (number < MaxPages && InUse(*page0, number));
  }
  void Lose(std::uint32_t page, std::size_t offset, std::string reason);
  void Remark(std::uint32_t page, std::size_t offset, std::string words);
  void LookedAt(std::uint32_t number);

  ExaminedFile& from;
  const Page* page0;
  RecordSaver& saver;
  const SalvageOptions& options;
  SalvageReport& report;
  PageSet leaves;  // searched already
  bool chainWhole = false;
  std::uint64_t looked = 0;
};

}  // namespace store
