set(triplet arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(emulator qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
