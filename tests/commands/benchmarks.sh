#!/bin/bash
# How the benchmarks' report judges what was measured, and what run-benchmarks.sh makes of it. Build, measurements
# and gnuplot are stand-ins.
#
#   benchmarks.sh REPOSITORY
set -u

repository=$1
. "$repository/tests/support/checks.bash"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# --- The report -----------------------------------------------------------------------------------------

# report TARGET PEER VALUES [OPTION ...]: one comparison of `it`; VALUES like "ours 1 2 3, peer 4 5 6".
report() {
    local target=$1 peer=$2 values=$3 who number words list
    shift 3
    echo "7 | it | some work | $peer | s | $target" >"$work/rows"
    : >"$work/values"
    IFS=, read -ra list <<<"$values"
    for words in "${list[@]}"; do
        read -r who words <<<"$words"
        for number in $words; do
            echo "value it $who $number" >>"$work/values"
        done
    done
    output=$("$repository/benchmarks/report" --rows "$work/rows" "$@" "$work/values" 2>&1)
    status=$?
}

judged() {
    local status_expected=$1 verdict=$2
    shift 2
    report "$@"
    expect "'$*' ends with status $status_expected" equal "$status" "$status_expected"
    expect "'$*' is judged" contains "$output" "$verdict"
}

judged 0 ', 1 targets held, 0 missed' 'ratio <= 1.05' peer 'ours 10.5,peer 10'
judged 1 ', 0 targets held, 1 missed' 'ratio <= 1.05' peer 'ours 10.6,peer 10'
judged 0 ', 1 targets held, 0 missed' 'ratio <= 1/14' peer 'ours 1,peer 14'
judged 1 ', 0 targets held, 1 missed' 'ratio <= 1/14' peer 'ours 1,peer 13.9'
judged 0 ', 1 targets held, 0 missed' 'difference <= 254' peer 'ours 1254,peer 1000'
judged 1 ', 0 targets held, 1 missed' 'difference <= 254' peer 'ours 1255,peer 1000'
judged 0 ', 1 targets held, 0 missed' 'ours == 0' - 'ours 0'
judged 1 ', 0 targets held, 1 missed' 'ours == 0' - 'ours 0.05'
judged 1 ', 0 targets held, 1 missed' 'ours == 0' - 'ours 0 1 0'
judged 1 'inf' 'ratio <= 2' peer 'ours 1,peer 0'
judged 0 ', 1 targets held, 0 missed' 'ours <= guard 100' - 'ours 105'
judged 1 ', 0 targets held, 1 missed' 'ours <= guard 100' - 'ours 106'
judged 0 ', 0 targets held, 0 missed' documented - 'ours 15 16'

# The turns are paired, the median of their ratios is judged, and half of what lies between the quartiles is allowed for.
judged 0 '1.5 ± 0.5' 'ratio <= 1.0' peer 'ours 1 2 3 4 5,peer 2 2 2 2 2'
judged 1 '1.5 ± 0.5' 'ratio <= 0.99' peer 'ours 1 2 3 4 5,peer 2 2 2 2 2'
judged 0 ' at most 1  yes' 'ratio <= 1.0' peer 'ours 1 2 300 4 5,peer 1 2 1 4 5'
judged 0 ', 1 targets held' 'ratio <= 2' peer 'ours 2 2 2,peer 1'
judged 2 '2 turns of ours, 3 of peer' 'ratio <= 2' peer 'ours 2 2,peer 1 1 1'

# What was not measured is a failure, unless only a part was asked for.
judged 1 'not measured: it of row 7, some work' 'ratio <= 2' peer 'peer 1'
judged 1 'not measured: it of row 7, some work' 'ratio <= 2' peer 'ours 1'
judged 1 '0 comparisons' 'ratio <= 2' peer 'peer 1' --partial
judged 2 "no target: 'about 3'" 'about 3' peer 'ours 1,peer 1'
judged 2 'nothing to compare with' 'ratio <= 3' - 'ours 1'
judged 2 "'fast' is no number" 'ratio <= 3' peer 'ours fast,peer 1'

# Of what is counted nothing may be missing where all of it is; what else was not measured is left out.
printf '%s\n' '7 | it | a | - | instructions | ours <= 2' '7 | armhf.it | b | - | instructions | ours <= 2' \
    '7 | wall | c | - | s | ours <= 2' >"$work/rows"
