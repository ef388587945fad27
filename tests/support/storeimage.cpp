// The assembler and the examiner of store files.
#include "support/storeimage.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace image {

unsigned Get16(const Bytes& b, std::size_t at) {
  return static_cast<unsigned char>(b.at(at)) | static_cast<unsigned char>(b.at(at + 1)) << 8;
}
std::uint32_t Get32(const Bytes& b, std::size_t at) {
  return Get16(b, at) | static_cast<std::uint32_t>(Get16(b, at + 2)) << 16;
}
void Put16(Bytes& b, std::size_t at, unsigned v) {
  b.at(at) = static_cast<char>(v);
  b.at(at + 1) = static_cast<char>(v >> 8);
}
void Put32(Bytes& b, std::size_t at, std::uint32_t v) {
  Put16(b, at, v & 0xFFFF);
  Put16(b, at + 2, v >> 16);
}

Bytes HeaderPage(const HeaderFields& f) {
  Bytes page(PageBytes, '\0');
  Put32(page, 0, f.version);
  page[4] = static_cast<char>(f.key.type);
  page[5] = static_cast<char>(f.key.len);
  Put16(page, 6, static_cast<std::uint16_t>(f.key.offset));
  Put16(page, 8, f.firstLeaf);
  Put16(page, 10, f.root);
  Put16(page, 12, f.freePages);
  Put16(page, 14, f.depth);
  page[16] = static_cast<char>(f.corrupted);
  Put16(page, 17, f.journal);
  Put32(page, 21, f.recordCount);
  page[25] = 1;
  for (unsigned n : f.inUse) {
    const int byte = page[25 + n / 8] | 1 << n % 8;
    page[25 + n / 8] = static_cast<char>(byte);
  }
  return page;
}

Bytes TreePage(unsigned type, const Links& links, const std::vector<Bytes>& entries) {
  Bytes page(12, '\0');
  for (const Bytes& entry : entries) page += entry;
  Put16(page, 0, type);
  Put16(page, 2, static_cast<unsigned>(page.size() - 12));
  Put16(page, 4, links.next);
  Put16(page, 6, links.prev);
  Put16(page, 8, links.rightChild);
  page.resize(PageBytes);
  return page;
}

Bytes InlineEntry(const Bytes& record) {
  Bytes entry(7, '\0');
  entry[0] = 1;
  Put16(entry, 1, static_cast<unsigned>(7 + record.size()));
  Put32(entry, 3, Sum(record));
  entry += record;
  entry.resize((entry.size() + 3) / 4 * 4);
  return entry;
}

Bytes KeyEntry(unsigned page, const Bytes& key) {
  Bytes entry(7, '\0');
  Put16(entry, 1, static_cast<unsigned>(7 + key.size()));
  Put16(entry, 3, page);
  entry += key;
  entry.resize((entry.size() + 3) / 4 * 4);
  return entry;
}

Bytes Run(unsigned version, const Bytes& record) {
  const auto length = static_cast<std::uint32_t>(record.size());
  Bytes run(version == 23 ? 6 : 8, '\0');
  if (version == 23) {
    Put16(run, 0, length);
  } else {
    Put32(run, 0, length);
  }
  Put32(run, run.size() - 4, Sum(record));
  run += record;
  run.resize((run.size() + PageBytes - 1) / PageBytes * PageBytes);
  return run;
}

std::uint32_t Sum(const Bytes& record) {
  std::uint32_t sum = 0;
  for (char c : record) sum += static_cast<unsigned char>(c);
  return sum;
}

Bytes KeyOf(const KEYDESCR& kd, const Bytes& record) {
  if (kd.offset < 0 || static_cast<std::size_t>(kd.offset) > record.size()) return {};
  const Bytes rest = record.substr(static_cast<std::size_t>(kd.offset));
  if (!kd.IsText()) return rest.size() < kd.len ? Bytes() : rest.substr(0, kd.len);
  const std::size_t stop = rest.substr(0, 127).find(static_cast<char>(kd.len));
  return stop == Bytes::npos ? Bytes() : rest.substr(0, stop + 1);
}

