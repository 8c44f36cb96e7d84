# Where the MoonScript compiler's text comes from, and the function that makes it a C++ source. By default the
# text is taken out of a Debian package, downloaded once per build tree and never installed; MOONSCRIPT_DIR
# names an upstream checkout instead.
include("${CMAKE_CURRENT_LIST_DIR}/../src/moon/compose.cmake")

# Stops with the two ways to get the compiler.
function(tarn_moonscript_missing reason)
  message(FATAL_ERROR
    "The MoonScript compiler could not be fetched: ${reason}\n"
    "Either let apt fetch the package aegisub, which carries it (this needs apt-get, dpkg-deb and package lists "
    "that are up to date: apt-get update), or set -DMOONSCRIPT_DIR=DIR to an upstream MoonScript checkout, of "
    "the tag v0.2.3-2 for example.")
endfunction()

# Downloads the package into an empty directory and sets `out` to the .deb's path.
function(tarn_download_aegisub out dir)
  find_program(TARN_APT_GET apt-get)
  find_program(TARN_DPKG_DEB dpkg-deb)
  mark_as_advanced(TARN_APT_GET TARN_DPKG_DEB)
  if(NOT TARN_APT_GET OR NOT TARN_DPKG_DEB)
    tarn_moonscript_missing("there is no apt-get or no dpkg-deb here.")
  endif()
  message(STATUS "MoonScript: downloading the package aegisub")
  file(REMOVE_RECURSE "${dir}")
  file(MAKE_DIRECTORY "${dir}")
  execute_process(COMMAND "${TARN_APT_GET}" -qq download aegisub WORKING_DIRECTORY "${dir}" TIMEOUT 300
                  RESULT_VARIABLE failed OUTPUT_QUIET ERROR_VARIABLE said ERROR_STRIP_TRAILING_WHITESPACE)
  file(GLOB package "${dir}/aegisub_*.deb")
  if(failed OR NOT package)
    tarn_moonscript_missing("apt-get download aegisub failed (${failed}). ${said}")
  endif()
  set(${out} "${package}" PARENT_SCOPE)
endfunction()

# Provides the compiler's text of the package as the file `text_file`. It gets that name only once it is whole,
# so a configure run that was interrupted is made good by the next one.
function(tarn_fetch_moonscript text_file)
  if(EXISTS "${text_file}")
    return()
  endif()
  get_filename_component(dir "${text_file}" DIRECTORY)
  set(download_dir "${dir}/download")
  tarn_download_aegisub(package "${download_dir}")
  set(member usr/share/aegisub/automation/include/moonscript.lua)
  execute_process(COMMAND "${TARN_DPKG_DEB}" --extract "${package}" "${download_dir}" RESULT_VARIABLE failed
                  ERROR_VARIABLE said ERROR_STRIP_TRAILING_WHITESPACE)
  if(failed OR NOT EXISTS "${download_dir}/${member}")
    tarn_moonscript_missing("the package holds no ${member}. ${said}")
  endif()
  file(RENAME "${download_dir}/${member}" "${text_file}")
  file(REMOVE_RECURSE "${download_dir}")
endfunction()

# Writes moonscript.lua and moonscript_lua.cpp into the build tree and sets `out` to the path of the latter.
function(tarn_embed_moonscript out)
  set(dir "${CMAKE_CURRENT_BINARY_DIR}/moonscript")
  set(ours "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../src/moon")
  if(MOONSCRIPT_DIR)
    tarn_moon_from_checkout("${MOONSCRIPT_DIR}")
    set(origin "${MOONSCRIPT_DIR}")
  else()
    tarn_fetch_moonscript("${dir}/aegisub.lua")
    tarn_moon_from_package("${dir}/aegisub.lua" "${ours}")
    set(origin "the package aegisub")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${tarn_moon_files})

  file(WRITE "${dir}/moonscript.lua" "${tarn_moon_text}")
  file(SIZE "${dir}/moonscript.lua" size)
  message(STATUS "MoonScript: ${size} bytes from ${origin}")
  tarn_moon_byte_array("${dir}/moonscript.lua" "${dir}/moonscript_lua.cpp")
  set(${out} "${dir}/moonscript_lua.cpp" PARENT_SCOPE)
endfunction()
