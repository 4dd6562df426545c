#!/bin/bash
# What matrix-tool says of tables, runs and documents, beside a CTest that is made up.
#
#   matrix_tool_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

. "$1/tests/support/checks.bash"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=

# The tool's repository is the one that it lies in.
mkdir -p "$work"/{tests/faults/matrix,docs,bin,build}
cp "$1/tests/faults/matrix-tool" "$work/tests/faults/"
tool=$work/tests/faults/matrix-tool

cat >"$work/bin/ctest" <<'CTEST'
#!/usr/bin/env python3
import os, sys
if "--show-only=json-v1" in sys.argv:
    label = '"properties": [{"name": "LABELS", "value": ["faults"]}]'
    print('{"tests": [{"name": "Other.One"}, {"name": "A.One", %s}, {"name": "A.Two", %s}]}' % (label, label))
else:
    chosen = open(sys.argv[sys.argv.index("-I") + 1]).read()
    assert chosen == "0,0,0,2,3\n", chosen
    with open(os.environ["RUXOGPS_FAULT_FIGURES"], "a") as figures:
        figures.write("gpsd.one recovery_s 99\ngpsd.one recovery_s 4\ngpsd.two recovery_s 7.5\ngpsd.two events_lost 2\ngpsd.one leaked_kib 0\n")
    two = '<testcase name="A.Two" status="%s"/>' % os.environ.get("TWO", "run")
    with open(sys.argv[sys.argv.index("--output-junit") + 1], "w") as report:
        report.write('<testsuite><testcase name="A.One" status="run"/>%s</testsuite>' % two)
CTEST
chmod +x "$work/bin/ctest"
PATH=$work/bin:$PATH

row() {
    printf '[[row]]\nid = "gpsd.%s"\nfault = "killed %s"\nmade = "kill"\nwhere = "unit"\nmust = "come back"\n' "$1" "$1"
    printf 'seen = "it did"\nverdict = "%s"\ntest = "%s"\nred = "left out"\n' "${3-fine}" "$2"
}
table() { cat >"$work/tests/faults/matrix/gpsd.toml"; }
said() { "$tool" "$1" "$work/build" 2>&1; }
succeeds() { "$@" >/dev/null 2>&1; }
fails() { ! succeeds "$@"; }

# --- Tables -----------------------------------------------------------------------------------------------

whole() { row one A.One; row two A.Two; }
whole | table
expect "documents without figures are found" equal "$(said check)" "the documents have no figures yet: ./run-tests.sh --faults"
{ row one A.One; row two A.Gone; } | table
expect "a test that is gone is found" contains "$(said check)" "gpsd.two: there is no test A.Gone"
expect "a test without a row is found" contains "$(said check)" "A.Two: a test without a row"
expect "that fails" fails "$tool" check "$work/build"
expect "and nothing is run" fails "$tool" run "$work/build"
{ row one A.One; row one A.Two; } | table
expect "an id given twice is found" contains "$(said check)" "gpsd.one: twice"
{ row one A.One; row two A.Two pleasant; } | table
expect "an unknown verdict is found" contains "$(said check)" "gpsd.two: its verdict is neither"
{ row one A.One; row two A.Two "as described but unpleasant"; } | table
expect "an unpleasant row without advice is found" contains "$(said check)" "gpsd.two: unpleasant, and no word"
{ row one A.One; row two A.Two | grep -v '^red'; } | table
expect "a row never seen red is found" contains "$(said check)" "gpsd.two: no red"
{ row one A.One; row two A.Two; echo 'rd = "?"'; } | table
expect "a field by a wrong name is found" contains "$(said check)" "gpsd.two: nobody knows a field rd"

# --- Runs -------------------------------------------------------------------------------------------------

whole | table
expect "rows that pass are green" succeeds "$tool" run "$work/build"
expect "the last figure of a repeated run counts, and all are summed up" equal "$(said run | tail -n 1)" \
    "== fault matrix: 2 rows passed of 2; recovery worst 7.5 s, median 5.8 s, of 2; 2 events lost in 1; 0 KiB leaked in 1"
expect "a row that fails is red" fails env TWO=fail "$tool" run "$work/build"
expect "and counted" contains "$(TWO=fail said run)" "== fault matrix: 1 rows passed of 2"

# --- Documents --------------------------------------------------------------------------------------------

marks() { printf 'before\n<!-- of the fault matrix -->\nold\n<!-- end of the fault matrix -->\nafter\n'; }
marks >"$work/docs/fault-matrix.md"
marks >"$work/docs/integration.md"
{ row one A.One; row two A.Two "as described but unpleasant"; echo 'integrator = "Watch it."'; } | table
said run >/dev/null
expect "the documents are written" succeeds "$tool" write "$work/build"
expect "the table has its figures" contains "$(<"$work/docs/fault-matrix.md")" "it did (events_lost 2, recovery_s 7.5)"
expect "what has not leaked is not listed" contains "$(<"$work/docs/fault-matrix.md")" "it did (recovery_s 4, nothing leaked)"
expect "the integrator is told" contains "$(<"$work/docs/integration.md")" "| **killed two**: come back | Watch it. |"
{ row one A.One "as described but unpleasant"; echo 'integrator = "Watch it."'; row two A.Two "as described but unpleasant"
    echo 'integrator = "Watch it."'; } | table
said write >/dev/null
expect "the same advice is given once" contains "$(<"$work/docs/integration.md")" \
    "| **killed one**: come back<br>**killed two**: come back | Watch it. |"
expect "what stands around is kept" equal "$(sed -n '1p;$p' "$work/docs/integration.md")" $'before\nafter'
expect "what was written is as the table says" equal "$(said check)" "2 rows"
{ row one A.One; row two A.Two; row three A.Two; } | table
expect "a row without figures is found" contains "$(said check)" "figures are of other rows"
{ row one A.One "as described but unpleasant"; echo 'integrator = "Watch it."'; row two A.Two; } | table
said write >/dev/null
expect "a whole table is taken" equal "$(said check)" "2 rows"
sed -i 's/come back/be back/' "$work/tests/faults/matrix/gpsd.toml"
expect "a table that has changed behind it is found" contains "$(said check)" "integration.md is not as the table says"
echo "no marks" >"$work/docs/integration.md"
expect "a page without marks is not overwritten" fails "$tool" write "$work/build"
[[ -z $failed ]]
