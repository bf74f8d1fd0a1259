# What the files beside this one share; each sets `triplet`, `CMAKE_SYSTEM_PROCESSOR` and `emulator`.
#
# CMAKE_SYSROOT is the box's root folder, with the headers and libraries of the dependencies; without it those of
# Debian's multiarch packages on this machine are used. With the emulator of qemu-user-static the tests run here.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_STRIP ${triplet}-strip)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/lib/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

find_program(VKT_EMULATOR ${emulator})
if(VKT_EMULATOR AND CMAKE_SYSROOT)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${VKT_EMULATOR} -L ${CMAKE_SYSROOT})
endif()
