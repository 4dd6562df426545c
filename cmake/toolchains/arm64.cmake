# ARM of 64 bits with Debian 12 and its cross compiler (g++-aarch64-linux-gnu).
#
#   tools/arm/make-sysroot arm64 && cmake --preset arm64 && cmake --build --preset arm64

set(RUXOGPS_TARGET arm64)
set(RUXOGPS_TRIPLET aarch64-linux-gnu)
set(RUXOGPS_EMULATOR qemu-aarch64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/arm-debian.cmake)
