# SPDX-License-Identifier: BSD-3-Clause
# Finds the hash library xxHash (0.8 or newer, for XXH3) and gives xxHash::xxhash.
#
# Its own CMake package is preferred; distributions mostly build it without one.
find_package(xxHash CONFIG QUIET)
if(TARGET xxHash::xxhash)
  set(xxHash_FOUND TRUE)
  return()
endif()

find_path(xxHash_INCLUDE_DIR NAMES xxh3.h)
find_library(xxHash_LIBRARY NAMES xxhash)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(xxHash REQUIRED_VARS xxHash_LIBRARY xxHash_INCLUDE_DIR)
if(xxHash_FOUND AND NOT TARGET xxHash::xxhash)
  add_library(xxHash::xxhash UNKNOWN IMPORTED)
  set_target_properties(xxHash::xxhash PROPERTIES
    IMPORTED_LOCATION "${xxHash_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${xxHash_INCLUDE_DIR}")
endif()
mark_as_advanced(xxHash_INCLUDE_DIR xxHash_LIBRARY)
