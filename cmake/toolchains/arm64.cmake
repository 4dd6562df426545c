# ARM of 64 bits with Debian 12 and its cross compiler (g++-aarch64-linux-gnu).
#
#   tools/arm/make-sysroot arm64 && cmake --preset arm64 && cmake --build --preset arm64

set(RUXOGPS_TARGET arm64)
set(RUXOGPS_TRIPLET aarch64-linux-gnu)
set(RUXOGPS_EMULATOR qemu-aarch64)
# Return addresses are signed. The cipher of real processors makes that many times slower under qemu than qemu's own one.
set(RUXOGPS_EMULATOR_OPTIONS -cpu max,pauth-impdef=on)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/arm-debian.cmake)
