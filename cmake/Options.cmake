# What is built. Inside another project that is the library alone, and nothing is installed.

option(VELOX_PROGRAM "Build the program wrapper" ${PROJECT_IS_TOP_LEVEL})
option(VELOX_INSTALL "Install what is built" ${PROJECT_IS_TOP_LEVEL})
option(VELOX_DEBIAN_DOCUMENTS "Install a Debian package's copyright and changelog, too" OFF)
option(VELOX_TESTS "Build the tests (needs GoogleTest)" OFF)
option(VELOX_EXAMPLES "Build the examples; with the tests on, they are tests too" OFF)
option(VELOX_FUZZING "Build the fuzzers (needs clang)" OFF)
option(VELOX_BENCH "Build the benchmarks (needs Google Benchmark)" OFF)
set(VELOX_SANITIZERS "" CACHE STRING "Sanitizers to build with, such as address,undefined")

# The program kvf alone needs other libraries. It is built where they are found, unless told.
if(PROJECT_IS_TOP_LEVEL OR VELOX_KVF)
  find_package(CLI11 CONFIG QUIET)
  find_package(nlohmann_json CONFIG QUIET)
  find_package(ZLIB QUIET)
endif()
if(CLI11_FOUND AND nlohmann_json_FOUND AND ZLIB_FOUND)
  set(velox_kvf_possible ON)
else()
  set(velox_kvf_possible OFF)
endif()
option(VELOX_KVF "Build the program kvf (needs CLI11, nlohmann-json and zlib)"
       ${velox_kvf_possible})
if(VELOX_KVF AND NOT velox_kvf_possible)
  message(FATAL_ERROR "VELOX_KVF needs CLI11 (found: ${CLI11_FOUND}), nlohmann-json (found: "
                      "${nlohmann_json_FOUND}) and zlib (found: ${ZLIB_FOUND})")
endif()

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, Debug ..." FORCE)
  endif()
endif()
