# Debian packages: libzocam1 (to run), libzocam-dev (to build), zocam-tools (the commands),
# python3-zocam, gstreamer1.0-zocam, libzocam-doc. Built by scripts/package, whose preset installs
# into /usr.
set(ZOCAM_MAINTAINER "The zocam developers <maintainers@zocam.invalid>" CACHE STRING "Of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zocam)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${ZOCAM_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL lib dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${ZOCAM_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
file(WRITE ${CMAKE_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# One Debian changelog for all, from the project's own.
execute_process(COMMAND date -uR -r ${CMAKE_SOURCE_DIR}/CHANGELOG.md
  OUTPUT_VARIABLE changelog_date OUTPUT_STRIP_TRAILING_WHITESPACE)
file(WRITE ${CMAKE_BINARY_DIR}/debian/changelog.Debian
  "zocam (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n"
  "  * See CHANGELOG.md of the sources.\n\n"
  " -- ${ZOCAM_MAINTAINER}  ${changelog_date}\n")
execute_process(COMMAND gzip -9nf ${CMAKE_BINARY_DIR}/debian/changelog.Debian)

# zocam_package(component name section description): the package that a component becomes.
function(zocam_package component name section description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${description}" PARENT_SCOPE)
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/copyright
    ${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endfunction()

set(exact_library "libzocam1 (= ${PROJECT_VERSION}-1)")
zocam_package(lib libzocam1 libs "Library for a family of small USB thermal cameras
 Finds the cameras, talks to their firmware, streams their raw frames and turns
 them into temperature images and pictures; records streams and plays them back.")
zocam_package(dev libzocam-dev libdevel "Thermal camera library: files for development
 Headers for C and C++, and what pkg-config and CMake need to find libzocam.")
set(CPACK_DEBIAN_LIB_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/debian/triggers)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${exact_library}")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
if(ZOCAM_BUILD_TOOLS AND ZOCAM_BUILD_SIM)
  list(APPEND CPACK_COMPONENTS_ALL tools)
  zocam_package(tools zocam-tools video "Commands for a family of small USB thermal cameras
 zocam lists cameras, takes pictures, measures temperatures, shows them live,
 records, plays and exports. zocam-sim runs any program with virtual cameras.")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${exact_library}")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "ffmpeg")
endif()
if(ZOCAM_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  zocam_package(python python3-zocam python "Thermal camera library: Python package
 Frames of thermal cameras and of their recordings as numpy arrays:
 temperatures, pictures, telemetry. With type hints, and python3 -m zocam.")
  # The extension module is one for this series of the interpreter.
  math(EXPR next_minor "${ZOCAM_PYTHON_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${exact_library}, python3-numpy, \
python3 (>= 3.${ZOCAM_PYTHON_MINOR}), python3 (<< 3.${next_minor}~)")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "zocam-tools, python3-dask, \
python3-distributed, python3-zarr")
  foreach(script postinst prerm)
    configure_file(packaging/python3-zocam.${script} debian/python3/${script} COPYONLY)
    list(APPEND python_scripts ${CMAKE_BINARY_DIR}/debian/python3/${script})
  endforeach()
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${python_scripts}")
endif()
if(ZOCAM_GSTREAMER)
  list(APPEND CPACK_COMPONENTS_ALL gstreamer)
  zocam_package(gstreamer gstreamer1.0-zocam video "Thermal camera library: GStreamer source
 zocamsrc gives cameras as live video and their recordings as video that can be
 sought: pictures, or 16-bit temperature images.")
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_DEPENDS "${exact_library}")
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SUGGESTS "zocam-tools, gstreamer1.0-tools, \
gstreamer1.0-plugins-good")
endif()
if(ZOCAM_BUILD_DOCS)
  list(APPEND CPACK_COMPONENTS_ALL doc)
  zocam_package(doc libzocam-doc doc "Thermal camera library: documentation
 The reference manual, how-tos and examples of libzocam.")
  set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_DOC_PACKAGE_SHLIBDEPS OFF)
endif()
include(CPack)
