# MinGW-w64 with POSIX threads; the plain alternative is the win32 thread model, which has no std::thread.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZU_WINDOWS_SYSROOT)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${ZU_WINDOWS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Libraries built by scripts/windows-sysroot, and none of this system's.
set(ENV{PKG_CONFIG_LIBDIR} "${ZU_WINDOWS_SYSROOT}/lib/pkgconfig")
