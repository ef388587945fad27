// CheckStore: page 0, then the tree, then what the bitmap says against what was met.
#include <optional>

#include "kvorlib/storetools.h"
#include "store/check_tree.h"
#include "store/guard.h"
#include "store/udb.h"

namespace store {
namespace {

// Whether keys of this descriptor can be told and compared.
bool CheckDescriptor(const KEYDESCR& key, Findings& findings) {
  if (key.type > 4) {
    findings.Damage(0, 4, Words("the header names an unknown kind of key (", key.type, ")"));
    return false;
  }
  const bool number = key.type == 0;
  if (!key.IsText() && (key.len > MaxKey || (number && key.len != 4))) {
    findings.Damage(0, 5, Words("the header names keys of ", key.len, " bytes"));
    return false;
  }
  const int end = key.offset + (key.IsText() ? 1 : key.len);
  if (end < 0 || end > static_cast<int>(MaxEntry)) {
    findings.Damage(0, 6, "the header puts keys where no record has them");
    return false;
  }
  return true;
}

// Page 0 itself. False: there is no header to go on from.
bool CheckPage0(ExaminedFile& file, const Page& page, StoreReport& report, Findings& findings) {
  const auto version = VersionOf(page);
  if (!version) {
    findings.Damage(0, 0, Words("not a store file of a known version (", page[0], ")"));
    return false;
  }
  if (Load32(page.data()) != *version) {
    findings.Damage(0, 1, Words("the version reads ", Load32(page.data())));
  }
  const Header header = Header::Load(page);
  report.hasHeader = true;
  report.version = *version;
  report.key = header.key;
  report.depth = header.depth;
  report.recordCount = header.recordCount;
  report.freePages = header.freePages;
  report.corruptedMark = header.corrupted != 0;
  report.journaled = header.journal != 0;
  if (report.corruptedMark) {
    findings.Damage(0, 16, "the file carries the mark of a corrupted file: it takes no updates");
  }
  if (report.journaled) findings.Note(0, 17, "the file asks for a journal beside it");
  if (!InUse(page, 0)) findings.Damage(0, PageSize - BitmapBytes, "the bitmap calls page 0 free");
  if (file.Size() > std::uint64_t{MaxPages} * PageSize) {
    findings.Leak(MaxPages, 0, "the file goes on behind the last page that the bitmap can name");
  }
  return true;
}

// The header's figures against those of the walk.
void CompareHeader(const Header& header, const TreeCheck& tree, Examination& exam) {
  Findings& findings = exam.findings;
  const auto leftmost = header.root == 0 ? std::optional<std::uint32_t>(0) : tree.LeftmostLeaf();
  if (leftmost && *leftmost != header.firstLeaf) {
    findings.Damage(
        0, 8,
        Words("the leftmost leaf is page ", *leftmost, ", and the header says ", header.firstLeaf));
  }
  if (exam.report.records != header.recordCount) {
    findings.Damage(0, 21,
                    Words("the tree holds ", exam.report.records, " records, and the header says ",
                          header.recordCount));
  }
  // An emptied tree leaves the depth as it stands, and the next one counts on from there. So it may
  // be too high, which only brings the limit of six nearer, but never too low.
  const auto levels = tree.Levels();
  if (levels && header.depth < *levels) {
    findings.Damage(0, 14,
                    Words("the tree has ", *levels,
                          " levels of internal pages, and the header says ", header.depth));
  } else if (levels && header.depth > *levels) {
    findings.Note(0, 14,
                  Words("the header counts ", header.depth - *levels,
                        " levels of internal pages that went when the file was emptied once"));
  }
}

// Pages marked in use that nothing leads to, a line for each stretch of them.
void FindLeaks(Examination& exam) {
  for (std::uint32_t n = 1; n < MaxPages; ++n) {
    if (!InUse(exam.page0, n)) {
      ++exam.report.unmarkedPages;
      continue;
    }
    if (exam.used.test(n)) continue;
    const std::uint32_t first = n;
    while (n + 1 < MaxPages && InUse(exam.page0, n + 1) && !exam.used.test(n + 1)) ++n;
    const std::uint32_t count = n - first + 1;
    exam.report.leakedPages += count;
    exam.findings.Leak(first, 0,
                       Words(count, count == 1 ? " page is" : " pages are",
                             " marked in use, and nothing leads there"));
  }
}

// The counter is exact as long as nothing was lost on the way. It may have drifted in the past,
// when an update failed halfway; it decides only whether an insertion is tried, so it is no damage.
void CompareCounter(const Header& header, Examination& exam) {
  if (exam.report.damages != 0 || exam.report.leaks != 0) return;
  const auto expected = static_cast<std::uint16_t>(exam.expectedFree);
  if (expected != header.freePages) {
    exam.findings.Note(0, 12,
                       Words("the counter of free pages reads ", header.freePages,
                             ", and the pages in use give ", expected));
  }
}

void CheckTail(Examination& exam) {
  const std::uint64_t rest = exam.file.Size() % PageSize;
  const std::uint64_t last = exam.file.Size() / PageSize;
  // A page in use that is cut off has been told of by whoever led there.
  if (rest == 0 || last >= MaxPages) return;
  exam.findings.Leak(static_cast<std::uint32_t>(last), 0,
                     Words("the file ends ", rest, " bytes into this page"));
}

void Examine(ExaminedFile& file, StoreReport& report) {
  Findings findings(report);
  Page page0;
  if (file.Size() < PageSize) {
    findings.Damage(0, static_cast<std::size_t>(file.Size()),
                    file.Size() == 0 ? "the file is empty" : "the file ends inside its header");
    return;
  }
  if (!file.ReadPage(0, page0)) {
    udbCodeText(UDB_SYSTEM_ERROR, report.failure);
    return;
  }
  if (!CheckPage0(file, page0, report, findings)) return;
  const Header header = Header::Load(page0);
  const bool keysKnown = CheckDescriptor(header.key, findings);
  Examination exam{file, page0, report.version, header.key, keysKnown, report, findings, {}};
  TreeCheck tree(exam);
  if (header.root != 0) tree.Walk(header.root);
  CompareHeader(header, tree, exam);
  FindLeaks(exam);
  CheckTail(exam);
  CompareCounter(header, exam);
}

}  // namespace

StoreReport ExamineStore(ExaminedFile& file) {
  StoreReport report;
  report.fileSize = file.Size();
  Examine(file, report);
  if (report.failure.empty()) {
    report.state = report.damages == 0 ? StoreState::Sound : StoreState::Damaged;
  }
  return report;
}

}  // namespace store

StoreReport CheckStore(const std::string& path) {
  using namespace store;
  StoreReport report;
  // Of a file that other users change the mutex keeps nobody out, and would only make this user's
  // other work wait with us.
  std::optional<Lock> mutex;
  if (!ExaminedFile::OthersMayChange(path)) mutex.emplace();
  const auto file = ExaminedFile::Open(path, report.failure);
  if (!file) return report;
  const bool alone = file->KeepOthersOut() && (!mutex || mutex->Had());
  report = ExamineStore(*file);
  if (!alone) {
    Findings(report).Note(0, 0,
                          "another process kept the store busy: the file may have changed "
                          "while it was examined");
  }
  return report;
}