int Compare(const KEYDESCR& kd, const Bytes& a, const Bytes& b) {
  if (kd.type == 0) {
    const auto x = static_cast<std::int32_t>(Get32(a, 0));
    const auto y = static_cast<std::int32_t>(Get32(b, 0));
    return x < y ? -1 : x > y ? 1 : 0;
  }
  // std::string compares its characters as unsigned bytes, and the shorter one first.
  return kd.IsText() ? a.substr(0, a.size() - 1).compare(b.substr(0, b.size() - 1)) : a.compare(b);
}

namespace {

class Examiner {
 public:
  Examiner(const Bytes& bytes, Findings& out) : file(bytes), found(out) {}

  void Run() {
    if (file.size() < PageBytes) return Say(0, "shorter than a page");
    version = Get32(file, 0);
    if (version != 23 && version != 24) return Say(0, "unknown version");
    kd = KEYDESCR(static_cast<std::uint8_t>(file[4]), static_cast<std::uint8_t>(file[5]),
                  static_cast<std::int16_t>(Get16(file, 6)));
    Claim(0, 1);
    const unsigned root = Get16(file, 10);
    if (root != 0) Visit(root, 0, std::nullopt, std::nullopt);
    CheckLevels();
    CheckHeader(root);
    for (unsigned n = 0; n < 32568; ++n) {
      if (InUse(n) && owned.count(n) == 0) found.leaked.insert(n);
    }
    found.freePagesShort = static_cast<std::int16_t>((32568 - taken - Get16(file, 12)) & 0xFFFF);
    if (found.freePagesShort < 0) Say(0, "freePages is above what is free");
  }

 private:
  void Say(unsigned page, const std::string& words) {
    found.damage.push_back("page " + std::to_string(page) + ": " + words);
  }
  bool InUse(unsigned n) const { return (file[25 + n / 8] >> n % 8 & 1) != 0; }

  bool Claim(unsigned first, unsigned count) {
    for (unsigned n = first; n < first + count; ++n) {
      if ((std::size_t{n} + 1) * PageBytes > file.size()) return Say(n, "beyond the file"), false;
      if (!InUse(n)) Say(n, "reached, but marked free");
      if (!owned.insert(n).second) return Say(n, "reached twice"), false;
    }
    if (first != 0) taken += count * ((first + count - 1) / 8 - first / 8 + 1);
    return true;
  }

  void CheckHeader(unsigned root) {
    const unsigned depth = Get16(file, 14);
    if (found.levels > depth) Say(0, "depth below the levels that are there");
    if (Get32(file, 21) != found.records.size()) Say(0, "another recordCount");
    const unsigned leftmost = order.empty() ? 0 : order.back().front();
    if (Get16(file, 8) != leftmost) Say(0, "firstLeaf is not the leftmost leaf");
    if ((root == 0) != found.records.empty()) Say(0, "a root without records, or the reverse");
    if (Get16(file, 19) != 0) Say(0, "reserved bytes");
  }

  void CheckLevels() {
    for (const auto& level : order) {
      for (std::size_t i = 0; i < level.size(); ++i) {
        const std::size_t at = level[i] * PageBytes;
        if (Get16(file, at + 4) != (i + 1 < level.size() ? level[i + 1] : 0)) {
          Say(level[i], "next");
        }
        if (Get16(file, at + 6) != (i != 0 ? level[i - 1] : 0)) Say(level[i], "prev");
      }
    }
  }

  using Bound = std::optional<Bytes>;

