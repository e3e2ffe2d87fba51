# The package that other projects find with find_package(TarnFoundation) and, without CMake, with pkg-config.
include(CMakePackageConfigHelpers)

set(components Core)
if(TARN_BUILD_ENGINE)
    list(APPEND components Engine)
endif()
if(TARN_BUILD_FORMATS)
    list(APPEND components Formats)
endif()
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/TarnFoundation)
set(resource_dir ${CMAKE_INSTALL_DATADIR}/TarnFoundation/Resources)
install(DIRECTORY TarnFoundation/Resources/ DESTINATION ${resource_dir})
foreach(component IN LISTS components)
    install(EXPORT TarnFoundation${component}Targets NAMESPACE TarnFoundation:: DESTINATION ${package_dir})
endforeach()
configure_package_config_file(cmake/TarnFoundationConfig.cmake.in
    ${PROJECT_BINARY_DIR}/TarnFoundationConfig.cmake INSTALL_DESTINATION ${package_dir} PATH_VARS resource_dir)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarnFoundationConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/TarnFoundationConfig.cmake
    ${PROJECT_BINARY_DIR}/TarnFoundationConfigVersion.cmake
    DESTINATION ${package_dir})

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_prefix "/prefix/${pkgconfig_dir}" /prefix)
# What a shared library is linked with, its users need not name.
set(private "")
if(BUILD_SHARED_LIBS)
    set(private .private)
endif()
foreach(component IN LISTS components)
    get_property(files GLOBAL PROPERTY TARN_LIBRARIES_OF_${component})
    list(REVERSE files)
    list(TRANSFORM files PREPEND -l)
    list(JOIN files " " libraries)
    set(file tarnfoundation.pc)
    if(component STREQUAL "Engine")
        set(file tarnfoundation-engine.pc)
    elseif(component STREQUAL "Formats")
        set(file tarnfoundation-formats.pc)
    endif()
    configure_file(cmake/${file}.in ${PROJECT_BINARY_DIR}/${file} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${file} DESTINATION ${pkgconfig_dir})
endforeach()
