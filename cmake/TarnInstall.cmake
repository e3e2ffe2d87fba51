# The package that other projects find with find_package(TarnFoundation).
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/TarnFoundation)
install(EXPORT TarnFoundationTargets NAMESPACE TarnFoundation:: DESTINATION ${package_dir})
set(resource_dir ${CMAKE_INSTALL_DATADIR}/TarnFoundation/Resources)
install(DIRECTORY TarnFoundation/Resources/ DESTINATION ${resource_dir})
configure_package_config_file(cmake/TarnFoundationConfig.cmake.in
    ${PROJECT_BINARY_DIR}/TarnFoundationConfig.cmake INSTALL_DESTINATION ${package_dir} PATH_VARS resource_dir)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarnFoundationConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/TarnFoundationConfig.cmake
    ${PROJECT_BINARY_DIR}/TarnFoundationConfigVersion.cmake
    DESTINATION ${package_dir})
