#!/bin/bash
# A demo leaves the settings of every folder in which tests are built as they are: a test program that is left behind
# unbuilt would go on passing.
#
#   demo_keeps_the_tests.sh REPOSITORY
set -eu

repository=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin" "$work/checkout"
cd "$repository"
cp -r CMakeLists.txt CMakePresets.json run-demo.sh cmake docs examples include packaging platform simulator src tests tools "$work/checkout/"
cd "$work/checkout"

# Packages are there; what a configured folder would be built into is not of interest, and the demo ends there.
printf '#!/bin/sh\nexit 0\n' >tools/install-dependencies
printf '#!/bin/sh\n[ "$1" != --build ] || exit 1\nexec %s "$@"\n' "$(command -v cmake)" >"$work/bin/cmake"
chmod +x "$work/bin/cmake"

settings() { grep -E '^RUXOGPS_|^CMAKE_BUILD_TYPE' build/release/CMakeCache.txt; }

cmake --preset release -DRUXOGPS_TESTS=ON >/dev/null
before=$(settings)
! PATH=$work/bin:$PATH ./run-demo.sh >"$work/demo.log" 2>&1 </dev/null || { echo "the demo ran without a build" >&2; exit 1; }
configured=(build/*/CMakeCache.txt)
((${#configured[@]} == 2)) || { echo "the demo was to configure a folder of its own:" >&2; cat "$work/demo.log" >&2; exit 1; }
[[ $(settings) == "$before" ]] || { echo "the demo left build/release with other settings:" >&2; settings >&2; exit 1; }
