# The server, and the page within it: sources of zocam_commands.
find_package(Boost REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)

set(serve ${CMAKE_CURRENT_LIST_DIR})
set(PAGE_TABLE ${CMAKE_CURRENT_BINARY_DIR}/page_files.cc)
file(GLOB PAGE_FILES CONFIGURE_DEPENDS
  ${serve}/page/*.html ${serve}/page/*.css ${serve}/page/*.js ${serve}/page/*.svg)
add_custom_command(OUTPUT ${PAGE_TABLE}
  COMMAND ${CMAKE_COMMAND} -DOUTPUT=${PAGE_TABLE} "-DFILES=${PAGE_FILES}"
    -P ${serve}/embed_page.cmake
  DEPENDS ${PAGE_FILES} ${serve}/embed_page.cmake VERBATIM)

target_sources(zocam_commands PRIVATE
  serve/access.cc serve/api.cc serve/boost_asio.cc serve/camera_station.cc serve/connection.cc
  serve/film_player.cc
  serve/frame_socket.cc serve/jpeg_file.cc serve/picture_stream.cc serve/picture_wish.cc
  serve/recordings_folder.cc serve/serve.cc serve/served_frame.cc serve/server.cc
  serve/source_house.cc serve/source_state.cc serve/station_recording.cc serve/viewers.cc
  ${PAGE_TABLE})
# See boost_asio.cc.
target_compile_definitions(zocam_commands PUBLIC
  BOOST_ASIO_SEPARATE_COMPILATION BOOST_BEAST_SEPARATE_COMPILATION)
target_link_libraries(zocam_commands PUBLIC Boost::headers PkgConfig::TURBOJPEG)
