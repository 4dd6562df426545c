#!/bin/bash
# That the reference of the public headers is not made of a header that says nothing of an operation, or names what isn't
# there.
#
#   reference_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

. "$1/tests/support/checks.bash"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=
mkdir -p "$work/docs" "$work/platform" "$work/tests/documents"
cp "$1/CMakeLists.txt" "$work"
cp -r "$1/include" "$work"
cp -r "$1/platform/include" "$work/platform"
cp "$1/docs/Doxyfile" "$1/docs/reference.dox" "$work/docs"
cp "$1/tests/documents/reference" "$work/tests/documents"
cd "$work" || exit

makes() { tests/documents/reference "$work/reference" 2>&1; }
fails_with() { contains "$(makes && echo "is made")" "$1" && ! makes >/dev/null; }

expect "it is made" equal "$(makes; echo $?)" "$work/reference/html/index.html"$'\n0'
expect "with the result codes" grep -q GPS_ERR_THREAD reference/html/GPSErrors_8h.html
sed -i 's|^    /// How many geofences are watched: 12.$||' include/GPSAdapter.h
expect "an operation without words is found" fails_with "Member GetMaxGeoFences() "
cp "$1/include/GPSAdapter.h" include
sed -i 's|^/// The GPS service, as an application uses it.$|& See \\ref GPSNobody.|' include/GPSAdapter.h
expect "a name that leads nowhere is found" fails_with "GPSNobody"
[[ -z $failed ]]
