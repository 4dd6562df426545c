#!/bin/bash
# The wrapper for `timeout -t`: by each shell that can be its interpreter, in front of each timeout that a system has.
#
#   timeout_test.sh REPOSITORY SHELL coreutils | busybox | old-busybox | none
#
# SHELL is a command like 'dash' or 'busybox sh'. An old BusyBox is played: it only takes `-t`.
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

read -ra shell <<<"$2"
kind=$3
. "$1/tests/support/checks.bash"
failed=
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# --- A system with this timeout and this shell ----------------------------------------------------------

play_old_busybox() {
    cat <<'OLD'
#!/bin/bash
[[ ${1-} != --help ]] || { echo "Usage: timeout [-t SECS] [-s SIG] PROG ARGS" >&2; exit 1; }
[[ ${1-} == -t ]] || { echo "old timeout: $*"; exit 77; }
exec /usr/bin/timeout --preserve-status "$2" "${@:3}"
OLD
}

mkdir "$work/wrapper" "$work/system"
{
    echo "#!$(command -v "${shell[0]}")${shell[1]:+ ${shell[1]}}"
    tail -n +2 "$1/packaging/timeout/timeout"
} >"$work/wrapper/timeout"
case $kind in
    coreutils) ln -s /usr/bin/timeout "$work/system/timeout" ;;
    busybox) ln -s "$(command -v busybox)" "$work/system/timeout" ;;
    old-busybox) play_old_busybox >"$work/system/timeout" ;;
    none) ;;
esac
for program in sh sleep env cat; do
    ln -s "$(command -v "$program")" "$work/system/$program"
done
chmod -R +x "$work"

run() {
    output=$(PATH="$work/wrapper:$work/system" timeout "$@" 2>&1)
    status=$?
}
system() {
    output=$(PATH="$work/system" timeout "$@" 2>&1)
    status=$?
}
same_as_the_system() {
    local wrapped
    run "$@"
    wrapped="$status $output"
    system "$@"
    equal "$wrapped" "$status $output"
}

# --- What holds -----------------------------------------------------------------------------------------

returns_the_programs_status() {
    run -t 5 sh -c 'exit 42'
    expect "the program's status comes back" equal "$status" 42
    run -t 5 sh -c 'kill -KILL $$'
    expect "so does the signal that ended it" equal "$status" 137
    run -t 5 "$work/missing"
    expect "a program that is not there is 127" equal "$status" 127
}

hands_the_arguments_on() {
    run -t 5 sh -c 'printf "<%s>" "$@"' sh 'two words' '' '*' -t -9 '$HOME'
    expect "each argument arrives as it was" equal "$output" '<two words><><*><-t><-9><$HOME>'
    run -t5 sh -c 'echo attached'
    expect "-t5 is -t 5" equal "$output" attached
}

ends_what_takes_too_long() {
    local begin=$SECONDS
    run -t 1 sleep 20
    expect "it is ended after its second" test $((SECONDS - begin)) -lt 10
    expect "the status is an old BusyBox's, not 124" equal "$status" 143
}

sends_the_signal_that_is_asked_for() {
    run -t 1 -s INT sh -c 'trap "exit 9" INT; while :; do sleep 0.1; done'
    expect "the signal arrives" equal "$status" 9
}

refuses_what_an_old_busybox_refuses() {
    run -t soon true
    expect "a time that is no number is refused" equal "$status $output" "1 timeout: invalid number 'soon'"
    run -t
    expect "so is -t alone" equal "$status" 1
    run -t 1
    expect "so is no program" equal "$status" 1
}

leaves_todays_syntax_to_the_system() {
    expect "seconds first" same_as_the_system 5 sh -c 'exit 3'
    expect "a signal first" same_as_the_system -s KILL 5 sh -c 'exit 4'
    expect "an option that it doesn't know" same_as_the_system -k 5 5 sh -c 'exit 5'
    expect "the program's own -t" same_as_the_system 5 sh -c 'echo "$@"' sh -t 1
}

says_that_the_system_has_none() {
    run -t 1 true
    expect "without a timeout there is one line and status 1" equal "$status $output" \
        "1 timeout: the system has no timeout of its own in PATH"
}

case $kind in
    none) says_that_the_system_has_none ;;
    old-busybox)
        returns_the_programs_status
        ends_what_takes_too_long ;;
    *)
        returns_the_programs_status
        hands_the_arguments_on
        ends_what_takes_too_long
        sends_the_signal_that_is_asked_for
        refuses_what_an_old_busybox_refuses
        leaves_todays_syntax_to_the_system ;;
esac
[[ -z $failed ]]
