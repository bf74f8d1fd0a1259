set(triplet arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(emulator qemu-arm-static)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)  # compilers before GCC 7, whose calls differ, know no C++20
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
