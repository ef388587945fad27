// MapFactory: who makes the maps of a scheme.
//
// A URI names a map: a scheme, "://" and a path. The factories stand in a chain, the standard one
// ("std://", store files) first; the first that matches the scheme makes the map. A text without
// "://" belongs to the standard prefix (IndexFile::SetStdPrefix).
#pragma once

#include <string>
#include <vector>

#include "kvorlib/export.h"
#include "kvorlib/keydescr.h"

class PersistentMap;

// What a factory tells of a record in an archive. Only its place is settled; no factory of this
// library fills one in.
struct ArchiveRecord {
  std::u16string name;
};

class KVORLIB_API MapFactory {
 public:
  virtual bool get_archive_records(std::u16string const& name, std::vector<ArchiveRecord>& records);
  // Whether `cmd` is a command of these maps (PersistentMap::extra_command) or of this factory.
  virtual bool is_valid_command(int cmd);
  // Whether maps under `prefix`, a text like "std://", are made here.
  virtual bool match_prefix(char const* prefix) = 0;
  // Each makes a new map, which the list of maps takes over. A failure is a map at level 3 with the
  // words, or null. `kd` is the layout that the caller has in mind.
  virtual PersistentMap* open_map(char const* uri, bool readOnly, KEYDESCR* kd) = 0;
  virtual PersistentMap* create_map(char const* uri, int flag, KEYDESCR* kd) = 0;
  // Spare: nothing calls it.
  virtual bool spare_one(void* arg);
  // Command 6 stores the length of the longest record at `arg`, as 32 bits.
  virtual bool system_command(int cmd, void* arg);
  // Spare: nothing calls these two.
  virtual bool spare_two(void* first, void* second);
  virtual bool spare_three();
  virtual ~MapFactory();

  MapFactory(MapFactory const&) = delete;
  MapFactory& operator=(MapFactory const&) = delete;

 protected:
  MapFactory() = default;
};

// A factory that takes its place at the end of the chain when it is made.
class KVORLIB_API StaticMapFactory : public MapFactory {
 public:
  // Leaves the chain, if it has not yet.
  ~StaticMapFactory() override;

  // Destroys every map that this factory made, whoever holds it, and takes the factory out of the
  // chain. A factory whose maps call it back when they die calls this in its own destructor.
  void leave_chain();
  // The factory behind this one in the chain, or null.
  StaticMapFactory* get_next() const { return next; }
  // The first factory of the chain.
  static StaticMapFactory* get_first();

 protected:
  StaticMapFactory();

  // The library's own factory is linked while the library is being built up, before all others.
  struct LibraryStart {};
  explicit StaticMapFactory(LibraryStart);

 private:
  void Link();

  StaticMapFactory* next = nullptr;
};

// The end of the persistent layers: destroys every open map, whoever holds it, and unloads the
// plug-ins. Files and cursors on these maps answer as closed from then on; new files may be opened,
// which may load plug-ins again.
KVORLIB_API void udbShutDown();
