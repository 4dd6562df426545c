#!/bin/bash
# The integrator's page: its steps are commands that a shell can read, and its tables are complete. Whether the steps work
# is follow-the-page's to say, on a bare Debian; where its links lead is docs.links_lead_to_files_and_headings'.
#
#   page_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

cd "$1" || exit
. tests/support/checks.bash
failed=
page=docs/integration.md
application_page=docs/application.md # has the table of what blocks, where the integrator's page leads to
follow=tests/packaging/follow-the-page

expect "every step has commands" equal "$(grep -c '^<!-- step: ' "$page")" \
    "$(grep -A 1 '^<!-- step: ' "$page" | grep -cx '```sh')"
expect "no block of commands is without its step" equal "$(grep -cx '```sh' "$page")" "$("$follow" --list | wc -l)"
expect "a shell can read them" bash -n <("$follow" --show)
expect "the least CMake is CMakeLists.txt's" grep -q "^| CMake | $(sed -n \
    's/^cmake_minimum_required(VERSION \(.*\))/\1/p' CMakeLists.txt) |" "$page"
# What an application may call: the adapter's operations but the worker's, of which the header says so.
operations() { sed '/--- The update cycle/q' include/GPSAdapter.h | sed -nE 's/^    (unsigned int|void|bool) ([A-Za-z]+)\(.*/\2/p' | sort -u; }
expect "it leads to what blocks" grep -q "]($(basename "$application_page")#what-blocks-and-for-how-long)" "$page"
while read -r operation; do
    expect "the page tells how long $operation blocks" contains \
        "$(sed -n '/^## What blocks/,/^## /s/^| \([^|]*\) |.*/\1/p' "$application_page")" "\`$operation\`"
done < <(operations)
[[ -z $failed ]]
