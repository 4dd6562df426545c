# ARM of 32 bits with Debian 13 and its cross compiler (g++-arm-linux-gnueabihf of trixie); `time_t` has 64 bits.
#
#   tools/arm/make-sysroot armhf-time64 && cmake --preset armhf-time64 && cmake --build --preset armhf-time64

set(RUXOGPS_TARGET armhf-time64)
set(RUXOGPS_TRIPLET arm-linux-gnueabihf)
set(RUXOGPS_EMULATOR qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/arm-debian.cmake)

# As Debian builds everything for armhf from trixie on. The C library and libgps have both widths behind one header: who
# builds without these flags has a record of another size than libgps fills.
set(CMAKE_C_FLAGS_INIT "-D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64")
# g++ would tell of each argument that was passed otherwise before its version 7.1.
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -Wno-psabi")
