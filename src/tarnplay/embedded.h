// Files that the program carries inside itself; the build makes their bytes from the sources' own files.
#pragma once

#include <cstddef>

extern const unsigned char live_lua[]; ///< live.lua
extern const std::size_t live_lua_size;
extern const unsigned char livemerge_lua[]; ///< livemerge.lua
extern const std::size_t livemerge_lua_size;
extern const unsigned char livesnapshot_lua[]; ///< livesnapshot.lua
extern const std::size_t livesnapshot_lua_size;
extern const unsigned char overlay_font[]; ///< the engine's font texture, a PNG file
extern const std::size_t overlay_font_size;
