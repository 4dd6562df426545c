#!/bin/bash
# One and the same header lays the record out in two ways where time_t has two widths: each width of the build with each
# width of the library.
#
#   time_widths.sh SOURCE-FOLDER WORK-FOLDER COMPILER-FOR-32-BITS
# shellcheck disable=SC2154  # configuring.bash sets `work`, `said` and `failed`
set -u

. "$1/tests/libgps/configuring.bash"

readonly calls='#include <time.h>
int gps_read() { timespec now; return clock_gettime(CLOCK_REALTIME, &now); }'
readonly narrow="-U_TIME_BITS -U_FILE_OFFSET_BITS"
readonly wide="-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"

make_project
for width in narrow wide silent; do
    make_header $width 14.0
done
# shellcheck disable=SC2086  # flags are words
make_library narrow libgps.so.30 "$calls" $narrow
# shellcheck disable=SC2086
make_library wide libgps.so.30 "$calls" $narrow $wide
# The name of a report's member is no call.
make_library silent libgps.so.30 'extern const char* const gps_member = "time"; int gps_read() { return 0; }'
cross=(-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=armv7l)

expect "32 bits with 32 bits are taken" configure narrow "${cross[@]}" -DCMAKE_CXX_FLAGS="$narrow"
expect "the width is known" contains "$said" "found TIME_BITS=32;"
expect "the record is measured" contains "$said" "found RECORD_SIZE=108;"
expect "a library of 64 bits is refused" refused wide
expect "the flags to add are named" contains "$said" "Add to CMAKE_CXX_FLAGS: $wide"
expect "64 bits with 64 bits are taken" configure wide -DCMAKE_CXX_FLAGS="$narrow $wide"
expect "the width is known" contains "$said" "found TIME_BITS=64;"
expect "the record is larger" contains "$said" "found RECORD_SIZE=120;"
expect "a library of 32 bits is refused" refused narrow
expect "the flags to remove are named" contains "$said" "Remove from CMAKE_CXX_FLAGS: $wide"
expect "a library that calls no time function is taken" configure silent
expect "and it is said that its width can't be told" contains "$said" "it can't be told which width of time_t"
expect "the width is unknown" contains "$said" "found TIME_BITS=;"
[[ -z $failed ]] || { echo "the last configuring: $said"; exit 1; }
