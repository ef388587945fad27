// What the layer of keyed files asks of the maps: finding the factory of a URI, opening, creating,
// copying and closing maps.
#pragma once

#include <cstdint>

#include "kvorlib/keydescr.h"

class MapFactory;
class PersistentMap;
class ProcessMess;

namespace maps {

// Stands where nobody has named a layout. The store refuses to create a file with it.
inline constexpr KEYDESCR NoLayout(0, 0, -1);

// The factory that serves the URI's prefix, up to and with its first "://": one that is there, or
// the one of the plug-in that the knowledge base of that name asks for; null if that cannot be had.
// A URI without prefix belongs to the standard prefix, and a prefix that nobody serves falls back
// on it. Null if nobody serves that either.
MapFactory* FindFactory(char const* uri);

// Null: no factory. Otherwise the map is the list's, the caller is its one holder, and lets go by
// CloseMap. A map that could not be opened is at level 3 and does not count as open; one that could
// not be created is at level 3 and does.
PersistentMap* OpenMap(char const* uri, bool readOnly, KEYDESCR* kd);
PersistentMap* CreateMap(char const* uri, int flag, KEYDESCR* kd);
// Lets go. False for a map that does not count as open, whether or not it was still there.
bool CloseMap(PersistentMap* map);
// Whether the map counts as open. Any pointer will do, a dead map's too.
bool IsOpenMap(PersistentMap const* map);
// The number of the map among all that were ever made, 0 if it is not there any more.
std::uint64_t MapNumber(PersistentMap const* map);
// The same, 0 also if the map does not count as open.
std::uint64_t OpenMapNumber(PersistentMap const* map);

// Makes `target` hold the records of `source`: clears it, or creates it if it cannot be opened.
// The target, held by the caller, at level 2 if not all was copied; null if there is none. Both
// URIs need their prefixes. `mess` may be null.
PersistentMap* CopyMap(char const* target, char const* source, ProcessMess* mess, int flag,
                       KEYDESCR* kd);

// Runs a command of the factories: of those that serve `prefix`, or of all that know the command if
// it is null. False if one of them refused.
bool RunSystemCommand(int cmd, void* arg, char const* prefix);

}  // namespace maps
