#!/bin/bash
# Builds and installs the library as for a unit: with a toolchain file as a vendor ships it, which has everything looked
# for under a system root, and an SDK folder beside it. The system root is the host's own, the SDK is made of the
# host's platform libraries. Then an application is linked against both.
#
#   build_for_a_unit.sh SOURCE-FOLDER WORK-FOLDER COMPILER PLATFORM-LIBRARY...
set -eu

source_folder=$1
work=$2
compiler=$3
shift 3
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
. "$here/unit_build.sh"

rm -rf "$work"
make_sdk "$@"
copy_sources "$work/here"
build_and_install "$work/here" "$work/root"

[[ -z $(find "$work/here/build" -name 'libruxo.so' -o -name 'liblogging.so') ]] ||
    complain "the host's platform libraries were built although an SDK was given"
library=$work/root/lib/libruxogps.so
for name in ruxohal ruxo logging utilities; do
    readelf -d "$library" | grep -q "NEEDED.*\[lib$name\.so\]" || complain "libruxogps.so does not need lib$name.so"
done
! readelf -d "$library" | grep -E 'RPATH|RUNPATH' || complain "the installed library carries a search path of this host"
grep -qx 'CMAKE_BUILD_TYPE:STRING=RelWithDebInfo' "$work/here/build/CMakeCache.txt" ||
    complain "without a build type the library is not optimised"

# shellcheck disable=SC2086  # flags and an emulator are words
"$compiler" ${SYSROOT:+"--sysroot=$SYSROOT"} ${FLAGS-} -std=c++17 -I"$work/root/include/ruxogps" -I"$work/sdk/include" "$source_folder/examples/minimal.cpp" \
    -o "$work/minimal" -L"$work/root/lib" -L"$work/sdk/lib" -lruxogps -lruxohal -lruxo -llogging -lutilities
# As ldd does it, which can't ask the loader of another machine.
# shellcheck disable=SC2086
loaded=$(LD_TRACE_LOADED_OBJECTS=1 LD_LIBRARY_PATH="$work/root/lib:$work/sdk/lib" ${EMULATOR-} "$work/minimal")
[[ $loaded == *"$work/root/lib/libruxogps.so"* && $loaded != *'not found'* ]] ||
    complain "the application's libraries are not complete: $loaded"

# What else may be built for a unit is at least found.
cmake -S "$source_folder" -B "$work/with-tests" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$work/toolchain.cmake" \
    -DRUXO_PLATFORM="$work/sdk" -DRUXOGPS_TESTS=ON
echo "built, installed and linked against the SDK"
