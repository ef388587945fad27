// Terms: one table of terms, as read from a term file. Its records stay where they are until the
// table is emptied, whatever is loaded on top.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kvorlib/terms.h"
#include "kvorlib/xmldoc.h"

namespace vocabulary {

inline constexpr std::uint16_t UniversalGroup = 0x1C01;
inline constexpr std::uint16_t VersionCode = 0xFFFF;

class Terms final : public DataConstr {
 public:
  Terms() = default;
  Terms(const Terms&) = delete;
  Terms& operator=(const Terms&) = delete;

  bool ReadStartElement(const std::u16string& element, const XMLAttrs& attributes) override;
  bool ReadEndElement(const std::u16string& element) override;

  // Null for the default file.
  bool Load(const char16_t* fileName);
  void Unload();
  // Loads the default file unless something was loaded. Throws the text "Terms not loaded".
  void Require();

  // Null for an unknown one.
  Term* Find(std::uint16_t code) const;
  Term* Find(std::u16string_view name) const;
  // With the meaning of numbers.
  std::uint16_t CodeOf(std::u16string_view name) const;
  const std::u16string& NameOf(std::uint16_t code) const;
  bool Belong(std::uint16_t code, std::uint16_t group, int depth) const;
  bool InNonRepGroup(std::uint16_t a, std::uint16_t b) const;
  // What the search by code can find, in the order of codes.
  std::vector<Term*> InOrder() const;

 private:
  Term* Record(Term entry);
  bool AcceptVersion();

  bool loaded = false;
  // Looked up by slices of text, without a string made for it.
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view name) const noexcept {
      std::size_t sum = 0;
      for (const char16_t unit : name) sum = (sum ^ unit) * 0x9E3779B97F4A7C15U;
      return sum;
    }
  };
  std::unordered_map<std::u16string, Term*, NameHash, std::equal_to<>> names{3000};
  std::unordered_map<std::uint16_t, Term*> codes{3000};
  // All records, by a hash of what is in them. A replaced record stays, for it may still be found
  // by its name, be the parent of others, or be in a caller's hands; and a file that is loaded
  // again gets its old records again, so that a load that is repeated for ever takes no more room.
  std::unordered_multimap<std::size_t, std::unique_ptr<Term>> records;
  Term* current = nullptr;  // the open element, null outside loading
  std::uint16_t unknownCode = 0;
  std::u16string unknownName = u"UNKNOWN";
};

}  // namespace vocabulary
