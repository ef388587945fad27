// The board of undo records, and which of them is put back when.
#include "store/undo.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace store {

namespace {

// In which layout the memory is: it outlives the program that wrote to it, and what another build
// left there is not to be understood.
constexpr std::uint32_t Layout = 0x756E6405;

constexpr std::size_t KeptBacked = 256U << 10;   // more than an update of tree pages ever needs
constexpr std::size_t AsideLimit = 48U << 20;    // bytes of all records set aside
constexpr int MostAside = int{Host::Areas} - 2;  // the board has an area, and the updates to come

// Takes the update back in the file, if it still is the one whose page 0 the record has. A file
// that was written over, of the same identity, is let be: what was kept means nothing in it. False
// if the file could not be read or mended, or has not even a page 0 now.
bool TakeBackIn(const UndoRecord& broken, VirtualFile& file) {
  const auto same = broken.HasPageZeroOf(file);
  return same && (!*same || broken.PutBack(file));
}

}  // namespace

// A record goes on where it was begun, even if the other kind of memory comes or goes meanwhile.
void UndoLog::Attach(Host& current) {
  const Board* const before = board;
  if (host != &current) board = nullptr;
  host = &current;
  if (waitingFor == host) {
    ownMemory.swap(waiting);
    waitingFor = nullptr;
    inOwnMemory = true;
    board = reinterpret_cast<Board*>(Memory(0, sizeof(Board)));
    standing = 0;
  }
  if (KeepsInOwnMemory()) return;
  if (std::byte* const shared = host->LockedMemory(0, sizeof(Board)); shared != nullptr) {
    board = reinterpret_cast<Board*>(shared);
    inOwnMemory = false;
  } else if (board == nullptr) {
    inOwnMemory = true;
    board = reinterpret_cast<Board*>(Memory(0, sizeof(Board)));
    *board = {};
  }
  if (board != before) standing = 0;
  if (board->layout == Layout) return;
  standing = 0;
  *board = {};
  Publish(board->layout, Layout);
}

void UndoLog::StartAnew(Host& anew) {
  if (host != &anew && KeepsInOwnMemory()) {
    ownMemory.swap(waiting);
    waitingFor = host;
  }
  board = nullptr;
  Attach(anew);
}

std::byte* UndoLog::Memory(unsigned area, std::size_t bytes) {
  if (!inOwnMemory) return host->LockedMemory(area, bytes);
  if (ownMemory[area].size() < bytes) ownMemory[area].resize(bytes);
  return ownMemory[area].data();
}

// With all its stretches. Null if the memory cannot be had now.
UndoRecord* UndoLog::RecordIn(unsigned area) {
  const auto* const head = reinterpret_cast<UndoRecord*>(Memory(area, sizeof(UndoRecord)));
  if (head == nullptr) return nullptr;
  return reinterpret_cast<UndoRecord*>(Memory(area, head->Size()));
}

bool UndoLog::Begin(const Subject& subject, Bytes startOfPage0) {
  const auto area = static_cast<unsigned>(std::countr_one(board->aside | 1U));
  std::byte* block = Memory(area, KeptBacked);
  while (block == nullptr && ForgetOldest()) block = Memory(area, KeptBacked);
  if (block == nullptr) return false;
  const bool again = standing != 0 && standing == board->order &&
                     record == reinterpret_cast<UndoRecord*>(block) &&
                     board->held[area].file == subject.identity && record->HasPath(subject.path) &&
                     record->WasToBegin(startOfPage0.first(HeaderEnd));
  Publish(board->order, board->order + 1);  // nobody goes on from what is written over now
  record = reinterpret_cast<UndoRecord*>(block);
  if (again) {
    record->BeginAgain();
  } else {
    record->Begin(startOfPage0, subject.path);
  }
  board->held[area] = {subject.identity, board->order, 0};
  Publish(board->active, std::uint32_t{area});
  BeginChange(subject.identity);
  return true;
}

void UndoLog::BeginChange(const platform::FileIdentity& file) {
  change.Begin(ChangeCount::Of(*host, file));
}

// Where the record is in memory of this process alone, others may have ended its change meanwhile,
// and come to pages that it took and that the record has nothing of, since they were free.
void UndoLog::TellOf(const UndoRecord& broken) {
  if (inOwnMemory) return change.TellOfAll();
  for (const std::uint16_t page : broken.Pages()) change.Tell(page);
}

// Whether some file of this count is half changed.
bool UndoLog::HasWork(const ChangeCount* count) const {
  for (unsigned n = 1; (OwesAnybody() || Active()) && n < Host::Areas; ++n) {
    if (!IsAside(n) && n != board->active) continue;
    if (ChangeCount::Of(*host, board->held[n].file) == count) return true;
  }
  return false;
}

void UndoLog::EndChange(ChangeCount* count) {
  if (count != nullptr && !HasWork(count)) count->EndAll();
}

// Odd with nobody at work: whoever counted died between his last two steps.
ChangeCount* UndoLog::CountOf(const platform::FileIdentity& file) {
  ChangeCount* const its = ChangeCount::Of(*host, file);
  if (its != nullptr && !ChangeCount::IsStable(its->Now())) EndChange(its);
  return its;
}

