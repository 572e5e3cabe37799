# SPDX-License-Identifier: BSD-3-Clause
# Install and export: find_package(KetSDKMesh CONFIG) gives KetSDK::Mesh, KetSDK::MeshSolver, KetSDK::MeshVTK and
# KetSDK::MeshJobs, the last two where VTK is found, and what they need.
include(CMakePackageConfigHelpers)

set(KETSDK_VTK_COMPONENTS "")
if(KETSDK_WITH_VTK)
  foreach(target ketsdk_mesh_vtk ketsdk_mesh_jobs)
    get_target_property(libraries ${target} LINK_LIBRARIES)
    list(FILTER libraries INCLUDE REGEX "^VTK::")
    list(TRANSFORM libraries REPLACE "^VTK::" "")
    list(APPEND KETSDK_VTK_COMPONENTS ${libraries})
  endforeach()
  list(REMOVE_DUPLICATES KETSDK_VTK_COMPONENTS)
  list(JOIN KETSDK_VTK_COMPONENTS " " KETSDK_VTK_COMPONENTS)
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KetSDKMesh)
install(EXPORT KetSDKMeshTargets NAMESPACE KetSDK:: DESTINATION ${package_dir})
configure_package_config_file(cmake/KetSDKMeshConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KetSDKMeshConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KetSDKMeshConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/KetSDKMeshConfig.cmake
  ${PROJECT_BINARY_DIR}/KetSDKMeshConfigVersion.cmake
  DESTINATION ${package_dir})
