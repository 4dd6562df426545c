# Sourced by the tests of this folder, whose arguments are SOURCE-FOLDER WORK-FOLDER COMPILER: made-up releases of libgps in
# the work folder, and a configuring by the compiler that takes one.
# shellcheck shell=bash
# shellcheck disable=SC2034  # `failed` and `said` are read by the tests

source_folder=$1
work=$2
compiler=$3
failed=
said= # by the last configuring

export CCACHE_DISABLE=1
. "$source_folder/tests/support/checks.bash"

make_project() {
    rm -rf "$work"
    mkdir -p "$work"
    cat >"$work/CMakeLists.txt" <<PROJECT
cmake_minimum_required(VERSION 3.25)
project(stranger LANGUAGES CXX)
include($source_folder/cmake/Libgps.cmake)
foreach(name SONAME API RELEASE TIME_BITS RECORD_SIZE)
    message(STATUS "found \${name}=\${LIBGPS_\${name}};")
endforeach()
PROJECT
}

# make_header NAME API: the part of the client's header that a layout hangs on.
make_header() {
    mkdir -p "$work/$1/include"
    cat >"$work/$1/include/gps.h" <<HEADER
#include <time.h>
#define GPSD_API_MAJOR_VERSION  ${2%.*}      /* bump on incompatible changes */
#define GPSD_API_MINOR_VERSION  ${2#*.}       /* bump on compatible changes */
struct gps_data_t { struct timespec online; char buffer[100]; };
HEADER
}

# make_library NAME SONAME SOURCE [FLAG ...]
make_library() {
    local folder=$work/$1/lib soname=$2 source=$3
    shift 3
    mkdir -p "$folder"
    "$compiler" -x c++ -shared -fPIC "$@" ${soname:+"-Wl,-soname,$soname"} -o "$folder/libgps.so" - <<<"$source"
}

# configure RELEASE [OPTION ...]: `said` is what it printed, on one line; gives cmake's status.
configure() {
    local release=$1 status
    shift
    said=$(cmake -S "$work" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
        -DGPS_INCLUDE_DIR="$work/$release/include" -DGPS_LIBRARY="$work/$release/lib/libgps.so" "$@" 2>&1)
    status=$?
    said=$(tr -s ' \n' ' ' <<<"$said")
    return $status
}

refused() { ! configure "$@"; }
