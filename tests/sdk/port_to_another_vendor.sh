#!/bin/bash
# A port to the unit of a vendor who names things otherwise changes include/GPSPlatform.h and nothing else. The vendor is
# one of ours (vendor/): other folders and names of headers, records laid out in another way, scoped types of other names
# for the log's levels and the antenna's states, libraries built from that. The SDK lies in a system root, its libraries in
# the folder of the machine, and both are found by an ordinary toolchain file, which has everything looked for under that
# root alone.
#
#   port_to_another_vendor.sh SOURCE-FOLDER WORK-FOLDER COMPILER
set -eu

source_folder=$1
work=$2
compiler=$3
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
. "$here/unit_build.sh"
. "$here/../support/checks.bash"

readonly vendor=$here/vendor
# shellcheck disable=SC2206  # several flags
readonly compile=("$compiler" ${SYSROOT:+"--sysroot=$SYSROOT"} ${FLAGS-})
failed=

# The SDK as /opt/bsp of the unit's root; libgps comes from this machine, or from the system root of another.
make_the_vendors_sdk() {
    local machine name
    machine=$("$compiler" -print-multiarch)
    sdk=$work/root/opt/bsp
    sdk_libraries=$sdk/lib/$machine
    mkdir -p "$sdk_libraries"
    ln -s "${SYSROOT-}/usr" "$work/root/usr"
    cp -r "$vendor/include" "$sdk/"
    for name in ruxohal ruxo logging utilities; do
        "${compile[@]}" -std=c++17 -shared -fPIC -fvisibility=hidden "-I$sdk/include" "$vendor/src/$name.cpp" \
            -Wl,-soname,"lib$name.so" -o "$sdk_libraries/lib$name.so" &
    done
    wait
    toolchain_file "$work/root" >"$work/toolchain.cmake"
}

# The one file that a port touches.
make_the_port() {
    copy_sources "$work/port"
    rm -r "$work/port/platform/include" "$work/port/platform/src" # the host's own platform is out of reach
    cp "$vendor/GPSPlatform.h" "$work/port/include/GPSPlatform.h"
}

build_the_port() {
    cmake -S "$work/port" -B "$work/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$work/toolchain.cmake" \
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DRUXO_PLATFORM=/opt/bsp \
        -DRUXOGPS_TESTS=OFF -DRUXOGPS_HOST_TOOLS=OFF -DRUXOGPS_UNIT_TOOLS=OFF
    cmake --build "$work/build" --target ruxogps
}

# compile_application SOURCE PROGRAM
compile_application() {
    "${compile[@]}" -std=c++11 -Wall -Wextra -Werror "-I$work/port/include" "-I$work/port/examples" "-I$sdk/include" "$1" -o "$2" \
        "-L$work/build/src" "-L$sdk_libraries" -lruxogps -lruxohal -lruxo -llogging -lutilities \
        "-Wl,-rpath,$work/build/src:$sdk_libraries"
}

# What ruxogps-check asks of the platform comes through the same file.
compile_the_units_tools() {
    local file files
    files=$(grep -l '"GPSPlatform.h"' "$source_folder"/tools/check/*.cpp) || complain "no source of ruxogps-check asks the platform"
    for file in $files; do
        "${compile[@]}" -std=c++17 -fsyntax-only "-I$work/port/include" "-I$work/port/src" "-I$sdk/include" "$file"
    done
}

# The host's headers, their enumerators and their other constants, as far as the sources name them.
names_of_the_hosts_platform() {
    local headers=$source_folder/platform/include
    (cd "$headers" && find . -name '*.h' -printf '%P\n')
    grep -ohE '^ +[A-Za-z_]+ = [0-9]+,|^const [a-z ]+ [A-Z_0-9]+' "$headers"/*/*.h | grep -oE '[A-Za-z_]+( = |$)' | sed 's/ = //'
}

uses_of_the_hosts_platform() {
    grep -rnwF -f <(names_of_the_hosts_platform) "$source_folder"/{include,src,tools/check} |
        grep -v "^$source_folder/include/GPSPlatform.h:"
}

rm -rf "$work"
make_the_vendors_sdk
make_the_port
build_the_port
compile_application "$work/port/examples/minimal.cpp" "$work/minimal"
compile_application "$vendor/application.cpp" "$work/application"
compile_the_units_tools

# shellcheck disable=SC2086  # an emulator has arguments
said=$(${EMULATOR-} "$work/application")
expect "texts of the vendor's" contains "$said" "geofence 'a name that is longer than any text's own room'"
expect "the vendor's fix is stored" contains "$said" 'readings 48100000, antenna too hot: 1'
expect "and told whole" contains "$said" 'tracking 48100000 11500000 source 7'
expect "the vendor's antenna states are told" contains "$said" "antenna 4 ''"
expect "failures are logged with the vendor's level of that number" contains "$said" $'\n3 src/GPSHAL.cpp '
expect "information too" contains "$said" $'\n6 src/GPSAdapter.cpp '
expect "no other file names the host's platform" equal "$(uses_of_the_hosts_platform)" ''
[[ -z $failed ]] || { printf '%s\n' "$said"; exit 1; }
echo "ported by include/GPSPlatform.h alone"
