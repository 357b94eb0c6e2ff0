find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS thread)
find_package(PkgConfig REQUIRED)
pkg_check_modules(FFmpeg REQUIRED IMPORTED_TARGET
                  libavformat>=59 libavcodec>=59 libavutil>=57 libswscale>=6)
