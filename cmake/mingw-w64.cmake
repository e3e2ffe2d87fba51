# Compiles for 64-bit Windows with MinGW-w64 (POSIX threads, which the standard library's need) and runs what was built
# with Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static) # programs that need no libraries of the compiler beside them
set(CMAKE_USER_MAKE_RULES_OVERRIDE_CXX ${CMAKE_CURRENT_LIST_DIR}/mingw-w64-link.cmake)

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian's `wine` looks for the 32-bit one first, and says so; this is the program itself.
find_program(TARN_WINE NAMES wine64 wine PATHS /usr/lib/wine)
if(TARN_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${TARN_WINE})
endif()
