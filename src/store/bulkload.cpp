// SortedLoad, LoadStore: records into an empty file, built in memory and stored at once.
#include "store/bulkload.h"

#include <algorithm>

#include "kvorlib/storetools.h"
#include "store/bitmap.h"
#include "store/operations.h"
#include "store/udb.h"

namespace store {
namespace {

// The deepest tree that may still split at its root.
constexpr unsigned MostLevels = 5;

// A file whose pages are all free, and which takes many records at once. A journaled file is told
// of each record; the runs of an old version are laid out otherwise.
bool MayTake(WorkFile& work, const BulkBuilder& built) {
  const Header& head = work.Head();
  const bool empty = head.root == 0 && head.firstLeaf == 0 && head.recordCount == 0;
  if (!empty || work.Version() != CurrentVersion || head.corrupted != 0 || head.journal != 0) {
    return false;
  }
  if (EndOfUse(BitmapOf(work.OwnHeaderPage())) > 1) return false;
  return head.depth + built.Depth() <= MostLevels;
}

}  // namespace

int StoreBuilt(int file, const BulkBuilder& built) {
  UdbFile* const entry = TheEngine().files.Find(file);
  if (entry == nullptr) return -1;
  WorkFile& work = TheEngine().work;
  return AttemptGuarded(
      *entry, Hold::Changing,
      [&] {
        if (!MayTake(work, built)) return 1;
        const BuiltPages& pages = built.Pages();
        for (std::uint32_t n = 1; n < pages.Count();) {
          const Bytes stretch = pages.StretchFrom(n);
          work.WriteBytes(std::uint64_t{n} * PageSize, stretch);
          n += static_cast<std::uint32_t>(stretch.size() / PageSize);
        }
        built.Describe(work.Head(), work.OwnHeaderPage());
        work.MarkDirty();
        work.SaveHeader();
        return 0;
      },
      // No page of it stays given out: what page 0 was to become is forgotten with the rest.
      [&] {
        if (work.FoundDamage()) work.SaveHeader();
      });
}

}  // namespace store

using namespace store;  // NOLINT: the face stands at top level

class SortedLoad::State {
 public:
  explicit State(const std::string& path) : file(udbOpen(path.c_str(), 2, report.failure)) {
    KEYDESCR key;
    std::uint32_t count = 0;
    if (file < 0 || udbGetKeyDescr(file, key) != 0 || udbGetCount(file, count) != 0) return;
    if (count == 0) builder.emplace(key);
  }
  ~State() {
    if (file >= 0) udbClose(file);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  Answer Add(Bytes record);
  std::uint64_t Taken() const { return builder ? builder->Records() : 0; }
  void Store();
  // 0, 1 or -1 as udbInsert; counted, and after a failure with the words in the report.
  int Insert(Bytes record);

  LoadReport report;
  int file;

 private:
  std::optional<BulkBuilder> builder;
};

SortedLoad::Answer SortedLoad::State::Add(Bytes record) {
  if (!builder) return Answer::Declined;
  switch (builder->Add(record)) {
    case BulkBuilder::Answer::Taken:
      return Answer::Taken;
    case BulkBuilder::Answer::Present:
      return Answer::Present;
    case BulkBuilder::Answer::Unfit:
      return Answer::Refused;
    default:
      return Answer::Declined;
  }
}

int SortedLoad::State::Insert(Bytes record) {
  // The longest that is refused stands for all, whose length might not fit.
  const std::size_t length = std::min<std::size_t>(record.size(), udbMaxRecord);
  const int answer = udbInsert(file, record.data(), static_cast<std::uint32_t>(length));
  if (answer == 0) ++report.stored;
  if (answer == 1) ++report.present;
  if (answer == -1) udbErrorText(file, report.failure);
  return answer;
}

// Whatever is in the way of the short road: records that can be stored one by one are.
void SortedLoad::State::Store() {
  report.done = file >= 0;
  if (!builder) return;
  builder->Finish();
  if (builder->Records() != 0 && StoreBuilt(file, *builder) == 0) {
    report.stored += builder->Records();
  } else {
    builder->ForEach([this](Bytes record) { return report.done = Insert(record) >= 0; });
  }
  builder.reset();
}

SortedLoad::SortedLoad(const std::string& path) : state(std::make_unique<State>(path)) {}

SortedLoad::~SortedLoad() = default;

SortedLoad::Answer SortedLoad::Add(std::span<const unsigned char> record) {
  return state->Add(record);
}

std::uint64_t SortedLoad::Taken() const { return state->Taken(); }

LoadReport SortedLoad::Finish() {
  state->Store();
  return state->report;
}

LoadReport LoadStore(const std::string& path, const RecordSource& next) {
  SortedLoad::State state(path);
  LoadReport& report = state.report;
  auto record = next();
  for (; record; record = next()) {
    const SortedLoad::Answer answer = state.Add(*record);
    if (answer == SortedLoad::Answer::Declined) break;
    if (answer == SortedLoad::Answer::Present) ++report.present;
    if (answer == SortedLoad::Answer::Refused) ++report.refused;
  }
  state.Store();
  std::string unfit;
  udbCodeText(UDB_WRONG_KEY, unfit);
  for (; record && report.done; record = next()) {
    if (state.Insert(*record) >= 0) continue;
    report.done = report.failure == unfit;
    if (report.done) ++report.refused;
  }
  if (report.done) report.failure.clear();
  return report;
}
