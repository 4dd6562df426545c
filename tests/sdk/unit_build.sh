# Sourced by the tests of this folder: a vendor's SDK and toolchain file in $work, and a build with them by $compiler.
# shellcheck shell=bash
# shellcheck disable=SC2154  # `work` and `compiler` are the caller's
#
# In a build for another machine the environment tells its system root (SYSROOT), its processor (PROCESSOR), the flags
# that its programs need (FLAGS) and how one is started here (EMULATOR).

export CCACHE_DISABLE=1 # a cache would bring objects of other folders

complain() {
    echo "$1" >&2
    exit 1
}

# make_sdk PLATFORM-LIBRARY...
make_sdk() {
    mkdir -p "$work/sdk/lib" "$work/sysroot"
    cp -r "$source_folder/platform/include" "$work/sdk/include"
    cp "$@" "$work/sdk/lib/"
    ln -s "${SYSROOT-}/usr" "$work/sysroot/usr"
    toolchain_file "$work/sysroot" >"$work/toolchain.cmake"
}

# toolchain_file ROOT: as a vendor ships it, with everything looked for under ROOT.
toolchain_file() {
    cat <<TOOLCHAIN
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${PROCESSOR:-$(uname -m)})
set(CMAKE_CXX_COMPILER $compiler)
${SYSROOT:+set(CMAKE_SYSROOT "$SYSROOT")}
set(CMAKE_CXX_FLAGS_INIT "${FLAGS-}")
set(CMAKE_FIND_ROOT_PATH $1)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
TOOLCHAIN
}

# copy_sources FOLDER: what it takes to build the library.
copy_sources() {
    mkdir -p "$1/tests"
    cp -r "$source_folder"/{CMakeLists.txt,cmake,docs,examples,include,packaging,platform,src} "$1/"
    cp -r "$source_folder/tests/abi" "$1/tests/"
}

# build_and_install SOURCE-FOLDER INSTALLED-FOLDER: as a stranger would, without a build type.
build_and_install() {
    cmake -S "$1" -B "$1/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$work/toolchain.cmake" -DRUXO_PLATFORM="$work/sdk" \
        -DRUXOGPS_TESTS=OFF -DRUXOGPS_HOST_TOOLS=OFF -DRUXOGPS_UNIT_TOOLS=OFF
    cmake --build "$1/build"
    cmake --install "$1/build" --prefix "$2"
}
