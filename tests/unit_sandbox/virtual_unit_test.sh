#!/bin/bash
# What tools/virtual-unit promises, checked against the real thing: bubblewrap, gpsd and the receiver simulator.
#
#   virtual_unit_test.sh [NAME ...]     runs the named checks, or all of them
#   virtual_unit_test.sh --list         prints their names
#
# RECEIVER_SIMULATOR names the simulator to use, UNIT_WAITS the program virtual_unit_waits. As root the checks run a
# second time as an ordinary user. RUXOGPS_UNIT_SPEED_FACTOR slows the fast clocks down (repeat-when-late).
# shellcheck disable=SC2016,SC2317  # text in single quotes is for the unit's shell; the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly repository
readonly unit=$repository/tools/virtual-unit
readonly waits=${UNIT_WAITS:-$repository/build/release/tests/unit_sandbox/virtual_unit_waits}
readonly unit_test=$repository/tests/unit_sandbox/virtual_unit_test.sh
readonly repeat_when_late=$repository/tests/unit_sandbox/repeat-when-late
readonly ordinary_user=nobody

# How much faster the checked clocks run, and how late they may be on a host that keeps up, in thousandths of a second
# of the unit: what unit-ticks states as the bound, once for the wait and once for the process that looks.
slowed_down() { awk -v speed="$1" -v factor="${RUXOGPS_UNIT_SPEED_FACTOR:-1}" 'BEGIN { print speed * factor }'; }
speed=$(slowed_down 10)
readonly speed
readonly late_ms=500
on_host() { awk -v unit_ms="$1" -v speed="$2" 'BEGIN { printf "%d", unit_ms / speed }'; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
readonly errors=$scratch/errors
readonly lasting=6$$.5  # seconds; marks this run's processes on the host

# --- Vocabulary -----------------------------------------------------------------------------------------

. "$repository/tests/support/checks.bash"

between() { (($1 >= $2 && $1 <= $3)) || { echo "    $1 is not in $2 .. $3" && return 1; }; }
not() { ! "$@"; }

# Runs shell text on a unit without a receiver, or with one.
on_bare_unit() { "$unit" --no-receiver -- bash -c "$1"; }
on_unit() { "$unit" -- bash -c "$1"; }

status_of() {
    "$@" >"$scratch/output" 2>"$errors"
    echo $?
}

sleep_is_running() { pgrep -fx "[^ ]*sleep ${lasting/./[.]}" >/dev/null; }
milliseconds() { echo $((${EPOCHREALTIME/[.,]/} / 1000)); }

# --- Results and streams --------------------------------------------------------------------------------

returns_the_commands_exit_status() {
    expect "success" equal "$(status_of on_bare_unit 'exit 0')" 0
    expect "failure" equal "$(status_of on_bare_unit 'exit 7')" 7
    expect "a signal" equal "$(status_of on_bare_unit 'kill -SEGV $$')" 139
    expect "no such command" equal "$(status_of "$unit" --no-receiver -- /no/such/command)" 127
}

passes_input_and_output_through() {
    local output
    output=$(printf 'a\0b\n' | "$unit" --no-receiver -- bash -c 'cat; echo to-stderr >&2' 2>"$errors" | od -An -c)
    expect "standard input arrives byte by byte" equal "${output// /}" 'a\0b\n'
    expect "nothing else on standard error" equal "$(<"$errors")" to-stderr
}

hands_the_arguments_on_as_they_are() {
    expect "blanks, quotes and empty ones" equal \
        "$("$unit" --no-receiver -- printf '<%s>' 'a b' '' "it's" '*')" "<a b><><it's><*>"
}

wrong_option_is_one_line_and_status_2() {
    local line
    while read -r line; do
        read -ra words <<<"$line"
        expect "status of: $line" equal "$(status_of "$unit" "${words[@]}")" 2
        expect "one line for: $line" equal "$(wc -l <"$errors")" 1
        expect "no output for: $line" equal "$(<"$scratch/output")" ""
    done <<'LINES'
--nonsense -- true
--speed 0 -- true
--speed fast -- true
--speed -1 -- true
--speed 1000 -- true
--data-size 3 -- true
--data-size 0 -- true
--data-size 4 --data /tmp -- true
--antenna broken -- true
--antenna
--data
--data= -- true
--data /proc/nowhere -- true
--control /proc/nowhere -- true
--writable /no/such/folder -- true
--etc /no/such/folder -- true
--receiver 'open -- true
--
true

LINES
}

wrong_speed_is_told_what_is_right() {
    expect "status" equal "$(status_of "$unit" --speed=5000 -- true)" 2
    expect "reason" contains "$(<"$errors")" "--speed needs a number above 0 and below 1000, not '5000'"
}

version_is_the_projects() {
    expect "one line" equal "$("$unit" --version)" \
        "virtual-unit (ruxogps) $(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' "$repository/CMakeLists.txt")"
}

help_names_every_option() {
    local option
    "$unit" --help >"$scratch/help"
    for option in --receiver --no-receiver --antenna --speed --data --data-size --control --writable --etc --verbose \
        --version; do
        expect "$option is explained" grep -q -- "^  $option " "$scratch/help"
    done
}

says_how_to_mend_a_kernel_that_forbids_it() {
    printf '#!/bin/sh\necho "bwrap: No permissions to create new namespace" >&2; exit 1\n' >"$scratch/bwrap"
    chmod 755 "$scratch/bwrap"
    expect "status" equal "$(PATH=$scratch:$PATH status_of on_bare_unit true)" 125
    expect "one sentence" equal "$(wc -l <"$errors")" 1
    expect "the mend is in it" contains "$(<"$errors")" "to mend it"
}

says_when_the_receiver_does_not_come_up() {
    expect "status" equal "$(RECEIVER_SIMULATOR=/bin/false status_of on_unit true)" 125
    expect "reason" contains "$(<"$errors")" "the receiver did not get ready"
    expect "its own words are shown" equal "$(status_of "$unit" --receiver '--nonsense' -- true)" 125
    expect "they name the option" contains "$(<"$errors")" nonsense
}

# --- The unit -------------------------------------------------------------------------------------------

has_the_units_paths() {
    expect "all there and writable" on_unit 'test -c /dev/ttymxc1 -a -w /dev/ttymxc1 -a -w /data &&
        test -w /var/run -a -w /sys/class/gpio/gpio93/value -a "$(cat /sys/class/gpio/gpio93/value)" = 1 &&
        test -p /run/unit/receiver.control -a -s /run/unit/receiver.state -a -e /run/unit/receiver.log'
}

knows_the_librarys_commands() {
    local stty="timeout -t 1 stty -F /dev/ttymxc1 9600 intr ^- quit ^- erase ^- kill ^- eof ^-"
    stty+=" eol ^- eol2 ^- swtch ^- start ^- stop ^- susp ^- rprnt ^- werase ^- lnext ^- flush ^- min 0 time 0 "
    stty+="-brkint -icrnl -imaxbel -opost -onlcr -isig -icanon -iexten -echo -echoe -echok -echoctl -echoke"
    expect "port set-up" "$unit" -- sh -c "$stty"
    expect "it took effect" equal "$("$unit" -- sh -c "$stty; stty -F /dev/ttymxc1 -g" | cut -d: -f1-2)" 0:0
    expect "reset line" on_bare_unit 'sh -c "echo 0 > /sys/class/gpio/gpio93/value" &&
        test "$(cat /sys/class/gpio/gpio93/value)" = 0'
    expect "nothing to kill is an error as ever" equal "$(status_of on_bare_unit 'killall -9 gpsd')" 1
}

shell_writes_escapes_to_the_port() {
    local frame
    frame=$(on_unit 'sh -c "echo -e \"\\xb5\\x62\\x6\\x00\" > /dev/ttymxc1" &&
        for i in {1..50}; do test -s /run/unit/receiver.log && break; sleep 0.05; done; cat /run/unit/receiver.log')
    expect "the receiver got b5 62 06 00 0a" contains "${frame,,}" "b5 62 06 00 0a"
}

timeout_ends_a_program_that_hangs() {
    local took
    took=$(on_bare_unit 'before=${EPOCHREALTIME/[.,]/}; timeout -t 1 sleep 20 && echo 0
        echo $(((${EPOCHREALTIME/[.,]/} - before) / 1000))')
    expect "it fails after a second" between "$took" 1000 $((1000 + late_ms))
    expect "today's syntax works as well" equal "$(status_of on_bare_unit 'timeout 0.1 sleep 20')" 124
}

gpsd_starts_reports_dies_and_starts_again() {
    local life='sh -c "gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1"
        for i in {1..50}; do test -s /var/run/gpsd.pid && pidof gpsd >/dev/null && break; sleep 0.1; done
        for i in {1..50}; do exec 3<>/dev/tcp/localhost/2947 && break; sleep 0.1; done 2>/dev/null
        echo "?WATCH={\"enable\":true,\"json\":true};" >&3; timeout 20 grep -m1 -o "class\":\"TPV" <&3; exec 3>&-'
    local kill='sh -c "kill -9 \$(pidof gpsd)"
        for i in {1..50}; do pidof gpsd >/dev/null || break; sleep 0.1; done; pidof gpsd || echo gone
        ps -eo stat= | grep -q Z && echo zombies'
    expect "twice a report and a clean end" equal "$(on_unit "$life; $kill; $life; killall -9 gpsd" | tr '\n' ' ')" \
        'class":"TPV gone class":"TPV '
}

controls_reach_the_receiver() {
    expect "a fault appears in its state" on_unit 'echo silence >/run/unit/receiver.control
        for i in {1..100}; do grep -q fault=silence /run/unit/receiver.state && exit 0; sleep 0.05; done; exit 1'
}

receiver_arguments_may_be_quoted() {
    expect "a blank inside quotes" equal \
        "$("$unit" --receiver "--command 'silence 77' --hz 2" -- bash -c 'pgrep -af receiver-simulator | grep -c "silence 77 --hz 2"
            grep fault= /run/unit/receiver.state' | tail -n 1)" fault=silence
}

antenna_is_a_file() {
    local show='test $RUXO_ANTENNA_FILE = /run/unit/antenna && cat $RUXO_ANTENNA_FILE'
    expect "the given state" equal "$("$unit" --no-receiver --antenna 3 -- bash -c "$show")" 3
    expect "none without the option" not on_bare_unit 'test -e /run/unit/antenna'
}

control_folder_is_shared_with_the_host() {
    "$unit" --control "$scratch/control" --antenna 2 -- bash -c \
        'until grep -q 4 /run/unit/antenna; do sleep 0.05; done; echo yes >/run/unit/seen' &
    expect "the state is seen outside" soon grep -qs 2 "$scratch/control/antenna"
    echo 4 >"$scratch/control/antenna"
    wait $!
    expect "what was written outside is seen inside" equal "$(<"$scratch/control/seen")" yes
    expect "no pipe is left" not test -e "$scratch/control/receiver.control"
}

shared_memory_of_the_host_shows_what_the_command_needs() {
    local folder shown
    folder=$(mktemp -d /dev/shm/unit-run-shown-XXXXXX) || return
    mkdir "$folder.other"
    echo needed >"$folder/file"
    shown=$("$unit" --no-receiver -- bash -c 'cat "$0"; ls /dev/shm' "$folder/file")
    rm -r "$folder" "$folder.other"
    expect "the folder of an argument, and no other" equal "$shown" "needed"$'\n'"${folder##*/}"
}

data_is_kept_only_in_a_folder_of_the_host() {
    on_bare_unit 'echo lost >/data/file'
    expect "lost without --data" not on_bare_unit 'test -e /data/file'
    "$unit" --no-receiver --data "$scratch/data" -- bash -c 'echo kept >/data/file'
    expect "kept with --data" equal "$("$unit" --no-receiver --data "$scratch/data" -- cat /data/file)" kept
}

data_may_have_little_room() {
    local sizes
    sizes=$("$unit" --no-receiver --data-size 8 -- bash -c 'head -c 8192 /dev/zero >/data/fits; head -c 1 /dev/zero >/data/more
        stat -c %s /data/fits /data/more' 2>/dev/null | tr '\n' ' ')
    expect "two pages and no byte more" equal "$sizes" "8192 0 "
}

clock_runs_faster_for_all_processes_alike() {
    local now
    # Each date is a process of its own. The uptime in /proc comes from the kernel and counts real time.
    readarray -t now < <("$unit" --speed "$speed" -- bash -c '
        sample() { date +%s%3N; sed "s/\([0-9]*\)[.]\([0-9]*\) .*/\1\20/" /proc/uptime; }
        sample; sleep 10; sample; sleep 10; sample
        sed -n "s/^utc_s=\([0-9]*\)[.]\([0-9]*\)/\1\2/p" /run/unit/receiver.state')
    expect "the first 10 s" between "$(on_host $(((now[2] - now[0]) * 1000 / (now[3] - now[1]))) "$speed")" 900 1100
    expect "the second 10 s" between "$(on_host $(((now[4] - now[2]) * 1000 / (now[5] - now[3]))) "$speed")" 900 1100
    expect "two sleeps count the same seconds" between $((now[4] - now[0])) 20000 $((20000 + 2 * late_ms))
    expect "the receiver's last epoch is no older than one" between $((now[4] - now[6])) -$late_ms $((1000 + late_ms))
}

every_way_of_waiting_counts_the_units_time() {
    local wait unit_ms host_ms lines=0
    while read -r wait unit_ms host_ms; do
        expect "$wait of 5 s" between "$unit_ms" 4990 $((5000 + late_ms))
        expect "$wait takes its share of the host's" between "$host_ms" \
            $(($(on_host 5000 "$speed") - 20)) $(($(on_host $((5000 + late_ms)) "$speed") + 20))
        lines=$((lines + 1))
    done < <("$unit" --no-receiver --speed "$speed" -- timeout 60 "$waits")
    expect "all came back" equal "$lines" 6
}

clock_may_run_a_fraction_faster() {
    local slow uptime
    slow=$(slowed_down 2.5)
    readarray -t uptime < <("$unit" --no-receiver --speed "$slow" -- bash -c \
        'for pause in 0 5; do sleep $pause; sed "s/\([0-9]*\)[.]\([0-9]*\) .*/\1\20/" /proc/uptime; done')
    expect "5 s last about 2 s" between $((uptime[1] - uptime[0])) \
        $(($(on_host 5000 "$slow") - 20)) $(($(on_host $((5000 + late_ms)) "$slow") + 20))
}

# stopped_for_a_while NAME [OPTION ...]: how late a unit says it was whose process NAME had no time for 5 s, and how long
# all of it took, both in milliseconds of the unit. Watch and receiver each write down their own: the largest counts.
stopped_for_a_while() {
    local took
    took=$(UNIT_LATENESS_LOG="" "$unit" "${@:2}" --speed 10 --control "$scratch/control" -- bash -c '
        begin=$(date +%s%3N); until pidof "$0" >/dev/null; do sleep 0.1; done; sleep 2
        kill -STOP $(pidof "$0"); sleep 5; kill -CONT $(pidof "$0"); sleep 2; echo $(($(date +%s%3N) - begin))' "$1" \
        2>"$errors")
    sed -n 's/^lateness_s=\([0-9]*\)[.]\([0-9]*\) bound_s=0.25$/\1\2/p' "$scratch/control/lateness" |
        sort -n | tail -n 1 | sed 's/^0*//'
    echo "$took"
}

# The watch itself is stopped: for it that is a host without time. It looks every 0.1 s.
clock_tells_how_late_it_was() {
    local seen
    readarray -t seen < <(stopped_for_a_while ticks --no-receiver)
    expect "the unit's seconds" between "${seen[0]}" 4800 "${seen[1]}"
}

# The receiver looks every 0.2 s at least.
receiver_tells_how_late_it_was() {
    local seen
    readarray -t seen < <(stopped_for_a_while receiver-simulator)
    expect "the unit's seconds" between "${seen[0]}" 4700 "${seen[1]}"
}

# late_run STATUS LATENESS ...: a test whose runs find the host as late as that, one after the other. `options` are those
# of repeat-when-late.
options=()
late_run() {
    printf '%s\n' "${@:2}" >"$scratch/latenesses"
    printf '#!/bin/bash\necho "$RUXOGPS_UNIT_SPEED_FACTOR" >>%s\nsed "s/.*/lateness_s=& bound_s=0.25/;q" %s >>"$UNIT_LATENESS_LOG"
        sed -i 1d %s; exit %s\n' "$scratch/factors" "$scratch/latenesses" "$scratch/latenesses" "$1" >"$scratch/test"
    chmod 755 "$scratch/test"
    RUXOGPS_REPEATS_LOG=$scratch/repeats "$repeat_when_late" "${options[@]}" "$scratch/test" >"$scratch/output"
}

repeats_what_a_late_host_spoiled() {
    late_run 0 0.31 0.20 0.9
    expect "its status" equal $? 0
    expect "once, at half the speed" equal "$(tr '\n' ' ' <"$scratch/factors")" "1 0.5 "
    expect "said" grep -q '^repeat-when-late: test : the host fell 0.31 s' "$scratch/output"
    expect "and counted" equal "$(wc -l <"$scratch/repeats")" 1
}

repeats_at_most_twice() {
    late_run 3 0.31 12.0 0.26 0.1
    expect "the third run counts" equal $? 3
    expect "slower each time" equal "$(tr '\n' ' ' <"$scratch/factors")" "1 0.5 0.25 "
    expect "two are counted" equal "$(wc -l <"$scratch/repeats")" 2
    expect "what the third was is said" grep -q 'this run counts nevertheless' "$scratch/output"
}

takes_a_failure_in_time_as_it_is() {
    late_run 1 0.25 0.1
    expect "its status" equal $? 1
    expect "one run" equal "$(<"$scratch/factors")" 1
    expect "no word" not test -s "$scratch/output"
}

repeats_no_pass_that_lateness_could_only_have_prevented() {
    local options=(--failed)
    late_run 0 0.31
    expect "its status" equal $? 0
    expect "one run" equal "$(<"$scratch/factors")" 1
    late_run 3 0.31 0.1
    expect "a failure's status" equal $? 3
    expect "that is repeated" equal "$(tr '\n' ' ' <"$scratch/factors")" "1 1 0.5 "
}

# --- Seclusion ------------------------------------------------------------------------------------------

hosts_processes_are_out_of_reach() {
    cp /bin/sleep "$scratch/gpsd"
    "$scratch/gpsd" "$lasting" &
    local other=$!
    expect "not seen" equal "$(on_bare_unit 'pidof gpsd || echo none')" none
    on_bare_unit 'killall -9 gpsd' 2>/dev/null
    expect "not killed" kill -0 "$other"
    kill "$other"
    wait "$other" 2>/dev/null
}

hosts_files_are_read_only() {
    expect "the checkout" not on_bare_unit "echo >>'$repository/README.md'" 2>/dev/null
    expect "the kernel's settings" not on_bare_unit 'echo 1 >/proc/sys/vm/drop_caches' 2>/dev/null
    expect "only the common devices" equal "$(on_bare_unit 'ls /dev | grep -v console | LC_ALL=C sort | tr "\n" " "')" \
        "core fd full null ptmx pts random shm stderr stdin stdout tty urandom zero "
    expect "a folder made writable" "$unit" --no-receiver --writable "$scratch" -- touch "$scratch/written"
    expect "it is the host's" test -e "$scratch/written"
}

files_of_etc_can_be_replaced() {
    mkdir "$scratch/etc"
    echo "127.0.0.1 elsewhere" >"$scratch/etc/hosts"
    expect "replaced" equal "$("$unit" --no-receiver --etc "$scratch/etc" -- cat /etc/hosts)" "127.0.0.1 elsewhere"
    expect "the others are the host's" equal "$("$unit" --no-receiver --etc "$scratch/etc" -- cat /etc/services)" \
        "$(</etc/services)"
}

network_is_the_units_own() {
    expect "only the loopback interface" equal "$(on_bare_unit 'ls /proc/sys/net/ipv4/conf | tr "\n" " "')" "all default lo "
    expect "nothing to be reached" not on_bare_unit 'exec 3<>/dev/tcp/192.0.2.1/80' 2>/dev/null
}

two_units_run_side_by_side() {
    local first
    mkdir "$scratch/meeting"
    meet() {
        "$unit" --writable "$scratch/meeting" -- bash -c "gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1
            for i in {1..100}; do exec 3<>/dev/tcp/localhost/2947 && break; sleep 0.1; done 2>/dev/null
            read -r -t 5 greeting <&3 && [[ \$greeting == *VERSION* ]] && touch $scratch/meeting/$1
            for i in {1..100}; do test -e $scratch/meeting/$2 && exit 0; sleep 0.1; done; exit 1"
    }
    meet one two &
    first=$!
    expect "the second has its own port 2947" meet two one
    expect "the first as well" wait "$first"
}

# --- The end --------------------------------------------------------------------------------------------

leaves_no_process_behind() {
    on_bare_unit "setsid sleep $lasting & setsid nohup sleep $lasting >/dev/null 2>&1 & until pidof sleep; do :; done" \
        >/dev/null
    expect "daemons of the command are gone" not sleep_is_running
}

sigterm_lets_the_command_end_by_itself() {
    "$unit" --no-receiver -- bash -c "trap 'exit 33' TERM; sleep $lasting & wait" &
    local started=$!
    soon sleep_is_running
    kill -TERM "$started"
    wait "$started"
    expect "its status is returned" equal $? 33
    expect "no process is left" not sleep_is_running
}

# As timeout(1) sends them, to its program and to the process group; two of a kind may become one on their way.
two_signals_at_once_are_one_wish() {
    "$unit" --no-receiver -- bash -c "trap 'sleep 0.3; exit 33' TERM HUP; sleep $lasting & wait" &
    local started=$!
    soon sleep_is_running
    kill -TERM "$started"
    kill -HUP "$started"
    wait "$started"
    expect "the command ends in its own time" equal $? 33
    expect "no process is left" not sleep_is_running
}

second_signal_ends_a_command_that_will_not() {
    "$unit" --no-receiver -- bash -c "trap '' TERM; sleep $lasting" 2>"$errors" &
    local started=$!
    soon sleep_is_running
    kill -TERM "$started"
    sleep 0.5
    expect "the first does not" sleep_is_running
    kill -TERM "$started"
    wait "$started"
    expect "status of SIGTERM" equal $? 143
    expect "no word about it" equal "$(<"$errors")" ""
    expect "no process is left" not sleep_is_running
}

ctrl_c_in_a_terminal_ends_everything() {
    local typed
    mkfifo "$scratch/keyboard"
    script -qec "$unit -- sleep $lasting; echo status \$?" /dev/null <"$scratch/keyboard" >"$scratch/screen" &
    exec {typed}>"$scratch/keyboard"
    expect "it runs" soon sleep_is_running
    printf '\003' >&"$typed"
    expect "the command ends by SIGINT" soon grep -q 'status 130' "$scratch/screen"
    exec {typed}>&-
    wait
    expect "no process is left" not sleep_is_running
}

dies_with_its_caller() {
    "$unit" -- sleep "$lasting" &
    local started=$!
    soon sleep_is_running
    kill -KILL "$started"
    wait "$started" 2>/dev/null
    expect "even SIGKILL leaves nothing" soon not sleep_is_running
}

# Without the folders of other tests that come and go meanwhile.
in_shared_memory() { find /dev/shm -mindepth 1 -maxdepth 1 ! -name 'unit-run-*' ! -name 'ruxogps-test-*'; }

writes_no_file_to_the_host() {
    local before
    before=$(in_shared_memory)
    mkdir "$scratch/temporary"
    (cd "$scratch/temporary" && TMPDIR=$scratch/temporary HOME=$scratch/temporary "$unit" --speed "$speed" -- \
        bash -c 'cd; touch /tmp/file /run/file /data/file /dev/shm/file')
    expect "nothing appeared" equal "$(ls -A "$scratch/temporary")" ""
    expect "nor in shared memory" equal "$(in_shared_memory)" "$before"
}

# --- Runner ---------------------------------------------------------------------------------------------

readonly checks=(
    returns_the_commands_exit_status passes_input_and_output_through hands_the_arguments_on_as_they_are
    wrong_option_is_one_line_and_status_2 wrong_speed_is_told_what_is_right version_is_the_projects
    help_names_every_option says_how_to_mend_a_kernel_that_forbids_it
    says_when_the_receiver_does_not_come_up
    has_the_units_paths knows_the_librarys_commands shell_writes_escapes_to_the_port
    timeout_ends_a_program_that_hangs gpsd_starts_reports_dies_and_starts_again controls_reach_the_receiver
    receiver_arguments_may_be_quoted antenna_is_a_file control_folder_is_shared_with_the_host
    shared_memory_of_the_host_shows_what_the_command_needs
    data_is_kept_only_in_a_folder_of_the_host data_may_have_little_room clock_runs_faster_for_all_processes_alike
    every_way_of_waiting_counts_the_units_time clock_may_run_a_fraction_faster
    clock_tells_how_late_it_was receiver_tells_how_late_it_was repeats_what_a_late_host_spoiled repeats_at_most_twice
    takes_a_failure_in_time_as_it_is repeats_no_pass_that_lateness_could_only_have_prevented
    hosts_processes_are_out_of_reach hosts_files_are_read_only files_of_etc_can_be_replaced network_is_the_units_own
    two_units_run_side_by_side
    leaves_no_process_behind sigterm_lets_the_command_end_by_itself two_signals_at_once_are_one_wish
    second_signal_ends_a_command_that_will_not
    ctrl_c_in_a_terminal_ends_everything dies_with_its_caller writes_no_file_to_the_host)

run_checks() {
    local check failures=0
    for check; do
        failed=0
        expect "there is such a check" declare -F "$check" >/dev/null
        "$check"
        ((failures += failed))
        ((failed)) && echo "FAIL $check" || echo "PASS $check"
        find "$scratch" -mindepth 1 -delete
    done
    echo "$(id -un): $(($# - failures)) of $# checks passed"
    return $((failures > 0))
}

if [[ ${1-} == --list ]]; then
    printf '%s\n' "${checks[@]}"
    exit
fi
(($# > 0)) || set -- "${checks[@]}"
result=0
run_checks "$@" || result=1
as_ordinary_user() { setpriv --reuid="$ordinary_user" --regid="$(id -g "$ordinary_user")" --clear-groups -- "$@"; }

# The log that repeat-when-late made belongs to root: the ordinary user's units write one of their own, and its lines
# are added to root's.
run_checks_as_ordinary_user() {
    local log status
    log=$(mktemp) && chown "$ordinary_user" "$log" || return
    UNIT_LATENESS_LOG=${UNIT_LATENESS_LOG:+$log} as_ordinary_user "$unit_test" "$@"
    status=$?
    [[ -z ${UNIT_LATENESS_LOG-} ]] || cat "$log" >>"$UNIT_LATENESS_LOG"
    rm -f "$log"
    return "$status"
}

if ((EUID == 0)); then
    if as_ordinary_user test -x "$unit" -a -x "${RECEIVER_SIMULATOR:-$unit}"; then
        run_checks_as_ordinary_user "$@" || result=1
    else
        echo "SKIP the run as $ordinary_user, who cannot read this checkout or build"
    fi
fi
exit "$result"
