# SPDX-License-Identifier: BSD-3-Clause
# Finds the Verdict mesh-quality functions and gives Verdict::Verdict.
#
# A stand-alone Verdict (header verdict.h, functions in namespace verdict) is preferred. Without it
# the C functions that VTK carries in its own verdict library serve: they are exported under mangled
# names but come without a header, so KETSDK_VERDICT_IN_VTK tells the one adapter header which of
# the two it talks to.
find_package(Verdict CONFIG QUIET)
if(TARGET Verdict::verdict)
  if(NOT TARGET Verdict::Verdict)
    add_library(Verdict::Verdict INTERFACE IMPORTED)
    target_link_libraries(Verdict::Verdict INTERFACE Verdict::verdict)
  endif()
  set(Verdict_FOUND TRUE)
  return()
endif()

find_library(Verdict_VTK_LIBRARY NAMES vtkverdict-9.1 vtkverdict NAMES_PER_DIR)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Verdict REQUIRED_VARS Verdict_VTK_LIBRARY)
if(Verdict_FOUND AND NOT TARGET Verdict::Verdict)
  add_library(Verdict::Verdict UNKNOWN IMPORTED)
  set_target_properties(Verdict::Verdict PROPERTIES
    IMPORTED_LOCATION "${Verdict_VTK_LIBRARY}"
    INTERFACE_COMPILE_DEFINITIONS KETSDK_VERDICT_IN_VTK)
endif()
mark_as_advanced(Verdict_VTK_LIBRARY)
