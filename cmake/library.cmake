# libzocam: the sources, the version script and what is installed of it.

set(ZOCAM_SOURCES
  core/accessors.cc core/clocks.cc core/file_access.cc core/life_cycle.cc core/locks.cc core/model_profile.cc
  core/moving_average.cc core/status.cc
  device/command_wire.cc device/commands.cc device/connection.cc device/enumeration.cc device/open.cc
  device/reconnect.cc device/sysfs.cc
  capture/capture_control.cc capture/v4l2_requests.cc capture/v4l2_stream.cc
  decode/circumference.cc decode/decode_settings.cc decode/decoder_a.cc decode/decoder_b.cc
  decode/decoder_d.cc decode/noise_filter.cc decode/pipeline.cc decode/raw_frame.cc
  decode/reflection.cc decode/reflection_correction.cc decode/subtraction.cc
  decode/temp_decoders.cc decode/undistortion.cc decode/window_correction.cc
  file/frame_dump.cc file/playback.cc file/reader.cc file/recording_format.cc file/scan.cc
  file/seek.cc file/stream_io.cc file/time_based_gain.cc file/writer.cc
  render/auto_gain.cc render/formats.cc render/frame_statistics.cc render/gain_settings.cc render/grey_expansion.cc
  render/magnify.cc render/manual_gain.cc render/output.cc render/paint.cc render/palettes.cc
  simd/baseline.cc simd/stage_table.cc simd/avx2.cc)  # last: see simd/stage_table.h

# Only what the level's table points to may run these instructions (see simd/stage_table.h).
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$")
  set_source_files_properties(simd/avx2.cc PROPERTIES COMPILE_OPTIONS -mavx2)
endif()

# Compiled once; the shared library and the white-box tests of the pure stages both link it.
add_library(zocam_objects OBJECT ${ZOCAM_SOURCES})
target_link_libraries(zocam_objects PUBLIC zocam_flags Threads::Threads)
target_include_directories(zocam_objects PUBLIC ${CMAKE_SOURCE_DIR}/include)
# Whoever follows a fault into the library finds all of its types and variables.
target_compile_options(zocam_objects PRIVATE $<$<CONFIG:RelWithDebInfo>:-g>)
set_target_properties(zocam_objects PROPERTIES
  UNITY_BUILD OFF  # the order of its files counts
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
math(EXPR ZOCAM_VERSION_NUMBER
  "${PROJECT_VERSION_MAJOR} * 65536 + ${PROJECT_VERSION_MINOR} * 256 + ${PROJECT_VERSION_PATCH}")
set_source_files_properties(core/accessors.cc PROPERTIES
  COMPILE_DEFINITIONS ZOCAM_VERSION_NUMBER=${ZOCAM_VERSION_NUMBER})

add_library(zocam SHARED)
add_library(zocam::zocam ALIAS zocam)
target_link_libraries(zocam PRIVATE zocam_objects)
target_include_directories(zocam PUBLIC
  $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set(ZOCAM_VERSION_SCRIPT ${CMAKE_SOURCE_DIR}/cmake/libzocam.map)
target_link_options(zocam PRIVATE
  -Wl,--version-script=${ZOCAM_VERSION_SCRIPT} -Wl,--no-undefined -Wl,-z,relro -Wl,-z,now)
if(ZOCAM_SANITIZE)
  # The sanitizer runtimes resolve at load time.
  get_target_property(options zocam LINK_OPTIONS)
  list(REMOVE_ITEM options -Wl,--no-undefined)
  set_target_properties(zocam PROPERTIES LINK_OPTIONS "${options}")
endif()
set_target_properties(zocam PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${ZOCAM_VERSION_SCRIPT} LINKER_LANGUAGE CXX)

# The C++ interface is headers that use threads.
target_link_libraries(zocam INTERFACE Threads::Threads)
