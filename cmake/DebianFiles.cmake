# Run by cpack when everything is staged, before it packs: what Debian's policy wants beside the
# files that an installation has, and what dpkg is told of the library.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(documents ${CPACK_TEMPORARY_DIRECTORY}/debian-documents)

# The date of the change that is packed, so that a package can be made again: that of
# SOURCE_DATE_EPOCH, of the last commit, or of the file that tells of changes.
set(time "$ENV{SOURCE_DATE_EPOCH}")
if(time STREQUAL "")
  execute_process(COMMAND git -c safe.directory=* -C ${CPACK_QATESTER_SOURCE} log -1 --format=%ct
    OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(time STREQUAL "")
  file(TIMESTAMP ${CPACK_QATESTER_SOURCE}/CHANGELOG.md time %s UTC)
endif()
execute_process(COMMAND date -u -R -d @${time} OUTPUT_VARIABLE date
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

file(MAKE_DIRECTORY ${documents})
file(WRITE ${documents}/changelog.Debian "\
qatester (${CPACK_QATESTER_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_QATESTER_VERSION}; CHANGELOG.md of the source says what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
run(gzip -9nf ${documents}/changelog.Debian)
execute_process(COMMAND date -u +%Y -d @${time} OUTPUT_VARIABLE year
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
# The owner has chosen no licence yet: nothing else can be said.
file(WRITE ${documents}/copyright "\
qatester: automated QA tests of finished media files

Copyright (C) ${year} the authors of qatester

All rights reserved: no licence has been granted. These packages are for
machines of the owner's own.
")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(usr ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  file(COPY ${documents}/changelog.Debian.gz ${documents}/copyright
    DESTINATION ${usr}/share/doc/${package})
  file(GLOB pages ${usr}/share/man/man*/*)
  foreach(page IN LISTS pages)
    run(gzip -9nf ${page})
  endforeach()
endforeach()
file(REMOVE_RECURSE ${documents})

# The loader finds the library where the packages put it.
file(GLOB programs ${CPACK_TEMPORARY_DIRECTORY}/client/usr/bin/*
  ${CPACK_TEMPORARY_DIRECTORY}/python/usr/lib/python3/dist-packages/qatester/*.so)
foreach(program IN LISTS programs)
  file(RPATH_REMOVE FILE ${program})
endforeach()

# What the compiler calls itself, which stripping leaves.
file(GLOB_RECURSE shared ${CPACK_TEMPORARY_DIRECTORY}/library/usr/lib/libqatester.so.${CPACK_QATESTER_VERSION})
foreach(program IN LISTS programs shared)
  run(strip --remove-section=.comment ${program})
endforeach()

# What a program that is linked to the library depends on. Whoever calls a symbol needs the version
# that it was linked with: names of C++ say nothing of the layout of what they take.
set(name ${CPACK_QATESTER_LIBRARY_PACKAGE})
set(library ${CPACK_TEMPORARY_DIRECTORY}/library)
file(REMOVE_RECURSE ${CPACK_QATESTER_FILES})
set(control ${CPACK_QATESTER_FILES}/scratch)
file(WRITE ${control}/debian/control "\
Source: qatester

Package: ${name}
Architecture: any
")
set(symbols ${CPACK_QATESTER_FILES}/symbols)
execute_process(
  COMMAND dpkg-gensymbols -c0 -p${name} -v${CPACK_QATESTER_VERSION} -P${library} -e${shared} -O${symbols}
  WORKING_DIRECTORY ${control} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(READ ${symbols} list)
set(bound "${name} (<< ${CPACK_QATESTER_BREAKS_AT}~)")
string(REPLACE "${name} #MINVER#" "${name} #MINVER#, ${bound}\n* Build-Depends-Package: libqatester-dev"
  list "${list}")
file(WRITE ${symbols} "${list}")
file(WRITE ${CPACK_QATESTER_FILES}/shlibs
  "libqatester ${CPACK_QATESTER_SO_VERSION} ${name} (>= ${CPACK_QATESTER_VERSION}), ${bound}\n")
file(WRITE ${CPACK_QATESTER_FILES}/triggers "activate-noawait ldconfig\n")

# Python's files are compiled where they are installed, and what came of that goes with them.
file(WRITE ${CPACK_QATESTER_FILES}/postinst "\
#!/bin/sh
set -e
if command -v py3compile >/dev/null 2>&1; then
  py3compile -p python3-qatester
fi
")
file(WRITE ${CPACK_QATESTER_FILES}/prerm "\
#!/bin/sh
set -e
if command -v py3clean >/dev/null 2>&1; then
  py3clean -p python3-qatester
fi
")

# What each package depends on: packages of the libraries that its programs are linked to, in the
# versions that its symbols need. The library's own is found beside them, with the list from above.
file(COPY ${symbols} DESTINATION ${library}/DEBIAN)
file(WRITE ${library}/DEBIAN/control "Package: ${name}\nVersion: ${CPACK_QATESTER_PACKAGE_VERSION}\n")
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  file(GLOB_RECURSE programs
    ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/bin/*
    ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/lib/*.so*)
  list(FILTER programs EXCLUDE REGEX "/libqatester[.]so([.]${CPACK_QATESTER_SO_VERSION})?$")
  if(programs)
    # By this folder it knows where the package begins.
    file(MAKE_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY}/${component}/DEBIAN)
    execute_process(COMMAND dpkg-shlibdeps -O -S${library} ${programs}
      WORKING_DIRECTORY ${control} OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE
      COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE "^.*shlibs:Depends=" "" depends "${depends}")
    if(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS)
      string(APPEND depends ", ${CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS}")
    endif()
    # cpack reads it after this script.
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}")
  endif()
endforeach()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  file(REMOVE_RECURSE ${CPACK_TEMPORARY_DIRECTORY}/${component}/DEBIAN)
endforeach()
