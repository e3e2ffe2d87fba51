# Checks an installation: CheckPackage.cmake with BUILD_DIR (what is installed), SCRATCH, CONSUMER, EXAMPLES,
# README and COMPILER.
# With SOURCE, builds shared libraries of it in BUILD_DIR before.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN} failed (${status}):\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_output text)
    run(${ARGN})
    if(NOT output MATCHES "${text}")
        message(FATAL_ERROR "${ARGN} printed:\n${output}")
    endif()
endfunction()

set(consumer_prints "C4 is key 60.*there is no such document.*a chord: 1")
set(engine_prints "engine: 1")

if(SOURCE)
    run(${CMAKE_COMMAND} -S ${SOURCE} -B ${BUILD_DIR} -G Ninja -DCMAKE_CXX_COMPILER=${COMPILER} -DBUILD_SHARED_LIBS=ON
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DCMAKE_UNITY_BUILD=ON -DTARN_BUILD_PROGRAMS=OFF
        -DTARN_BUILD_TESTS=OFF -DTARN_BUILD_BENCHMARKS=OFF)
    run(${CMAKE_COMMAND} --build ${BUILD_DIR})
endif()
file(REMOVE_RECURSE ${SCRATCH})
set(prefix ${SCRATCH}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

file(READ ${README} readme)
if(NOT readme MATCHES "```cpp\n([^`]*)```")
    message(FATAL_ERROR "The README has no example in C++")
endif()
file(WRITE ${SCRATCH}/readme.cpp "${CMAKE_MATCH_1}")

set(configure ${CMAKE_COMMAND} -S ${CONSUMER} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_BUILD_TYPE=Debug -DREADME_EXAMPLE=${SCRATCH}/readme.cpp)
run(${configure} -B ${SCRATCH}/core -DCOMPONENTS=Core)
run(${CMAKE_COMMAND} --build ${SCRATCH}/core)
expect_output("${consumer_prints}" ${SCRATCH}/core/consumer)
run(${configure} -B ${SCRATCH}/everything)
run(${CMAKE_COMMAND} --build ${SCRATCH}/everything --target engine)
expect_output("${engine_prints}" ${SCRATCH}/everything/engine)
function(expect_refusal text)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE complaint)
    string(REGEX REPLACE "[ \n]+" " " complaint "${complaint}")
    if(status EQUAL 0 OR NOT complaint MATCHES "${text}")
        message(FATAL_ERROR "${ARGN} printed: ${complaint}")
    endif()
endfunction()
expect_refusal("TarnFoundation has no component Motor, but Core, Engine, Formats and Practice"
    ${configure} -B ${SCRATCH}/unknown "-DCOMPONENTS=Core\;Motor")
run(${configure} -B ${SCRATCH}/optional -DCOMPONENTS=Core -DOPTIONAL_COMPONENTS=Motor)
if(NOT SOURCE) # an engine in a static library is not there without the libraries that it is linked with
    set(without_audio ${CMAKE_COMMAND} -E env PKG_CONFIG_LIBDIR=${SCRATCH} ${configure})
    run(${without_audio} -B ${SCRATCH}/mute -DCOMPONENTS=Core -DOPTIONAL_COMPONENTS=Engine -DWITHOUT_ENGINE=ON)
    expect_refusal("The engine needs sndfile" ${without_audio} -B ${SCRATCH}/mute-engine -DCOMPONENTS=Engine)
    expect_refusal("The engine needs sndfile" ${without_audio} -B ${SCRATCH}/mute-everything)
endif()

execute_process(COMMAND ${SCRATCH}/core/readme WORKING_DIRECTORY ${SCRATCH} RESULT_VARIABLE status)
if(status EQUAL 0 AND EXISTS ${SCRATCH}/song.mid)
    file(READ ${SCRATCH}/song.mid beginning LIMIT 4)
endif()
if(NOT beginning STREQUAL "MThd")
    message(FATAL_ERROR "The README's example wrote no MIDI file")
endif()

# The examples, on a recording that the demo's generator makes; what they save opens in the program.
if(NOT SOURCE)
    run(${BUILD_DIR}/Programs/demo/tarn-demo-song ${SCRATCH}/song.wav)
    run(${CMAKE_COMMAND} -S ${EXAMPLES}/analyze-and-edit -B ${SCRATCH}/example -DCMAKE_PREFIX_PATH=${prefix}
        -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_BUILD_TYPE=Debug)
    run(${CMAKE_COMMAND} --build ${SCRATCH}/example)
    expect_output("bar 2 has 3 beats .was 4.*2 steps"
        ${SCRATCH}/example/analyze-and-edit ${SCRATCH}/song.wav "bar-beats 2 = 3")
    expect_output("Key        D major.*Bars       33" ${prefix}/bin/tarn show ${SCRATCH}/song.tarn)
    file(READ ${SCRATCH}/song.mid midi LIMIT 4)
    file(READ ${SCRATCH}/song.svg picture LIMIT 5)
    if(NOT midi STREQUAL "MThd" OR NOT picture STREQUAL "<?xml" AND NOT picture MATCHES "^<svg")
        message(FATAL_ERROR "The example wrote '${midi}' and '${picture}'")
    endif()
endif()

# The library without CMake.
file(GLOB_RECURSE pc_file ${prefix}/*/tarnfoundation.pc)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
get_filename_component(library_dir ${pc_dir} DIRECTORY)
foreach(use "tarnfoundation;main.cpp;plugin.cpp" "tarnfoundation-engine;engine.cpp")
    list(POP_FRONT use package)
    list(TRANSFORM use PREPEND ${CONSUMER}/)
    run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} pkg-config --cflags --libs ${package})
    separate_arguments(flags UNIX_COMMAND "${output}")
    run(${COMPILER} -std=c++20 ${use} ${flags} -o ${SCRATCH}/${package})
endforeach()
set(with_libraries ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${library_dir})
expect_output("${consumer_prints}" ${with_libraries} ${SCRATCH}/tarnfoundation)
expect_output("${engine_prints}" ${with_libraries} ${SCRATCH}/tarnfoundation-engine)
