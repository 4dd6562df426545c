#!/bin/bash
# A header, a library and flags that don't belong together stop the configuring with a message that names the mend; what
# can't be told doesn't. The names of the 64-bit functions are made up, so that any machine can run this.
#
#   contradictions.sh SOURCE-FOLDER WORK-FOLDER COMPILER
# shellcheck disable=SC2154  # configuring.bash sets `work`, `said` and `failed`
set -u

. "$1/tests/libgps/configuring.bash"

readonly calls_plain_names='#include <time.h>
int gps_read() { return clock_gettime(CLOCK_REALTIME, nullptr); }'
readonly calls_wide_names='extern "C" int __clock_gettime64(int, void*); int gps_read() { return __clock_gettime64(0, nullptr); }'

make_project
make_header today 11.0
make_library today libgps.so.28 "$calls_plain_names"
mkdir "$work/today/lib/pkgconfig"
echo 'Version: 3.22' >"$work/today/lib/pkgconfig/libgps.pc"
make_header wide 14.0
make_library wide libgps.so.30 "$calls_wide_names"
make_header in_between 12.0
make_library in_between libgps.so.29 "$calls_plain_names"
make_header too_new 16.1
make_library too_new libgps.so.28 "$calls_plain_names"
make_header too_old 6.1
make_library too_old libgps.so.29 "$calls_plain_names"
make_header nameless 11.0
make_library nameless "" "int gps_read() { return 0; }"

# What the C library's header does on 32 bits under _TIME_BITS=64.
cat >"$work/wide_time.h" <<'HEADER'
#include <time.h>
extern "C" int clock_gettime(clockid_t, timespec*) noexcept __asm__("__clock_gettime64");
HEADER
wide_flags=(-DCMAKE_CXX_FLAGS="-include $work/wide_time.h" -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY)
plain_flags=(-DCMAKE_CXX_FLAGS= -DCMAKE_TRY_COMPILE_TARGET_TYPE=EXECUTABLE)

expect "a libgps whose parts fit is taken" configure today
expect "its soname is read" contains "$said" "found SONAME=libgps.so.28;"
expect "its API is read" contains "$said" "found API=11.0;"
expect "its release is read" contains "$said" "found RELEASE=3.22;"
expect "the width of time_t is known" contains "$said" "found TIME_BITS=64;"
expect "the record is measured" contains "$said" "found RECORD_SIZE=120;"

expect "64-bit names in the library alone are refused" refused wide
expect "the flags to add are named" contains "$said" \
    "Add to CMAKE_CXX_FLAGS: -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"
expect "the same folder is taken once the flags are mended" configure wide "${wide_flags[@]}"
expect "64-bit names in the build alone are refused" refused today
expect "the flags to remove are named" contains "$said" \
    "Remove from CMAKE_CXX_FLAGS: -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"

expect "a header too new for its library is refused" refused too_new "${plain_flags[@]}"
expect "both are named" contains "$said" "gps.h (API 16.1) and $work/too_new/lib/libgps.so (libgps.so.28)"
expect "a header too old for its library is refused" refused too_old
expect "a soname between the known ones is taken" configure in_between
expect "no release is no complaint" contains "$said" "found RELEASE=;"

expect "a library without a soname is taken" configure nameless
expect "and it is said that nothing was compared" contains "$said" "header and library are not compared"
[[ -z $failed ]] || { echo "the last configuring: $said"; exit 1; }
