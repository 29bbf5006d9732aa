# Cross-compiling for 64-bit Windows with mingw-w64. VNT_WINDOWS_PREFIX (variable or environment) is where
# tools/windows/dependencies put the libraries.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

# Of the two thread models only "posix" has std::thread and std::mutex.
set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)
set(CMAKE_AR ${triplet}-gcc-ar-posix CACHE FILEPATH "")
set(CMAKE_RANLIB ${triplet}-gcc-ranlib-posix CACHE FILEPATH "")

set(VNT_WINDOWS_PREFIX "$ENV{VNT_WINDOWS_PREFIX}" CACHE PATH "Libraries built for Windows")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VNT_WINDOWS_PREFIX)
set(CMAKE_FIND_ROOT_PATH "${VNT_WINDOWS_PREFIX}" /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${VNT_WINDOWS_PREFIX}/lib/pkgconfig")

# Windows 10 is the oldest system served.
set(common_flags "-D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00")
set(CMAKE_C_FLAGS_INIT "${common_flags}")
set(CMAKE_CXX_FLAGS_INIT "${common_flags}")
# Nothing but system libraries has to lie beside the programs; the same sources give the same bytes.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp,--tsaware")
