# One folder, one target. Sources and headers are whatever lies in the folder (and the named sub-folders).

add_library(TarnOptions INTERFACE)
target_compile_options(TarnOptions INTERFACE -Wall -Wextra -Wpedantic -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Sources that are compiled together look to it like headers.
    target_compile_options(TarnOptions INTERFACE -Wno-subobject-linkage)
endif()
if(MINGW)
    # Sources that are compiled together have more sections than its usual object files hold.
    target_compile_options(TarnOptions INTERFACE -Wa,-mbig-obj)
endif()
if(TARN_SANITIZE)
    target_compile_options(TarnOptions INTERFACE -fsanitize=${TARN_SANITIZE} -fno-sanitize-recover=all)
    target_link_options(TarnOptions INTERFACE -fsanitize=${TARN_SANITIZE})
endif()
if(TARN_BUILD_FUZZERS)
    target_compile_options(TarnOptions INTERFACE -fsanitize=fuzzer-no-link)
endif()

# tarn_of_this_system(LIST): takes sources out of the list that are for other systems by their names, which end in
# Windows or POSIX (for tests before Tests).
function(tarn_of_this_system list)
    set(other Windows)
    if(WIN32)
        set(other POSIX)
    endif()
    list(FILTER ${list} EXCLUDE REGEX "${other}(Tests)?\\.cpp$")
    set(${list} ${${list}} PARENT_SCOPE)
endfunction()

# tarn_add_module(NAME [COMPONENT component] [FOLDERS folder...] [DEPENDS target...] [PRIVATE_DEPENDS target...])
# makes the library NAME from this folder, exported as TarnFoundation::NAME and installed with its headers, as a part of
# the package's component (Core unless told). DEPENDS are the modules that sources include and what headers need,
# PRIVATE_DEPENDS what sources alone do.
function(tarn_add_module name)
    cmake_parse_arguments(ARG "" "COMPONENT" "FOLDERS;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    if(NOT ARG_COMPONENT)
        set(ARG_COMPONENT Core)
    endif()
    set(globs *.cpp *.h)
    foreach(folder IN LISTS ARG_FOLDERS)
        list(APPEND globs ${folder}/*.cpp ${folder}/*.h)
    endforeach()
    file(GLOB sources CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${globs})
    tarn_of_this_system(sources)
    set(scope PUBLIC)
    if(sources MATCHES "\\.cpp")
        add_library(${name} ${sources})
        # The library's file: tarn_ and the name in small letters, once.
        string(REGEX REPLACE "([a-z])([A-Z])" "\\1_\\2" file ${name})
        string(REGEX REPLACE "([A-Z])([A-Z][a-z])" "\\1_\\2" file ${file})
        string(TOLOWER ${file} file)
        string(REGEX REPLACE "^tarn_" "" file ${file})
        string(PREPEND file tarn_)
        set_target_properties(${name} PROPERTIES
            OUTPUT_NAME ${file}
            VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
            INSTALL_RPATH "$ORIGIN"
            DEFINE_SYMBOL ""
            WINDOWS_EXPORT_ALL_SYMBOLS ON)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # clang would hide what headers declare and sources define
            set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden)
        endif()
        target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:TarnOptions> ${ARG_PRIVATE_DEPENDS})
        # For its pkg-config file; what is linked comes after what links it.
        set_property(GLOBAL APPEND PROPERTY TARN_LIBRARIES_OF_${ARG_COMPONENT} ${file})
    else()
        set(scope INTERFACE)
        add_library(${name} INTERFACE)
        target_sources(${name} PRIVATE ${sources})
    endif()
    add_library(TarnFoundation::${name} ALIAS ${name})
    target_compile_features(${name} ${scope} cxx_std_20)
    target_include_directories(${name} ${scope}
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/TarnFoundation>)
    target_link_libraries(${name} ${scope} ${ARG_DEPENDS})
    set_property(GLOBAL APPEND PROPERTY TARN_MODULES ${name})
    set_property(GLOBAL PROPERTY TARN_DEPENDS_OF_${name} ${ARG_DEPENDS})

    install(TARGETS ${name} EXPORT TarnFoundation${ARG_COMPONENT}Targets)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    install(DIRECTORY . DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/TarnFoundation/${folder}
        FILES_MATCHING PATTERN "*.h")
endfunction()
