include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Flags of every target of ours, and of nobody who links to us.
add_library(qatester_flags INTERFACE)
target_compile_options(qatester_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion
  $<$<CXX_COMPILER_ID:GNU>:-Wshadow=compatible-local>
  -Wnon-virtual-dtor -Woverloaded-virtual -Werror
  # Arithmetic that clients compare bit for bit: no fused multiply-add, no reordering.
  -ffp-contract=off
  -fstack-protector-strong)
target_compile_definitions(qatester_flags INTERFACE
  $<$<NOT:$<CONFIG:Release>>:_GLIBCXX_ASSERTIONS>)
target_link_options(qatester_flags INTERFACE
  -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
if(NOT QATESTER_SANITIZE OR NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  # What a library built with clang's sanitizers calls is in the programs.
  # Modules call the program that loads them.
  target_link_options(qatester_flags INTERFACE
    $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>>:-Wl,--no-undefined>)
endif()

if(QATESTER_SANITIZE)
  add_compile_options(-fsanitize=${QATESTER_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QATESTER_SANITIZE})
  # Vector code takes them long to compile: the least instruction set and a usual one are enough.
  add_compile_definitions(HWY_DISABLED_TARGETS=\(HWY_SSSE3|HWY_SSE4|HWY_AVX3|HWY_AVX3_DL\))
  # The sanitizers' own code confuses the warning, also inside headers of the standard library.
  target_compile_options(qatester_flags INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  if(QATESTER_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
else()
  # The compiler of a distribution may bring a level of its own.
  target_compile_options(qatester_flags INTERFACE
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE>
    # It needs an optimiser.
    $<$<AND:$<CONFIG:Release>,$<NOT:$<BOOL:$<TARGET_PROPERTY:QATESTER_UNOPTIMISED>>>>:-D_FORTIFY_SOURCE=2>)
endif()

# With QATESTER_BUNDLES the sources of a target are compiled in a few bundles, so that headers are
# read and templates filled in a few times only. Without, each is compiled with just what it
# includes; so is what is shipped.
function(qatester_bundle target)
  if(QATESTER_BUNDLES)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 7)
  endif()
endfunction()
# Sources of the calling folder that use a name of another one's for a thing of their own.
function(qatester_compile_alone)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
