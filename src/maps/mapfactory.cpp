// What factories answer by themselves, and the chain in which they stand.
#include "kvorlib/mapfactory.h"

#include <cstdint>
#include <cstring>

#include "maps/library.h"

namespace {

constexpr int longestRecordCommand = 6;
constexpr std::uint32_t longestRecord = 0xFFFFFF;

// Before any code runs, so that a factory may be made while the library is being built up.
constinit StaticMapFactory* first = nullptr;

}  // namespace

MapFactory::~MapFactory() = default;

bool MapFactory::get_archive_records(std::u16string const& /*name*/,
                                     std::vector<ArchiveRecord>& /*records*/) {
  return false;
}

bool MapFactory::is_valid_command(int cmd) { return cmd == longestRecordCommand; }

bool MapFactory::spare_one(void* /*arg*/) { return true; }

bool MapFactory::system_command(int cmd, void* arg) {
  if (cmd != longestRecordCommand || arg == nullptr) return false;
  std::memcpy(arg, &longestRecord, sizeof longestRecord);
  return true;
}

bool MapFactory::spare_two(void* /*first*/, void* /*second*/) { return true; }

bool MapFactory::spare_three() { return true; }

StaticMapFactory* StaticMapFactory::get_first() { return first; }

// The library is built up first: so the standard factory heads the chain, and the list of maps
// outlives every other factory.
StaticMapFactory::StaticMapFactory() {
  maps::TheLibrary();
  Link();
}

StaticMapFactory::StaticMapFactory(LibraryStart) { Link(); }

void StaticMapFactory::Link() {
  StaticMapFactory** link = &first;
  while (*link != nullptr) link = &(*link)->next;
  *link = this;
}

StaticMapFactory::~StaticMapFactory() { leave_chain(); }

void StaticMapFactory::leave_chain() {
  maps::TheLibrary().list.DestroyMadeBy(this);
  StaticMapFactory** link = &first;
  while (*link != nullptr && *link != this) link = &(*link)->next;
  if (*link == this) *link = next;
  next = nullptr;
}
