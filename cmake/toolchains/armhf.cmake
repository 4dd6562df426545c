# ARM of 32 bits with Debian 12 and its cross compiler (g++-arm-linux-gnueabihf); `time_t` has 32 bits.
#
#   tools/arm/make-sysroot armhf && cmake --preset armhf && cmake --build --preset armhf

set(RUXOGPS_TARGET armhf)
set(RUXOGPS_TRIPLET arm-linux-gnueabihf)
set(RUXOGPS_EMULATOR qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/arm-debian.cmake)

# g++ would tell of each argument that was passed otherwise before its version 7.1.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
