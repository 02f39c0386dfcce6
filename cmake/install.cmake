# What is installed of the library: for programs that run with it (component lib), for building
# programs (dev). The tools and the virtual camera install themselves (tools).
include(CMakePackageConfigHelpers)

install(TARGETS zocam EXPORT zocam
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lib NAMELINK_COMPONENT dev)
install(DIRECTORY include/zocam DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

# find_package(zocam), target zocam::zocam.
set(ZOCAM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zocam)
install(EXPORT zocam NAMESPACE zocam:: FILE zocamTargets.cmake
  DESTINATION ${ZOCAM_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(packaging/zocamConfig.cmake.in
  ${CMAKE_BINARY_DIR}/zocamConfig.cmake INSTALL_DESTINATION ${ZOCAM_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zocamConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zocamConfig.cmake ${CMAKE_BINARY_DIR}/zocamConfigVersion.cmake
  DESTINATION ${ZOCAM_CMAKE_DIR} COMPONENT dev)

configure_file(packaging/zocam.pc.in ${CMAKE_BINARY_DIR}/zocam.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zocam.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# Whoever sits at the machine may use its cameras. Below the prefix, where udev looks when it is /usr.
install(FILES packaging/60-libzocam1.rules DESTINATION lib/udev/rules.d COMPONENT lib)
