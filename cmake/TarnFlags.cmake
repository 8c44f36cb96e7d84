# Compiler settings of our own targets: linked PRIVATE as tarn_flags, so that they reach no other project.
add_library(tarn_flags INTERFACE)

if(MSVC)
  target_compile_options(tarn_flags INTERFACE /W4 $<$<BOOL:${TARN_WERROR}>:/WX>)
else()
  # Without contraction a float result is the same on every processor.
  target_compile_options(tarn_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -ffp-contract=off
                                              $<$<BOOL:${TARN_WERROR}>:-Werror>)
  # What a program does not use of the library takes no memory in it.
  target_compile_options(tarn_flags INTERFACE -ffunction-sections -fdata-sections)
  if(NOT APPLE)
    target_link_options(tarn_flags INTERFACE -Wl,--gc-sections)
  endif()
endif()

if(TARN_SANITIZE)
  target_compile_options(tarn_flags INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined
                                              -fno-omit-frame-pointer)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # instrumented code makes it warn about the standard library
    target_compile_options(tarn_flags INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_link_options(tarn_flags INTERFACE -fsanitize=address,undefined)
  set(is_program "$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>")
  foreach(source keep_modules sanitizer_options)
    target_sources(tarn_flags INTERFACE "$<${is_program}:${CMAKE_CURRENT_LIST_DIR}/${source}.cpp>")
  endforeach()
endif()
