# Links with LLVM's linker where it is installed: GNU's takes more than a minute for each test program, this one a
# second. MinGW-w64's compiler of Debian calls GNU's whatever it is told, so that clang calls the linker.
find_program(TARN_LLD ld.lld)
find_program(TARN_LINK_DRIVER clang++)
if(TARN_LLD AND TARN_LINK_DRIVER)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
        OUTPUT_VARIABLE compiler_library OUTPUT_STRIP_TRAILING_WHITESPACE)
    get_filename_component(compiler_libraries ${compiler_library} DIRECTORY)
    string(JOIN " " CMAKE_CXX_LINK_EXECUTABLE ${TARN_LINK_DRIVER} --target=x86_64-w64-mingw32 -fuse-ld=lld
        -B${compiler_libraries} -L${compiler_libraries} <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES> -lpthread)
endif()
# The same holds for the index of an archive.
find_program(TARN_LLVM_AR NAMES llvm-ar llvm-ar-14 PATHS /usr/lib/llvm-14/bin)
if(TARN_LLVM_AR)
    set(CMAKE_CXX_ARCHIVE_CREATE "${TARN_LLVM_AR} qc <TARGET> <OBJECTS>")
    set(CMAKE_CXX_ARCHIVE_APPEND "${TARN_LLVM_AR} q <TARGET> <OBJECTS>")
    set(CMAKE_CXX_ARCHIVE_FINISH "${TARN_LLVM_AR} s <TARGET>")
endif()
