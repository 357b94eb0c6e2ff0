# The style and the script of the client's pages, and the plotting library, become one source file:
# a page needs nothing but itself.
find_file(QATESTER_CHART_JS chart.min.js
  PATHS /usr/share/javascript/chart.js /usr/share/nodejs/chart.js/dist
  DOC "Chart.js, of Debian's libjs-chart.js" REQUIRED NO_DEFAULT_PATH)

# Writes C++ source with them to `output`, anew when one of them changes.
function(qatester_write_page_parts template output)
  set(page ${CMAKE_CURRENT_SOURCE_DIR}/page)
  file(READ ${page}/page.css QATESTER_PAGE_STYLE)
  file(READ ${page}/page.js QATESTER_PAGE_SCRIPT)
  file(READ ${QATESTER_CHART_JS} QATESTER_PLOTTING_LIBRARY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${page}/page.css ${page}/page.js ${QATESTER_CHART_JS})
  configure_file(${template} ${output} @ONLY)
endfunction()
