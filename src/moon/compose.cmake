# Composes the MoonScript compiler's modules into one Lua text of package.preload entries and writes a text as a
# C++ byte array. Composing sets tarn_moon_text (the text) and tarn_moon_files (the files it was made from).

# The modules in their order in the text; what a compiler version has beyond these follows them.
set(TARN_MOON_MODULES
    moonscript.transform.names moonscript.transform.destructure moonscript moonscript.version moonscript.util
    moonscript.transform moonscript.parse moonscript.line_tables moonscript.errors moonscript.types
    moonscript.compile moonscript.data moonscript.dump moonscript.compile.statement moonscript.compile.value
    moon moon.all)

# Adds the modules beyond the fixed ones to the list `modules`, but not those of the compiler's command line.
macro(tarn_moon_add_extras)
  set(extras ${ARGN})
  list(REMOVE_ITEM extras ${TARN_MOON_MODULES})
  list(FILTER extras EXCLUDE REGEX "^moonscript\\.cmd\\.")
  set(modules ${TARN_MOON_MODULES} ${extras})
endmacro()

# The file of a module below a directory: its init.lua, else its own .lua; empty when there is neither.
function(tarn_moon_find out dir module)
  string(REPLACE "." "/" path "${module}")
  set(${out} "" PARENT_SCOPE)
  foreach(file "${dir}/${path}/init.lua" "${dir}/${path}.lua")
    if(EXISTS "${file}")
      set(${out} "${file}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
endfunction()

# Appends a file as a module. Every line is indented, the empty one behind the last line end too.
macro(tarn_moon_add_file module file)
  file(READ "${file}" body)
  string(REPLACE "\n" "\n  " body "${body}")
  string(APPEND tarn_moon_text "package.preload['${module}'] = function()\n  ${body}\nend\n")
  list(APPEND tarn_moon_files "${file}")
endmacro()

# Appends a module of `packaged`, a text of modules in this same form.
macro(tarn_moon_add_packaged module)
  string(FIND "${packaged}" "package.preload['${module}'] = function()\n" start)
  if(start EQUAL -1)
    message(FATAL_ERROR "The packaged MoonScript compiler has no module ${module}.")
  endif()
  string(SUBSTRING "${packaged}" ${start} -1 body)
  string(FIND "${body}" "\nend\n" length)
  math(EXPR length "${length} + 5")
  string(SUBSTRING "${body}" 0 ${length} body)
  string(APPEND tarn_moon_text "${body}")
endmacro()

# Ends the text with running the main module and hands the results to the caller.
macro(tarn_moon_finish)
  string(APPEND tarn_moon_text "package.preload[\"moonscript\"]()\n")
  set(tarn_moon_text "${tarn_moon_text}" PARENT_SCOPE)
  set(tarn_moon_files "${tarn_moon_files}" PARENT_SCOPE)
endmacro()

# Composes from an upstream checkout.
function(tarn_moon_from_checkout dir)
  set(tarn_moon_text "")
  set(tarn_moon_files "")
  file(GLOB_RECURSE found RELATIVE "${dir}" "${dir}/moonscript/*.lua" "${dir}/moon/*.lua")
  list(TRANSFORM found REPLACE "(/init)?\\.lua$" "")
  list(TRANSFORM found REPLACE "/" ".")
  tarn_moon_add_extras(${found})
  foreach(module IN LISTS modules)
    tarn_moon_find(file "${dir}" ${module})
    if(NOT file)
      message(FATAL_ERROR "MOONSCRIPT_DIR is \"${dir}\", which has no file for MoonScript's module ${module}.")
    endif()
    tarn_moon_add_file(${module} "${file}")
  endforeach()
  tarn_moon_finish()
endfunction()

# Composes from a packaged text; modules that have a file below `ours` come from there.
function(tarn_moon_from_package text_file ours)
  set(tarn_moon_text "")
  set(tarn_moon_files "")
  file(READ "${text_file}" packaged)
  string(REGEX MATCHALL "package\\.preload\\['[^']+'\\]" found "${packaged}")
  list(TRANSFORM found REPLACE ".*'(.+)'.*" "\\1")
  tarn_moon_add_extras(${found})
  foreach(module IN LISTS modules)
    tarn_moon_find(file "${ours}" ${module})
    if(file)
      tarn_moon_add_file(${module} "${file}")
    else()
      tarn_moon_add_packaged(${module})
    endif()
  endforeach()
  tarn_moon_finish()
endfunction()

# Writes a file's bytes as a C++ source; one that would not change keeps its time, so nothing is built again.
function(tarn_moon_byte_array text_file source)
  file(READ "${text_file}" bytes HEX)
  string(LENGTH "${bytes}" length)
  math(EXPR length "${length} / 2")
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  file(WRITE "${source}.new"
       "// Made from moonscript.lua when the build was configured.\n#include \"moonscript.h\"\n\n"
       "const unsigned char moonscript_lua[] = {\n${bytes}};\n"
       "const std::uint32_t moonscript_lua_len = ${length};\n")
  execute_process(COMMAND "${CMAKE_COMMAND}" -E copy_if_different "${source}.new" "${source}")
  file(REMOVE "${source}.new")
endfunction()
