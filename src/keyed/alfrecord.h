// The record of an article as it is read: its fields, in place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kvorlib/alffile.h"

namespace keyed {

// Slices of a record, which outlives them, or of a copy in which bad UTF-8 was made good.
class ArticleFields {
 public:
  ArticleFields() = default;
  ArticleFields(ArticleFields const&) = delete;
  ArticleFields& operator=(ArticleFields const&) = delete;

  // False: there is no name. A zero ends the record. Throws: as TermCode.
  bool Read(std::string_view record);
  // What is read is ready for use by side K, with the word of side M in place of a missing one.
  void FillIn();
  // The article's texts keep their blocks where these are long enough.
  void GiveTo(BASIC_ALFSTAT<char>& article) const;
  void GiveTo(BASIC_ALFSTAT<char16_t>& article) const;

 private:
  template <class T>
  void GiveRest(BASIC_ALFSTAT<T>& article) const;

  std::string repaired;
  std::string_view name;
  std::string_view kText;
  std::string_view mText;
  std::int32_t number = 0;
  std::uint16_t pos = 0;
  std::uint16_t kPos = 0;
  char type = 'N';
};

}  // namespace keyed
