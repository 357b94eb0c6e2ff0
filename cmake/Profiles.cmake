# The profiles are settings files. Each one in profiles/ becomes a row of the library's list,
# "general" first, then by name, and is installed as it is.
file(GLOB QATESTER_PROFILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/profiles/*.settings)
list(SORT QATESTER_PROFILES)

# Writes C++ source with the profiles to `output`, anew when a profile changes.
function(qatester_write_profiles template output)
  set(general ${PROJECT_SOURCE_DIR}/profiles/general.settings)
  set(files ${QATESTER_PROFILES})
  list(REMOVE_ITEM files ${general})
  set(QATESTER_PROFILE_ROWS "")
  foreach(file IN LISTS general files)
    get_filename_component(name ${file} NAME_WE)
    file(READ ${file} text)
    string(APPEND QATESTER_PROFILE_ROWS "    {\"${name}\", R\"settings(${text})settings\"},\n")
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${QATESTER_PROFILES})
  configure_file(${template} ${output} @ONLY)
endfunction()
