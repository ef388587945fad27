// The assembler and the examiner of store files.
#include "support/storeimage.h"

#include <optional>
#include <set>
#include <stdexcept>

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
  Put16(page, 12, f.freePages.value_or(AllPages - f.pages));
  Put16(page, 14, f.depth);
  page[16] = static_cast<char>(f.corrupted);
  Put16(page, 17, f.journal);
  Put32(page, 21, f.recordCount);
  for (unsigned n = 0; n <= f.pages; ++n) {
    page[25 + n / 8] = static_cast<char>(page[25 + n / 8] | 1 << n % 8);
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

Bytes LeafOf(const std::vector<Bytes>& records, const Links& links) {
  std::vector<Bytes> entries;
  entries.reserve(records.size());
  for (const Bytes& record : records) entries.push_back(InlineEntry(record));
  return TreePage(LeafPage, links, entries);
}

static Bytes Entry(char form, std::uint32_t sumOrPage, const Bytes& payload) {
  Bytes entry(7, form);
  Put16(entry, 1, static_cast<unsigned>(7 + payload.size()));
  Put32(entry, 3, sumOrPage);
  entry += payload;
  entry.resize((entry.size() + 3) / 4 * 4);
  return entry;
}
Bytes InlineEntry(const Bytes& record) { return Entry(1, Sum(record), record); }
Bytes KeyEntry(unsigned page, const Bytes& key) { return Entry(0, page, key); }

Bytes Run(unsigned version, const Bytes& record) {
  Bytes run(version == 23 ? 6 : 8, '\0');
  Put16(run, 0, record.size() & 0xFFFF);
  if (version != 23) Put16(run, 2, static_cast<unsigned>(record.size() >> 16));
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
  const Bytes rest = record.substr(static_cast<std::size_t>(kd.offset), 127);
  if (!kd.IsText()) return rest.size() < kd.len ? Bytes() : rest.substr(0, kd.len);
  return rest.substr(0, rest.find(static_cast<char>(kd.len)) + 1);  // empty where it has no stop
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

// Goes through the tree in the order of its keys, and raises the first rule that is broken.
class Examiner {
 public:
  Examiner(const Bytes& bytes, Findings& out) : file(bytes), found(out) {}

  void Run() {
    Claim(0, 1);
    const unsigned root = Get16(file, 10);
    if (root != 0) Visit(root, 0);
    for (const unsigned n : lastOf)
      Want(Get16(file, std::size_t{n} * PageBytes + 4) == 0, n, "next");
    Want((root == 0) == found.records.empty(), 0, "a root without records, or the reverse");
    Want(Get16(file, 8) == firstLeaf, 0, "firstLeaf");
    Want(found.levels <= Get16(file, 14), 0, "depth below the levels that are there");
    Want(Get16(file, 19) == 0, 0, "reserved bytes");
    Want(Get32(file, 21) == found.records.size(), 0, "recordCount");
    for (unsigned n = 0; n < AllPages; ++n) {
      if (InUse(n)) found.endOfUse = n + 1;
      if (InUse(n) && owned.count(n) == 0) ++found.leaked;
    }
    found.freePagesShort = static_cast<std::int16_t>((AllPages - taken - Get16(file, 12)) & 0xFFFF);
    Want(found.freePagesShort >= 0, 0, "freePages is above what is free");
  }

 private:
  static void Want(bool good, unsigned page, const char* what) {
    if (!good) throw std::runtime_error("page " + std::to_string(page) + ": " + what);
  }
  void Zeros(unsigned page, std::size_t from, std::size_t to) {
    Want(file.find_first_not_of('\0', from) >= to, page, "bytes of no meaning that are not zero");
  }
  bool InUse(unsigned n) const { return (file.at(25 + n / 8) >> n % 8 & 1) != 0; }

  void Claim(unsigned first, unsigned count) {
    for (unsigned n = first; n < first + count; ++n) {
      Want((std::size_t{n} + 1) * PageBytes <= file.size(), n, "beyond the file");
      Want(InUse(n), n, "reached, but marked free");
      Want(owned.insert(n).second, n, "reached twice");
    }
    if (first != 0) taken += count * ((first + count - 1) / 8 - first / 8 + 1);
  }

  void Visit(unsigned page, unsigned level) {
    Want(page != 0 && level <= 6, page, "a child that cannot be");
    Claim(page, 1);
    const std::size_t base = std::size_t{page} * PageBytes;
    const unsigned type = Get16(file, base);
    const std::size_t end = base + 12 + Get16(file, base + 2);
    Want(type == LeafPage || type == InternalPage, page, "neither leaf nor internal");
    Want(end <= base + 12 + 4083, page, "used");
    Want(Get16(file, base + 10) == 0, page, "reserved bytes");
    if (lastOf.size() <= level) lastOf.resize(level + 1);
    const unsigned before = std::exchange(lastOf[level], page);
    Want(Get16(file, base + 6) == before, page, "prev");
    Want(before == 0 || Get16(file, std::size_t{before} * PageBytes + 4) == page, before, "next");
    if (type == LeafPage) {
      Want(end > base + 12 && Get16(file, base + 8) == 0, page, "an empty leaf, or a child");
      Want(found.leaves++ == 0 || level == found.levels, page, "a leaf on another level");
      found.levels = level;
      if (firstLeaf == 0) firstLeaf = page;
    }
    for (std::size_t at = base + 12; at < end;) {
      const std::size_t length = Get16(file, at + 1);
      const std::size_t next = at + (length + 3) / 4 * 4;
      Want(length > 7 && length <= 2042 && next <= end, page, "entry");
      const Bytes payload = file.substr(at + 7, length - 7);
      Zeros(page, at + length, next);
      if (type == LeafPage) {
        Pass(page, ReadRecord(page, at, payload), true);
      } else {
        Want(file[at] == 0, page, "a record in an internal page");
        Zeros(page, at + 5, at + 7);
        Visit(Get16(file, at + 3), level + 1);
        Pass(page, payload, false);
      }
      at = next;
    }
    Zeros(page, end, base + PageBytes);
    if (type == InternalPage) Visit(Get16(file, base + 8), level + 1);
  }

  // Keys rise throughout; a separator may equal the one in front of it.
  void Pass(unsigned page, const Bytes& key, bool ofRecord) {
    Want(!key.empty() && key == KeyOf({kd.type, kd.len, 0}, key), page, "a key that is none");
    Want(!last || Compare(kd, *last, key) < (ofRecord ? 0 : 1), page, "keys out of order");
    last = key;
  }

  // The key of the record that this entry of a leaf holds or leads to.
  Bytes ReadRecord(unsigned page, std::size_t entry, const Bytes& payload) {
    Bytes record = payload;
    std::uint32_t sum = Get32(file, entry + 3);
    if (file[entry] == 0) {
      Zeros(page, entry + 5, entry + 7);
      page = Get16(file, entry + 3);
      const std::size_t base = std::size_t{page} * PageBytes;
      const std::size_t prefix = version == 23 ? 6 : 8;
      const std::size_t end =
          base + prefix + (version == 23 ? Get16(file, base) : Get32(file, base));
      const auto pages = static_cast<unsigned>((end - base + PageBytes - 1) / PageBytes);
      Want(page != 0, page, "run");
      Claim(page, pages);
      Zeros(page, end, base + std::size_t{pages} * PageBytes);
      record = file.substr(base + prefix, end - base - prefix);
      sum = Get32(file, base + prefix - 4);
    }
    Want((record.size() < 2030) == (file[entry] == 1), page, "inline or external");
    Want(Sum(record) == sum, page, "checksum");
    Bytes key = KeyOf(kd, record);
    Want(file[entry] == 1 || key == payload, page, "another key than in the entry");
    found.records.push_back(std::move(record));
    return key;
  }

  const Bytes& file;
  Findings& found;
  std::uint32_t version = Get32(file, 0);
  KEYDESCR kd{static_cast<std::uint8_t>(file.at(4)), static_cast<std::uint8_t>(file.at(5)),
              static_cast<std::int16_t>(Get16(file, 6))};
  std::set<unsigned> owned;
  unsigned taken = 0;  // what the allocations behind this tree have taken off freePages
  unsigned firstLeaf = 0;
  std::vector<unsigned> lastOf;  // the page met last on each level
  std::optional<Bytes> last;     // the key met last
};

}  // namespace

Findings Examine(const Bytes& file) {
  Findings found;
  try {
    Examiner(file, found).Run();
  } catch (const std::exception& broken) {
    found.damage = broken.what();
  }
  return found;
}

}  // namespace image
