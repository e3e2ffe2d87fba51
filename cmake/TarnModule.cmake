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

# tarn_add_module(NAME [FOLDERS folder...] [DEPENDS target...])
# makes the library NAME from this folder, exported as TarnFoundation::NAME and installed with its headers.
function(tarn_add_module name)
    cmake_parse_arguments(ARG "" "" "FOLDERS;DEPENDS" ${ARGN})
    set(globs *.cpp *.h)
    foreach(folder IN LISTS ARG_FOLDERS)
        list(APPEND globs ${folder}/*.cpp ${folder}/*.h)
    endforeach()
    file(GLOB sources CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${globs})
    tarn_of_this_system(sources)
    add_library(${name} STATIC ${sources})
    add_library(TarnFoundation::${name} ALIAS ${name})
    if(NOT sources MATCHES "\\.cpp")
        set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
    endif()
    target_compile_features(${name} PUBLIC cxx_std_20)
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/TarnFoundation>)
    target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE $<BUILD_INTERFACE:TarnOptions>)

    install(TARGETS ${name} EXPORT TarnFoundationTargets)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    install(DIRECTORY . DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/TarnFoundation/${folder}
        FILES_MATCHING PATTERN "*.h")
endfunction()
