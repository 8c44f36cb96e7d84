# Target tarn_lua: the script runtime that TARN_LUA names (luajit, or puc for plain Lua 5.1) with LPeg for it.
# LPeg's static library is the same for both, since both have Lua 5.1's C interface; it comes before the runtime
# on the link line because it calls it.
find_package(PkgConfig REQUIRED)

if(TARN_LUA STREQUAL "luajit")
  pkg_check_modules(TARN_LUAJIT REQUIRED IMPORTED_TARGET luajit)
  set(tarn_lua_runtime PkgConfig::TARN_LUAJIT)
elseif(TARN_LUA STREQUAL "puc")
  # Other systems than Debian call the package lua-5.1 or lua51.
  pkg_search_module(TARN_PUC REQUIRED IMPORTED_TARGET lua5.1 lua-5.1 lua51)
  set(tarn_lua_runtime PkgConfig::TARN_PUC)
else()
  message(FATAL_ERROR "TARN_LUA is \"${TARN_LUA}\"; it must be luajit or puc.")
endif()

find_library(TARN_LPEG_LIBRARY NAMES liblua5.1-lpeg.a lua5.1-lpeg
             DOC "LPeg for Lua 5.1 as a library that exports luaopen_lpeg")
if(NOT TARN_LPEG_LIBRARY)
  message(FATAL_ERROR "LPeg for Lua 5.1 was not found: install lua-lpeg-dev, or set TARN_LPEG_LIBRARY to a "
                      "library that exports luaopen_lpeg.")
endif()

add_library(tarn_lua INTERFACE)
target_link_libraries(tarn_lua INTERFACE "${TARN_LPEG_LIBRARY}" ${tarn_lua_runtime})