printf 'value it ours 1\n' | "$repository/benchmarks/report" --rows "$work/rows" --counts >/dev/null
expect "a count that is there is enough" equal "$?" 0
output=$(printf 'value wall ours 1\n' | "$repository/benchmarks/report" --rows "$work/rows" --counts)
expect "a count that is gone is a failure" equal "$?" 1
expect "and is named, and nothing else" equal "$(grep '^not measured' <<<"$output")" 'not measured: it of row 7, a'

# A target that is known not to be held has its reason in the table, and is no failure.
judged 0 'no: the sleep ends late' 'ratio <= 1.0 | the sleep ends late' peer 'ours 2,peer 1'
judged 0 ', 0 missed, 1 missed for a reason that is known' 'ratio <= 1.0 | the sleep ends late' peer 'ours 2,peer 1'
judged 0 ', 1 targets held, 0 missed' 'ratio <= 1.0 | the sleep ends late' peer 'ours 1,peer 1'

# The page's table is replaced, and nothing else of it.
printf 'before\n<!-- table: begin -->\nstale\n<!-- table: end -->\nafter\n' >"$work/page.md"
report 'ratio <= 2' peer 'ours 1,peer 1' --page "$work/page.md"
echo 'commit 0123abc' >>"$work/values"
"$repository/benchmarks/report" --rows "$work/rows" --page "$work/page.md" "$work/values" >/dev/null
page=$(<"$work/page.md")
expect "the page names the commit that was measured" contains "$page" ', 0123abc: '
expect "the page has the row" contains "$page" '| 7 | some work | 1 s | peer 1 | 1 | at most 2 | yes |'
expect "the page keeps what stands around the table" equal "${page%%$'\n'*} ${page##*$'\n'}" 'before after'
expect "the page's old table is gone" test "${page/stale/}" = "$page"

# The rows of the repository are read.
output=$("$repository/benchmarks/report" --partial </dev/null 2>&1)
expect "benchmarks/rows is understood: $output" contains "$output" '0 comparisons'

# --- The command ----------------------------------------------------------------------------------------

run() { output=$(PATH=$work/bin:$PATH "$work/checkout/run-benchmarks.sh" "$@" 2>&1 </dev/null); status=$?; }
stand_in() { mkdir -p "${1%/*}" && cat >"$1" && chmod +x "$1"; }

mkdir -p "$work/checkout/tools"
cp "$repository/run-benchmarks.sh" "$repository/CMakeLists.txt" "$work/checkout/"
cp "$repository/tools/options.bash" "$work/checkout/tools/"
stand_in "$work/checkout/tools/install-dependencies" <<<$'#!/bin/sh\nexit 0'
stand_in "$work/checkout/benchmarks/report" < <(sed "s|^ROWS = .*|ROWS = Path('$work/rows')|" "$repository/benchmarks/report")
for tool in cmake gnuplot; do
    stand_in "$work/bin/$tool" <<<$'#!/bin/sh\nexit 0'
done
stand_in "$work/checkout/benchmarks/counts/run" <<<$'#!/bin/sh\necho value it ours "$OURS"; echo value it peer 10; exit "${END-0}"'
echo '7 | it | some work | peer | s | ratio <= 1.05' >"$work/rows"

OURS=10 run --quick
expect "a target that holds is status 0" equal "$status" 0
expect "the table is shown" contains "$output" 'some work'
OURS=11 run --quick
expect "a target that is missed is status 1" equal "$status" 1
stand_in "$work/checkout/benchmarks/times/run" <<<$'#!/bin/sh\necho value it ours 10; echo value it peer 10'
OURS=10 END=3 run --only counts,times
expect "a measurement that fails is status 1" equal "$status" 1
expect "and is named" contains "$output" "'benchmarks/counts/run' failed"
expect "the others are judged all the same" contains "$output" '1 comparisons, 1 targets held'
(cd "$work" && OURS=10 run --only times --output here)
expect "--output is a folder of the caller's" test -s "$work/here/values.txt"
for wrong in '--only cuonts' '--only=' '--quick --only counts' 'counts' '--output='; do
    # shellcheck disable=SC2086  # several words
    run $wrong
    expect "'$wrong' is refused" equal "$status" 2
    expect "'$wrong' is refused in one line" equal "$(wc -l <<<"$output")" 1
done

exit "$failed"
