# Builds for Windows on x86-64 by MinGW-w64, here on Linux, and runs what was built under Wine.
#
# Packages are searched in two places alone: the one of the compiler, and CORVIDNUM_WINDOWS_PACKAGES, a prefix that
# holds what Debian does not have for Windows: GoogleTest, the headers of CLI11, fmt and toml++, and LAPACK.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triple x86_64-w64-mingw32)
# The variant with threads of its own library for POSIX: the other one has no std::thread.
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_Fortran_COMPILER ${triple}-gfortran-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)

set(CORVIDNUM_WINDOWS_PACKAGES "" CACHE PATH "Prefix of the packages for Windows that Debian does not have")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CORVIDNUM_WINDOWS_PACKAGES)

set(CMAKE_FIND_ROOT_PATH /usr/${triple} ${CORVIDNUM_WINDOWS_PACKAGES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's own libraries become part of each file, so that no DLL of the compiler has to go with them.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static")
endforeach()

# Programs take zlib into themselves, too: this is what FindZLIB asks for.
set(ZLIB_USE_STATIC_LIBS ON)

# Windows looks for a program's DLLs beside it.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# Debian puts Wine's own program outside the search path.
find_program(CORVIDNUM_WINE NAMES wine64 wine PATHS /usr/lib/wine DOC "Runs programs for Windows")
if(CORVIDNUM_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CORVIDNUM_WINE})
endif()
