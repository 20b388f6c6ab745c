# Cross build for the gateway's ARM (Debian armhf) with Debian's cross compiler, against the
# sysroot of Debian armhf packages that scripts/cross makes; target programs, the unit tests among
# them, run through qemu-arm with that sysroot as their root for libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(VEXA_CROSS_TRIPLET arm-linux-gnueabihf)

if(NOT DEFINED ENV{VEXA_SYSROOT})
  message(FATAL_ERROR "VEXA_SYSROOT names the armhf sysroot (scripts/cross armhf makes it)")
endif()
set(CMAKE_SYSROOT $ENV{VEXA_SYSROOT})

set(CMAKE_C_COMPILER ${VEXA_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VEXA_CROSS_TRIPLET}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${CMAKE_SYSROOT})

set(CMAKE_FIND_ROOT_PATH ${CMAKE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config answers from the sysroot's .pc files, with the sysroot before every path.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/${VEXA_CROSS_TRIPLET}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
