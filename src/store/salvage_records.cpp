// Telling whole records from broken ones in a damaged store file.
#include "store/salvage_records.h"

#include <algorithm>
#include <array>

#include "store/udb.h"

namespace store {

RecordSaver::RecordSaver(ExaminedFile& source, int target, std::uint32_t sourceVersion,
                         const KEYDESCR& layout, SalvageReport& result)
    : from(source),
      to(target),
      version(sourceVersion),
      key(layout),
      report(result),
      bytesToRead(16 * source.Size() + (std::uint64_t{1} << 26)) {}

RecordSaver::Verdict RecordSaver::Insert(Bytes bytes, std::string& reason) {
  const int answer = udbInsert(to, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  if (answer == 0) return Verdict::Saved;
  if (answer == 1) {
    ++report.older;
    return Verdict::Older;
  }
  udbErrorText(to, reason);
  std::string unfit;
  udbCodeText(UDB_WRONG_KEY, unfit);
  if (reason == unfit) return Verdict::Broken;
  report.failure = reason;
  return Verdict::Stop;
}

// Loads the run at `first` into `record` if it is whole and bears this key.
bool RecordSaver::LoadRun(std::uint32_t first, std::uint32_t runVersion, Bytes entryKey,
                          std::string& reason) {
  const std::uint64_t at = std::uint64_t{first} * PageSize;
  std::array<std::uint8_t, 8> head{};
  if (!from.Read(at, head.data(), head.size())) {
    reason = Words("page ", first, " cannot be read");
    return false;
  }
  const RunPrefix prefix = RunPrefix::Load(head.data(), runVersion);
  const std::uint32_t pages = RunPages(runVersion, prefix.length);
  if (prefix.length >= udbMaxRecord || !from.Holds(first, pages)) {
    reason = Words("the run at page ", first, " has an impossible length");
    return false;
  }
  // The key is compared before the whole is read: a wrong guess costs little.
  const std::uint64_t body = at + RunPrefix::SizeFor(runVersion);
  const std::size_t reach = static_cast<std::size_t>(std::max<int>(key.offset, 0)) + MaxKey;
  record.resize(std::min<std::size_t>(prefix.length, reach));
  if (!from.Read(body, record.data(), record.size())) {
    reason = Words("the run at page ", first, " cannot be read");
    return false;
  }
  const auto found = KeyIn(key, record);
  if (!found || !std::ranges::equal(*found, entryKey)) {
    reason = Words("the run at page ", first, " has another key");
    return false;
  }
  if (prefix.length > bytesToRead) {
    reason = "too many records claim the same pages";
    return false;
  }
  bytesToRead -= prefix.length;
  record.resize(prefix.length);
  if (!from.Read(body, record.data(), record.size())) {
    reason = Words("the run at page ", first, " cannot be read");
    return false;
  }
  if (Checksum(record) != prefix.checksum) {
    reason = Words("the checksum of the run at page ", first, " is wrong");
    if (runVersion == version) brokenRuns.set(first);
    return false;
  }
  for (std::uint32_t n = first; n < first + pages; ++n) claimed.set(n);
  return true;
}

std::optional<Bytes> RecordSaver::WholeExternal(const Entry& entry, std::string& reason) {
  const std::uint32_t first = entry.Child();
  const auto entryKey = entry.Key(key);
  if (!entryKey || first == 0 || first >= MaxPages || !from.Holds(first, 1)) {
    reason = entryKey ? Words("the record's run would lie at page ", first, " of no such file")
                      : "the entry does not hold its key whole";
    return std::nullopt;
  }
  if (savedRuns.test(first) || brokenRuns.test(first)) {
    reason = Words("the run at page ", first, " is that of another record, or broken");
    return std::nullopt;
  }
  const std::uint32_t other = version == OldVersion ? CurrentVersion : OldVersion;
  std::string second;
  if (LoadRun(first, version, *entryKey, reason) || LoadRun(first, other, *entryKey, second)) {
    savedRuns.set(first);
    return Bytes(record);
  }
  return std::nullopt;
}

RecordSaver::Verdict RecordSaver::Save(const Entry& entry, std::string& reason) {
  if (entry.Form() == EntryForm::Key) {
    const auto whole = WholeExternal(entry, reason);
    return whole ? Insert(*whole, reason) : Verdict::Broken;
  }
  const Bytes bytes = entry.Payload();
  if (Checksum(bytes) != entry.Checksum()) {
    reason = "the checksum of the record is wrong";
    return Verdict::Broken;
  }
  if (!entry.Key(key)) {
    reason = "the record does not hold its key whole";
    return Verdict::Broken;
  }
  return Insert(bytes, reason);
}

}  // namespace store
