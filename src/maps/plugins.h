// Plug-ins: shared libraries whose factories serve further schemes. The one place where the
// persistent layers ask the knowledge-base environment.
#pragma once

#include <optional>

class MapCursor;
class MapFactory;

namespace maps {

// The factory of the plug-in that is named for `scheme` ("mem" of "mem://"), loaded if it was not;
// null if it cannot be had. Nothing when no plug-in is named.
std::optional<MapFactory*> FindPlugin(char const* scheme);

// Ends every plug-in: its maps, its factories, and the module, unless somebody still has a cursor
// of it. Such a module is unloaded at a later call of this or of FindPlugin.
void UnloadPlugins();

// To be told of each cursor that a map hands out, and of its end, since its code may be that of a
// module.
void CursorHandedOut(MapCursor const* cursor, MapFactory const* factory);
void CursorGone(MapCursor const* cursor);

}  // namespace maps
