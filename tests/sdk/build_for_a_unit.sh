#!/bin/bash
# Builds and installs the library against an SDK folder, as for a unit, and an application against both. The SDK is
# made of the host's platform libraries.
#
#   build_for_a_unit.sh SOURCE-FOLDER WORK-FOLDER COMPILER PLATFORM-LIBRARY...
set -eu

source_folder=$1
work=$2
compiler=$3
shift 3

rm -rf "$work"
mkdir -p "$work/sdk/lib"
cp -r "$source_folder/platform/include" "$work/sdk/include"
cp "$@" "$work/sdk/lib/"

cmake -S "$source_folder" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug \
    -DRUXO_PLATFORM="$work/sdk" -DRUXOGPS_TESTS=OFF -DRUXOGPS_HOST_TOOLS=OFF
cmake --build "$work/build"
cmake --install "$work/build" --prefix "$work/root"

complain() {
    echo "$1" >&2
    exit 1
}

[[ -z $(find "$work/build" -name 'libruxo.so' -o -name 'liblogging.so') ]] ||
    complain "the host's platform libraries were built although an SDK was given"
library=$work/root/lib/libruxogps.so
for name in ruxohal ruxo logging utilities; do
    readelf -d "$library" | grep -q "NEEDED.*\[lib$name\.so\]" || complain "libruxogps.so does not need lib$name.so"
done
! readelf -d "$library" | grep -E 'RPATH|RUNPATH' || complain "the installed library carries a search path of this host"

"$compiler" -std=c++17 -I"$work/root/include/ruxogps" -I"$work/sdk/include" "$source_folder/examples/minimal.cpp" \
    -o "$work/minimal" -L"$work/root/lib" -L"$work/sdk/lib" -lruxogps -lruxohal -lruxo -llogging -lutilities
! LD_LIBRARY_PATH="$work/root/lib:$work/sdk/lib" ldd "$work/minimal" | grep 'not found' ||
    complain "the application's libraries are not complete"
echo "built, installed and linked against the SDK"
