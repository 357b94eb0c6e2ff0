find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS thread)
find_package(PkgConfig REQUIRED)
pkg_check_modules(FFmpeg REQUIRED IMPORTED_TARGET
                  libavformat>=59 libavcodec>=59 libavutil>=57 libswscale>=6)
find_package(PNG REQUIRED)
pkg_check_modules(TurboJpeg REQUIRED IMPORTED_TARGET libturbojpeg)
pkg_check_modules(Highway REQUIRED IMPORTED_TARGET libhwy>=1.0.3)

# Debian installs neither a package file nor a .pc file of OpenCV with these libraries.
find_path(OPENCV_INCLUDE_DIR opencv2/core/core_c.h PATH_SUFFIXES opencv4 REQUIRED)
foreach(module IN ITEMS core imgproc highgui)
  find_library(OPENCV_${module}_LIBRARY opencv_${module} REQUIRED)
  add_library(OpenCV::${module} UNKNOWN IMPORTED)
  set_target_properties(OpenCV::${module} PROPERTIES
    IMPORTED_LOCATION ${OPENCV_${module}_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${OPENCV_INCLUDE_DIR})
endforeach()
