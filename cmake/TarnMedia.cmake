# The generators of media/, and the target "media" that runs them.
find_package(PkgConfig REQUIRED)
pkg_check_modules(FREETYPE REQUIRED IMPORTED_TARGET freetype2)

set(TARN_FONT "/usr/share/fonts/truetype/open-sans/OpenSans-Semibold.ttf"
    CACHE FILEPATH "The font that media/textures/font.png is drawn from (Debian package fonts-open-sans)")
set(media "${CMAKE_CURRENT_SOURCE_DIR}/media")

foreach(generator font textures meshes sounds)
  add_executable(make_${generator} src/tools/make_${generator}.cpp)
  target_link_libraries(make_${generator} PRIVATE tarncore tarn_flags)
endforeach()
target_link_libraries(make_font PRIVATE PkgConfig::FREETYPE)

add_custom_target(media
  COMMAND ${CMAKE_COMMAND} -E make_directory "${media}/textures" "${media}/geom" "${media}/sounds" "${media}/music"
  COMMAND make_font "${TARN_FONT}" "${media}/textures/font.png"
  COMMAND make_textures "${media}/textures"
  COMMAND make_meshes "${media}/geom"
  COMMAND make_sounds "${media}"
  COMMENT "Making media/"
  VERBATIM)
