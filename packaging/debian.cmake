# cpack -G DEB: one package for the library, one to build against it, one for the tool, one for
# what it finds faces with, one for Java and one for Python.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelvane)
set(CPACK_PACKAGE_CONTACT "The Kelvane developers <kelvane@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Image analysis for camera applications")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENTS_ALL library development)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libkelvane3)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
    "Says which frame of a burst is the best shot, how sharp an image is, and what
moved between two frames.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkelvane-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkelvane3 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "The header of libkelvane3, which is also its manual, and what CMake and
pkg-config need to find the library.")

set(license_components libkelvane3:library libkelvane-dev:development)
if(TARGET kelvane-tool)
  list(APPEND CPACK_COMPONENTS_ALL tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kelvane-tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libkelvane3 (>= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_TOOLS_DESCRIPTION
      "The command kelvane ranks the frames of a burst or a video, scores pictures by
sharpness, and compares and filters them.")
  list(APPEND license_components kelvane-tools:tools)
endif()

if(TARGET kelvane-faces)
  list(APPEND CPACK_COMPONENTS_ALL faces)
  set(CPACK_DEBIAN_FACES_PACKAGE_NAME kelvane-faces)
  set(CPACK_DEBIAN_FACES_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_FACES_PACKAGE_DEPENDS "kelvane-tools (= ${PROJECT_VERSION}), libdlib-data")
  set(CPACK_DEBIAN_FACES_DESCRIPTION
      "Lets the command kelvane find the faces of a burst, and whose eyes are closed
in which frame.")
  list(APPEND license_components kelvane-faces:faces)
endif()

if(KELVANE_BUILD_JAVA)
  list(APPEND CPACK_COMPONENTS_ALL java)
  set(CPACK_DEBIAN_JAVA_PACKAGE_NAME libkelvane-java)
  set(CPACK_DEBIAN_JAVA_PACKAGE_SECTION java)
  set(CPACK_DEBIAN_JAVA_PACKAGE_DEPENDS "libkelvane3 (>= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_JAVA_DESCRIPTION
      "The package org.kelvane: bursts, blur scores, alignment and changed regions of
frames in direct byte buffers.")
  list(APPEND license_components libkelvane-java:java)
endif()

if(KELVANE_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-kelvane)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
      "libkelvane3 (>= ${PROJECT_VERSION}), ${KELVANE_PYTHON_DEPENDS}")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS # for kelvane-archive
      "kelvane-tools, python3-distributed, python3-fsspec, python3-pil")
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION
      "The package kelvane: bursts, blur scores, alignment and changed regions on NumPy
arrays, and the ranking of files as data.")
  list(APPEND license_components python3-kelvane:python)
endif()

foreach(entry ${license_components})
  string(REPLACE ":" ";" entry ${entry})
  list(GET entry 0 package)
  list(GET entry 1 component)
  install(FILES copyright COMPONENT ${component}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package})
endforeach()

include(CPack)
