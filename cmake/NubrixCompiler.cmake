# How everything here is compiled: language, warnings, visibility, sanitizers.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# What is compiled once is not compiled again in another checkout: no path of this one goes into an
# object, neither here nor by definitions of whole targets. ccache reads its settings from the
# environment. Where it cannot write, its home folder being read-only, it is left out.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
find_program(NUBRIX_CCACHE ccache)
if(NUBRIX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
      CCACHE_INODECACHE=1
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${NUBRIX_CCACHE})
  execute_process(COMMAND ${launcher} ${CMAKE_CXX_COMPILER} -x c++ -c /dev/null
                          -o ${PROJECT_BINARY_DIR}/ccache.o
                  RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
  if(NOT failed)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
  endif()
endif()

option(NUBRIX_WERROR "Make warnings errors" OFF)
set(NUBRIX_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined or thread")

add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Wconversion
                    -Wcast-align$<$<CXX_COMPILER_ID:GNU>:=strict> -ffp-contract=off
                    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
add_compile_definitions(_FILE_OFFSET_BITS=64)
if(NUBRIX_WERROR)
  add_compile_options(-Werror)
endif()

# RUNPATH, not RPATH: a folder in the library path comes first (this is how an unmodified
# application gets the virtual camera).
add_link_options(-Wl,--enable-new-dtags)
if(NOT NUBRIX_FUZZ)  # Clang's sanitizers are in the programs alone
  add_link_options(-Wl,--no-undefined)
endif()

if(NUBRIX_SANITIZE)
  add_compile_options(-fsanitize=${NUBRIX_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  # The leak checker may take thread-local storage that a loaded library got from the heap at the
  # start of a page for something else, and crash.
  add_compile_options(-ftls-model=initial-exec)
  add_link_options(-fsanitize=${NUBRIX_SANITIZE})
endif()

# What the fuzzer watches; tests/fuzz links it.
option(NUBRIX_FUZZ "Build the fuzz targets with libFuzzer in place of the tests (clang)" OFF)
if(NUBRIX_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    message(FATAL_ERROR "NUBRIX_FUZZ needs clang++")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
  # What watches is in the program, also for the libraries that it uses.
  add_link_options(-Wl,-z,undefs)
endif()
