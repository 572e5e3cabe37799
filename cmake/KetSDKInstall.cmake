# Install and export: find_package(KetSDKMesh CONFIG) gives KetSDK::Mesh and what it needs.
include(CMakePackageConfigHelpers)

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
