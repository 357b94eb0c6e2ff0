# Debian packages, made by `cpack` in the build folder: libqatester0, libqatester-dev, qatester and,
# where the bindings are built, python3-qatester. scripts/check-packages holds them.
#
# The library's SONAME is libqatester.so.MAJOR. A dependent needs at least the version that it was
# built with, and, as long as MAJOR is 0, none of the next MINOR: before 1.0 a new MINOR may change
# the binary interface, a new PATCH only adds to it. From 1.0 on a new MAJOR alone may change it,
# and with it come another SONAME and another package, libqatester1.
set(QATESTER_LIBRARY_PACKAGE libqatester${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  math(EXPR next "${PROJECT_VERSION_MINOR} + 1")
  set(QATESTER_BREAKS_AT 0.${next})
else()
  math(EXPR next "${PROJECT_VERSION_MAJOR} + 1")
  set(QATESTER_BREAKS_AT ${next})
endif()
set(QATESTER_PACKAGE_CONTACT "qatester maintainers <qatester@packages.invalid>" CACHE STRING
    "Who maintains the Debian packages: a name and a mail address")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qatester)
set(CPACK_PACKAGE_VENDOR "")
set(CPACK_PACKAGE_CONTACT ${QATESTER_PACKAGE_CONTACT})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# The first line of each package's own description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 0)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL library development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE OFF)
set(CPACK_DEBIAN_PACKAGE_SOURCE qatester)
set(package_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(files ${PROJECT_BINARY_DIR}/debian)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${QATESTER_LIBRARY_PACKAGE})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "automated QA tests of finished media files - library
libqatester tests programme material as it is delivered: container, pictures
and sound of a whole file, against the limits of a profile.

This package has the shared library.")
# Written before packing, when the library is there. The trigger has the loader's cache made anew.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${files}/symbols ${files}/shlibs ${files}/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqatester-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${QATESTER_LIBRARY_PACKAGE} (= ${package_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libavcodec-dev, libboost-thread-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "automated QA tests of finished media files - development files
libqatester tests programme material as it is delivered: container, pictures
and sound of a whole file, against the limits of a profile.

This package has the headers, files for CMake's find_package and for
pkg-config, and examples. The headers of the media classes need those of
libavcodec and of Boost's threads as well; those of the tester do not.")

if(TARGET qatester_cli)
  list(APPEND CPACK_COMPONENTS_ALL client)
  set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME qatester)
  set(CPACK_DEBIAN_CLIENT_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_CLIENT_PACKAGE_SUGGESTS bash-completion)
  set(CPACK_DEBIAN_CLIENT_DESCRIPTION "automated QA tests of finished media files
qatester tests programme material as it is delivered: container, pictures and
sound of a whole file, against the limits of a profile, such as those of EBU
R 128 and R 103. It prints a table, writes reports for other programs, and
ends with an exit code for scripts.")
endif()

if(TARGET qatester_python)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-qatester)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  # The module is of this version of the interpreter's binary interface.
  math(EXPR next_python "${Python3_VERSION_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "python3 (>= 3.${Python3_VERSION_MINOR}~), python3 (<< 3.${next_python})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${files}/postinst ${files}/prerm)
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION "automated QA tests of finished media files - Python bindings
qatester tests programme material as it is delivered: container, pictures and
sound of a whole file, against the limits of a profile.

This package has the Python module qatester, whose reports are those of the
client, as dictionaries.")
endif()

# What a package has to depend on is found out there, too.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/DebianFiles.cmake)
# For that script.
set(CPACK_QATESTER_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_QATESTER_FILES ${files})
set(CPACK_QATESTER_VERSION ${PROJECT_VERSION})
set(CPACK_QATESTER_PACKAGE_VERSION ${package_version})
set(CPACK_QATESTER_LIBRARY_PACKAGE ${QATESTER_LIBRARY_PACKAGE})
set(CPACK_QATESTER_SO_VERSION ${PROJECT_VERSION_MAJOR})
set(CPACK_QATESTER_BREAKS_AT ${QATESTER_BREAKS_AT})
include(CPack)
