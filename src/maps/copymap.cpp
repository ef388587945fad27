// Copying one map into another, by their URIs.
#include <cstring>
#include <memory>

#include "kvorlib/encoding.h"
#include "kvorlib/errors.h"
#include "kvorlib/messages.h"
#include "maps/library.h"
#include "maps/maps.h"

namespace maps {

namespace {

constexpr int utf8Page = 65001;

bool HasPrefix(char const* uri) { return std::strstr(uri, "://") != nullptr; }

// Lets go of a map even if the host's report throws.
struct Closer {
  void operator()(PersistentMap* map) const { CloseMap(map); }
};
using OpenedMap = std::unique_ptr<PersistentMap, Closer>;

// The target as it stands, emptied. Null if it is not there or cannot be emptied: then it has been
// destroyed.
OpenedMap ClearedTarget(char const* uri, ProcessMess* mess, KEYDESCR* kd) {
  OpenedMap map(OpenMap(uri, false, kd));
  if (map == nullptr) return nullptr;
  if (map->is_usable()) {
    if (map->clear()) return map;
    if (mess != nullptr)
      mess->AddMessage(u"Cannot clear target file " + A2U(map->get_uri(), utf8Page));
  }
  TheLibrary().list.Destroy(map.release());
  return nullptr;
}

// A source that breaks off in the middle has not been copied, though the target took all it got.
bool CopyAll(PersistentMap& target, PersistentMap& source, ProcessMess* mess) {
  std::unique_ptr<MapCursor> const walk(source.create_cursor(DataTransfer(), -1));
  return walk != nullptr && target.copy(walk.get(), mess) && !source.has_error();
}

}  // namespace

PersistentMap* CopyMap(char const* target, char const* source, ProcessMess* mess, int flag,
                       KEYDESCR* kd) {
  if (!HasPrefix(target) || !HasPrefix(source)) {
    if (mess != nullptr) mess->AddMessage(u"Source and target names should have prefixes");
    return nullptr;
  }
  // Opened before anything is cleared: a store file that somebody holds cannot be, so that copying
  // a file onto itself, by whatever name, does it no harm.
  OpenedMap const from(OpenMap(source, true, kd));
  OpenedMap map = ClearedTarget(target, mess, kd);
  if (map == nullptr) map.reset(CreateMap(target, flag, kd));
  if (map == nullptr || !map->is_usable()) return map.release();
  bool const readable = from != nullptr && from->is_usable();
  if (!readable || !CopyAll(*map, *from, mess)) map->set_state(ErrData::ERR_ERROR, "Copy error");
  return map.release();
}

}  // namespace maps