  void Visit(unsigned page, unsigned level, const Bound& above, const Bound& upTo) {
    if (page == 0 || level > 6 || !Claim(page, 1)) return Say(page, "a child that cannot be");
    if (order.size() <= level) order.resize(level + 1);
    order[level].push_back(page);
    const std::size_t base = std::size_t{page} * PageBytes;
    const unsigned type = Get16(file, base);
    const unsigned used = Get16(file, base + 2);
    if (type != LeafPage && type != InternalPage) return Say(page, "neither leaf nor internal");
    if (used > 4083) return Say(page, "used too large");
    if (Get16(file, base + 10) != 0) Say(page, "reserved bytes");
    if (type == LeafPage) {
      found.leaves.insert(page);
      if (Get16(file, base + 8) != 0) Say(page, "a leaf with a right child");
      if (used == 0) Say(page, "an empty leaf");
      if (!found.records.empty() && level != found.levels) Say(page, "a leaf on another level");
      found.levels = level;
    }
    Bound last = above;
    unsigned at = 0;
    while (at < used) {
      const unsigned length = Get16(file, base + 12 + at + 1);
      const unsigned size = (length + 3) / 4 * 4;
      if (length < 7 || size < 8 || size > 2042 || at + size > used) return Say(page, "entry");
      const Bytes payload = file.substr(base + 12 + at + 7, length - 7);
      const Bytes key = type == LeafPage ? VisitRecord(page, base + 12 + at, payload) : payload;
      if (key.empty() || key != KeyOf(KEYDESCR(kd.type, kd.len, 0), key)) {
        Say(page, "a key that is none");
      } else {
        if (last && Compare(kd, *last, key) >= 0) Say(page, "keys out of order");
        if (upTo && Compare(kd, key, *upTo) > 0) Say(page, "a key above its separator");
      }
      Zeros(page, base + 12 + at + length, size - length);
      if (type == InternalPage) {
        if (file[base + 12 + at] != 0) Say(page, "a record in an internal page");
        Zeros(page, base + 12 + at + 5, 2);
        Visit(Get16(file, base + 12 + at + 3), level + 1, last, key);
      }
      last = key;
      at += size;
    }
    Zeros(page, base + 12 + used, PageBytes - 12 - used);
    if (type == InternalPage) Visit(Get16(file, base + 8), level + 1, last, upTo);
  }

  // The key of the record that this entry of a leaf holds or leads to.
  Bytes VisitRecord(unsigned page, std::size_t entry, const Bytes& payload) {
    if (file[entry] == 1) {
      if (payload.size() >= 2030) Say(page, "an inline record that should be external");
      if (Sum(payload) != Get32(file, entry + 3)) Say(page, "checksum");
      Bytes key = KeyOf(kd, payload);
      found.records.emplace_back(key, payload);
      return key;
    }
    Zeros(page, entry + 5, 2);
    const unsigned first = Get16(file, entry + 3);
    const std::size_t base = std::size_t{first} * PageBytes;
    const unsigned prefix = version == 23 ? 6 : 8;
    if (file[entry] != 0 || first == 0 || base + PageBytes > file.size()) {
      Say(page, "form or run");
      return payload;
    }
    const std::uint32_t length = version == 23 ? Get16(file, base) : Get32(file, base);
    const auto pages = static_cast<unsigned>((prefix + length + PageBytes - 1) / PageBytes);
    if (length >= 0xFFFFFF || !Claim(first, pages)) return Say(first, "run"), payload;
    const Bytes record = file.substr(base + prefix, length);
    if (Sum(record) != Get32(file, base + prefix - 4)) Say(first, "checksum of a run");
    if (length < 2030) Say(first, "a run that should be inline");
    if (KeyOf(kd, record) != payload) Say(first, "another key in the entry than in its record");
    Zeros(first, base + prefix + length, pages * PageBytes - prefix - length);
    found.records.emplace_back(payload, record);
    return payload;
  }

  void Zeros(unsigned page, std::size_t at, std::size_t n) {
    for (std::size_t i = at; i < at + n; ++i) {
      if (file[i] != 0) return Say(page, "bytes of no meaning that are not zero");
    }
  }

  const Bytes& file;
  Findings& found;
  std::uint32_t version = 0;
  KEYDESCR kd;
  std::set<unsigned> owned;
  unsigned taken = 0;  // what the allocations behind this tree have taken off freePages
  std::vector<std::vector<unsigned>> order;  // pages of each level from left to right
};

}  // namespace

Findings Examine(const Bytes& file) {
  Findings found;
  Examiner(file, found).Run();
  return found;
}

std::string Damage(const Findings& findings) {
  std::string out;
  for (std::size_t i = 0; i < findings.damage.size() && i < 20; ++i) {
    out += findings.damage[i] + '\n';
  }
  return out;
}

}  // namespace image
