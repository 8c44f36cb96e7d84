# The modules that need no window, with their tests: what can be built and run for a system that we have no
# windowing library, graphics or script runtime for. GoogleTest comes as source (Debian package googletest) and
# is compiled for the target in the build tree.
set(TARN_GTEST_SOURCE "/usr/src/googletest/googletest" CACHE PATH "GoogleTest's sources")
set(portable_modules datablock dirent_shim macroProcessor memoryuse numericfuncs spaceMapper strfuncs tnmath tnq)

set(portable_sources)
set(portable_tests)
foreach(module IN LISTS portable_modules)
  file(GLOB found CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/src/core/${module}.cpp"
                                    "${CMAKE_CURRENT_SOURCE_DIR}/src/core/${module}_*.cpp")
  list(APPEND portable_sources ${found})
  file(GLOB found CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/tests/unit/${module}_test.cpp")
  list(APPEND portable_tests ${found})
endforeach()

add_library(tarnportable STATIC ${portable_sources})
target_include_directories(tarnportable PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}/src/core")
target_link_libraries(tarnportable PRIVATE tarn_flags)

enable_testing()
include(GoogleTest)
add_library(portable_gtest STATIC "${TARN_GTEST_SOURCE}/src/gtest-all.cc" "${TARN_GTEST_SOURCE}/src/gtest_main.cc")
target_include_directories(portable_gtest PRIVATE "${TARN_GTEST_SOURCE}")
target_include_directories(portable_gtest SYSTEM PUBLIC "${TARN_GTEST_SOURCE}/include")

add_executable(portable_tests ${portable_tests} cmake/portable_draw.cpp)
# The tests leave out what draws, runs Lua or is of POSIX only.
target_compile_definitions(portable_tests PRIVATE TARN_PORTABLE_CORE)
target_link_libraries(portable_tests PRIVATE tarnportable tarn_flags portable_gtest)
if(NOT CMAKE_CROSSCOMPILING OR CMAKE_CROSSCOMPILING_EMULATOR)
  gtest_discover_tests(portable_tests NO_PRETTY_VALUES DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endif()
