# The reference of the public headers, where Doxygen is found: the target `docs` writes it to
# BUILD/reference/html. It is installed nowhere.
find_program(DOXYGEN doxygen)
if(NOT DOXYGEN OR NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

get_target_property(headers qatester HEADER_SET)
list(TRANSFORM headers REPLACE "^(.+)$" "\"\\1\"")
string(JOIN " " QATESTER_REFERENCE_HEADERS ${headers})
set(QATESTER_REFERENCE ${PROJECT_BINARY_DIR}/reference)
set(QATESTER_DOXYFILE ${PROJECT_BINARY_DIR}/Doxyfile)
configure_file(${CMAKE_CURRENT_LIST_DIR}/Doxyfile.in ${QATESTER_DOXYFILE} @ONLY)
add_custom_target(docs
  COMMAND ${DOXYGEN} ${QATESTER_DOXYFILE}
  COMMENT "Writing the reference to ${QATESTER_REFERENCE}/html"
  VERBATIM)
