# Makes a C++ source of a file's bytes when the build is configured, as often as the file changes: the array `name`
# and the number `name`_size, declared in `header`. Sets `out` to the source's path.
function(tarn_embed_file file name header out)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  file(READ "${file}" bytes HEX)
  string(LENGTH "${bytes}" length)
  math(EXPR length "${length} / 2")
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  set(source "${CMAKE_CURRENT_BINARY_DIR}/embedded/${name}.cpp")
  file(WRITE "${source}.new" "#include \"${header}\"\n\nconst unsigned char ${name}[] = {\n${bytes}};\n"
                             "const std::size_t ${name}_size = ${length};\n")
  execute_process(COMMAND "${CMAKE_COMMAND}" -E copy_if_different "${source}.new" "${source}")
  file(REMOVE "${source}.new")
  set(${out} "${source}" PARENT_SCOPE)
endfunction()
