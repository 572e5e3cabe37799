# SPDX-License-Identifier: BSD-3-Clause
# The page of `ketmesh view`: npm brings what view/package-lock.json names, esbuild makes one file of the sources,
# and that becomes a source of C++. All of it lies in the build folder. Sets KETSDK_PAGE_SOURCE.
find_program(KETSDK_NPM npm)
set(has_npm OFF)
if(KETSDK_NPM)
  set(has_npm ON)
endif()
option(KETSDK_WITH_PAGE "Build the page of ketmesh view (needs npm and its registry)" ${has_npm})

set(view ${PROJECT_SOURCE_DIR}/view)
set(KETSDK_PAGE_FOLDER ${PROJECT_BINARY_DIR}/view)
if(KETSDK_WITH_PAGE)
  if(NOT KETSDK_NPM)
    message(FATAL_ERROR "the page of ketmesh view needs npm; -DKETSDK_WITH_PAGE=OFF builds without it")
  endif()
  find_program(KETSDK_NODE NAMES node nodejs REQUIRED)
  # Only the tests need the development packages.
  set(omit $<$<NOT:$<BOOL:${KETSDK_BUILD_TESTS}>>:--omit=dev>)
  add_custom_command(
    OUTPUT ${KETSDK_PAGE_FOLDER}/node_modules/.package-lock.json
    COMMAND ${CMAKE_COMMAND} -E copy ${view}/package.json ${view}/package-lock.json ${KETSDK_PAGE_FOLDER}
    COMMAND ${KETSDK_NPM} ci --ignore-scripts --no-audit --no-fund --loglevel=error "${omit}"
    COMMAND ${CMAKE_COMMAND} -E touch ${KETSDK_PAGE_FOLDER}/node_modules/.package-lock.json
    DEPENDS ${view}/package.json ${view}/package-lock.json
    WORKING_DIRECTORY ${KETSDK_PAGE_FOLDER} COMMENT "Installing what the page is made of (npm ci)"
    COMMAND_EXPAND_LISTS VERBATIM)
  file(MAKE_DIRECTORY ${KETSDK_PAGE_FOLDER})
  file(GLOB_RECURSE page_sources CONFIGURE_DEPENDS ${view}/src/* ${view}/build.mjs)
  add_custom_command(
    OUTPUT ${KETSDK_PAGE_FOLDER}/PageTemplate.cpp
    COMMAND ${KETSDK_NODE} ${view}/build.mjs ${KETSDK_PAGE_FOLDER} ${PROJECT_VERSION}
    DEPENDS ${page_sources} ${KETSDK_PAGE_FOLDER}/node_modules/.package-lock.json
    COMMENT "Making the page of ketmesh view" VERBATIM)
  set(KETSDK_PAGE_SOURCE ${KETSDK_PAGE_FOLDER}/PageTemplate.cpp)
else()
  message(STATUS "ketmesh view: the page is not built (npm is missing)")
  set(KETSDK_PAGE_SOURCE ${KETSDK_PAGE_FOLDER}/NoPage.cpp)
  file(CONFIGURE OUTPUT ${KETSDK_PAGE_SOURCE} CONTENT [[
#include <KetSDK/MeshJobs/detail/PageTemplate.h>

namespace KetSDK::MeshJobs::Detail {

PageTemplate GetPageTemplate() {
    return {};
}

} // namespace KetSDK::MeshJobs::Detail
]] @ONLY)
endif()
