#!/bin/bash
# Builds the library in another folder than build_for_a_unit.sh did, with the SDK that it left, and compares: two folders
# give the same library, byte for byte.
#
#   build_elsewhere.sh SOURCE-FOLDER WORK-FOLDER COMPILER
# shellcheck disable=SC2034  # for unit_build.sh
set -eu

source_folder=$1
work=$2
compiler=$3
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
. "$here/unit_build.sh"

rm -rf "$work/in"
copy_sources "$work/in/another/folder"
build_and_install "$work/in/another/folder" "$work/in/root"
cmp "$work/root/lib/libruxogps.so" "$work/in/root/lib/libruxogps.so" || complain "the folder shows in the library"
echo "the same library from two folders"
