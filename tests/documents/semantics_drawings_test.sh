#!/bin/bash
# That the pictures of docs/semantics.md are what tools/pictures/semantics draws from the numbers beside them, and that
# each stands in the page; and that the tools refuse wrong options.
#
#   semantics_drawings_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

. "$1/tests/support/checks.bash"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=
cd "$1" || exit

same() { cmp "$1" "$2"; }
refuses() {
    local said status
    said=$("$@" 2>&1)
    status=$?
    ((status == 2)) && equal "$(wc -l <<<"$said")" 1
}

expect "all is drawn" tools/pictures/semantics_drawings.py docs/semantics "$work"
for picture in docs/semantics/*.svg; do
    name=${picture##*/}
    expect "$picture is drawn from the numbers (tools/pictures/semantics --drawings)" same "$picture" "$work/$name"
    expect "$name stands in the page" grep -qF "](semantics/$name)" docs/semantics.md
done
expect "as many pictures as are drawn" equal "$(find docs/semantics -name '*.svg' | wc -l)" \
    "$(find "$work" -name '*.svg' | wc -l)"
for tool in semantics architecture cast; do
    for wrong in --no-such-option --chec=yes argument; do
        expect "$tool refuses '$wrong' in one line with status 2" refuses "tools/pictures/$tool" "$wrong"
    done
done
expect "a preset needs its name" refuses tools/pictures/semantics --preset
[[ -z $failed ]]
