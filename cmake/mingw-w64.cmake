# Cross-build for Windows x86-64 with mingw-w64.  The libraries come from the prefix that scripts/windows-deps fills;
# programs that a build or a test runs go through Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The -posix variant: only it has the standard library's threads and mutexes.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(NOT DEFINED TAMBA_WINDOWS_PREFIX)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/windows-deps --where
    OUTPUT_VARIABLE TAMBA_WINDOWS_PREFIX OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
set(CMAKE_FIND_ROOT_PATH ${TAMBA_WINDOWS_PREFIX} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run;${CMAKE_BINARY_DIR}/wine)
