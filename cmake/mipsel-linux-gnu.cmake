# Builds for 32-bit little-endian MIPS with Debian's cross compiler. Headers and libraries come from CMAKE_SYSROOT
# alone; script/cross fills the one that is taken by default.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_LIBRARY_ARCHITECTURE mipsel-linux-gnu)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)

get_filename_component(sysroot ${CMAKE_CURRENT_LIST_DIR}/../build/mipsel-sysroot ABSOLUTE)
set(CMAKE_SYSROOT ${sysroot} CACHE PATH "the root of the board's headers and libraries")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel -L ${CMAKE_SYSROOT})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/mipsel-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
