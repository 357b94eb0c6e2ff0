include(CMakePackageConfigHelpers)

# Components are packages (cmake/Package.cmake): library, development, client, python.

# Headers keep their rooms: clients write <tester/QATester.h>.
set(QATESTER_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/qatester)
set(QATESTER_INSTALL_PACKAGE ${CMAKE_INSTALL_LIBDIR}/cmake/qatester)

install(TARGETS qatester
  EXPORT qatesterTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  FILE_SET HEADERS DESTINATION ${QATESTER_INSTALL_HEADERS} COMPONENT development)
if(TARGET qatester_cli)
  # The client finds the library beside it, wherever the two are moved to.
  file(RELATIVE_PATH QATESTER_BIN_TO_LIB
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(qatester_cli PROPERTIES INSTALL_RPATH "$ORIGIN/${QATESTER_BIN_TO_LIB}")
  install(TARGETS qatester_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT client)
  install(FILES cli/completion/qatester
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT client)
  install(FILES docs/client.md docs/junit.xsd docs/report.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qatester COMPONENT client)
  install(DIRECTORY docs/checks docs/images DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qatester COMPONENT client)
  if(QATESTER_MAN_PAGE)
    install(FILES ${QATESTER_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT client)
  endif()
endif()

# For people to read and to copy: the library has them within.
install(FILES ${QATESTER_PROFILES}
  DESTINATION ${CMAKE_INSTALL_DATADIR}/qatester/profiles COMPONENT client)

install(FILES docs/library.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libqatester-dev COMPONENT development)
install(FILES examples/CMakeLists.txt examples/minimal.cpp
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libqatester-dev/examples COMPONENT development)
install(EXPORT qatesterTargets
  NAMESPACE qatester:: DESTINATION ${QATESTER_INSTALL_PACKAGE} COMPONENT development)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/qatesterConfig.cmake.in ${PROJECT_BINARY_DIR}/qatesterConfig.cmake
  INSTALL_DESTINATION ${QATESTER_INSTALL_PACKAGE}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qatesterConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/qatesterConfig.cmake
        ${PROJECT_BINARY_DIR}/qatesterConfigVersion.cmake
  DESTINATION ${QATESTER_INSTALL_PACKAGE} COMPONENT development)

# Paths in the .pc file are relative to it, so that the installed tree can be moved.
file(RELATIVE_PATH QATESTER_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/qatester.pc.in ${PROJECT_BINARY_DIR}/qatester.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qatester.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