// Where the bytes of a stretch are to be copied to; null if there is no memory for them.
std::byte* UndoLog::BeginStretch(std::uint64_t offset, std::size_t length) {
  const std::size_t wanted = record->Size() + UndoRecord::SizeOf(length);
  if (wanted > KeptBacked) {
    std::byte* block = Memory(board->active, wanted);
    while (block == nullptr && ForgetOldest()) block = Memory(board->active, wanted);
    if (block == nullptr) return nullptr;
    record = reinterpret_cast<UndoRecord*>(block);
  }
  return record->BeginStretch(offset, length);
}

bool UndoLog::Keep(VirtualFile& file, std::uint64_t offset, std::size_t length) {
  if (offset >= record->fileSize) return true;
  const auto kept =
      static_cast<std::size_t>(std::min<std::uint64_t>(length, record->fileSize - offset));
  std::byte* const at = BeginStretch(offset, kept);
  if (at == nullptr || file.Read(offset, at, kept) != static_cast<std::ptrdiff_t>(kept)) {
    return false;
  }
  record->EndStretch(kept);
  return true;
}

bool UndoLog::Keep(VirtualFile& file, std::uint64_t offset, Bytes bytes) {
  if (offset >= record->fileSize) return true;
  std::byte* const at = BeginStretch(offset, bytes.size());
  if (at == nullptr) return false;
  std::memcpy(at, bytes.data(), bytes.size());
  if (!file.Sound()) return false;
  record->EndStretch(bytes.size());
  return true;
}

void UndoLog::Drop(bool stands) {
  if (!Active()) return;
  const unsigned area = board->active;
  const bool large = record->Size() > KeptBacked;
  // Who dies between these two leaves an update to be taken back once more; the other way round it
  // would be one that went on and is believed broken.
  if (IsAside(area)) Publish(board->aside, board->aside & ~(1U << area));
  Publish(board->active, std::uint32_t{0});
  standing = stands ? board->order : 0;
  if (!HasWork(change.Count())) change.End();
  if (large && !inOwnMemory) host->TrimLockedMemory(area, KeptBacked);
}

bool UndoLog::Settle(Host& current) {
  Attach(current);
  if (!Active()) return true;
  record = RecordIn(board->active);
  if (record == nullptr) return false;
  BeginChange(board->held[board->active].file);  // it may have died ahead of that
  TellOf(*record);
  if (TakeBack(board->active, *record, record->Path())) {
    Drop();
  } else {
    SetAside();
  }
  return true;
}

// True if the file was found there, and is whole now.
bool UndoLog::TakeBack(unsigned area, const UndoRecord& broken, const std::string& path) {
  int error = 0;
  const auto file = host->Open(path, platform::OpenMode::ReadWrite, platform::Sharing::All, error);
  platform::FileIdentity identity;
  return file != nullptr && file->Identity(identity) && identity == board->held[area].file &&
         TakeBackIn(broken, *file);
}

// The record in work. Aside first, then no longer in work: who dies in between leaves it to be set
// aside once more.
void UndoLog::SetAside() {
  const unsigned area = board->active;
  board->held[area].bytes = record->Size();
  const auto isFull = [&] {
    std::uint64_t sum = record->Size();
    int count = 1;
    for (unsigned n = 1; n < Host::Areas; ++n) {
      if (!IsAside(n) || n == area) continue;
      sum += board->held[n].bytes;
      ++count;
    }
    return sum > AsideLimit || count > MostAside;
  };
  while (isFull() && ForgetOldest()) continue;
  Publish(board->aside, board->aside | 1U << area);
  Publish(board->active, std::uint32_t{0});
}

// False if there is none.
bool UndoLog::ForgetOldest() {
  unsigned oldest = 0;
  for (unsigned n = 1; n < Host::Areas; ++n) {
    if (!IsAside(n) || n == board->active) continue;
    if (oldest == 0 || board->held[n].order < board->held[oldest].order) oldest = n;
  }
  if (oldest == 0) return false;
  ForgetAside(oldest);
  return true;
}

void UndoLog::ForgetAside(unsigned area) {
  Publish(board->aside, board->aside & ~(1U << area));
  EndChange(board->held[area].file);
  if (!inOwnMemory) host->TrimLockedMemory(area, 0);
}

unsigned UndoLog::AreaOf(const platform::FileIdentity& file) const {
  for (unsigned n = 1; OwesAnybody() && n < Host::Areas; ++n) {
    if (IsAside(n) && board->held[n].file == file) return n;
  }
  return 0;
}

bool UndoLog::Mend(const platform::FileIdentity& identity, VirtualFile* file,
                   const std::string& path) {
  const unsigned area = AreaOf(identity);
  if (area == 0) return true;
  const UndoRecord* const broken = RecordIn(area);
  if (broken == nullptr) return false;
  BeginChange(identity);
  TellOf(*broken);
  const bool whole = file != nullptr
                         ? TakeBackIn(*broken, *file)
                         : TakeBack(area, *broken, path) || TakeBack(area, *broken, broken->Path());
  if (whole) ForgetAside(area);
  return whole;
}

void UndoLog::Forget(const platform::FileIdentity& file) {
  ++board->order;  // what was kept of that file's page 0 is nothing to go on from
  if (const unsigned area = AreaOf(file); area != 0) ForgetAside(area);
  BeginChange(file);
  EndChange(file);
}

}  // namespace store
