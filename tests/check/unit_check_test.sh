#!/bin/bash
# What ruxogps-check finds on a virtual unit, with each fault made there.
#
#   unit_check_test.sh [NAME ...]     runs the named checks, or all of them, each on a unit of its own
#   unit_check_test.sh --list         prints their names
#
# UNIT_CHECK names the program, UNIT_CHECK_STANDINS the folder with the libraries of this folder's sources,
# RECEIVER_SIMULATOR the simulator. On the unit the script runs a second time, as `unit_check_test.sh --on-unit NAME`.
# shellcheck disable=SC2016,SC2317  # text in single quotes is for another shell; the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly repository
readonly build=$repository/build/release
export UNIT_CHECK=${UNIT_CHECK:-$build/tools/check/ruxogps-check}
export UNIT_CHECK_STANDINS=${UNIT_CHECK_STANDINS:-$build/tests/check/standins}
export ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0

. "$repository/tests/support/checks.bash"

# --- Vocabulary -----------------------------------------------------------------------------------------

readonly port=/dev/ttymxc1
readonly reset_line=/sys/class/gpio/gpio93/value
readonly database=/data/NavigationDatabaseDump
readonly whole_record='\xb5\x62\x13\x80\x00\x00\x93\xcc'
readonly damaged_record='\xb5\x62\x13\x80\x00\x00\x93\xcd'

not() { ! "$@"; }

# Runs the program, or the command that runs it, and keeps what came of it.
looks() {
    (($# > 0)) || set -- "$UNIT_CHECK"
    "$@" >/tmp/report 2>/tmp/errors
    status=$?
    expect "nothing on standard error" equal "$(</tmp/errors)" ""
}

# found LEVEL CHECK PART-OF-TEXT: one line of the report is so; a fault shows in the status, and what is not ok is told
# with its mend.
found() {
    local line
    line=$(grep -F -- "$3" /tmp/report | grep -E "^$1 +${2//./[.]} ") ||
        { echo "    no '$1 $2 ... $3' in:" && cat /tmp/report && return 1; }
    [[ $1 == ok || $line == *". Mend: "* ]] || { echo "    no mend: $line" && return 1; }
    [[ $1 != fault ]] || equal "$status" 1
}

only_found() {
    found "$@" && equal "$(grep -cE '^(warning|fault)' /tmp/report)" 1
}

nothing_found() { equal "$(grep -E '^(warning|fault)' /tmp/report)" "" && equal "$status" 0; }

# Runs COMMAND where one thing of the unit is another: changed ARGUMENT-OF-BWRAP ... -- COMMAND
changed() { bwrap --dev-bind / / "$@"; }

# A folder with a link to each program of BusyBox, or to each of the named ones of the unit, for a PATH.
folder_of_busybox() {
    mkdir -p /tmp/busybox && "$(type -P busybox)" --list |
        while read -r name; do ln -sf "$(type -P busybox)" "/tmp/busybox/$name"; done
}
folder_of() {
    local name
    rm -rf /tmp/programs
    mkdir /tmp/programs
    for name; do ln -s "$(type -P "$name")" /tmp/programs/; done
}

# stands_in NAME TEXT: a program in front of the unit's own.
stands_in() {
    mkdir -p /tmp/standins
    printf '#!/bin/sh\n%s\n' "$2" >"/tmp/standins/$1"
    chmod 755 "/tmp/standins/$1"
}
with_standins() { PATH=/tmp/standins:$PATH "$@"; }

listens() { grep -q ':0B83 .* 0A ' /proc/net/tcp /proc/net/tcp6; }
has_port_open() { [[ $(readlink -f "/proc/$1/fd/"* 2>/dev/null) == *"$(readlink -f "$port")"* ]]; }
is_named() { [[ $(<"/proc/$1/comm") == "$2" ]]; } # of a program that bash starts, as soon as it is no bash any more
starts_gpsd() {
    gpsd -n -P /var/run/gpsd.pid "$port"
    soon pidof gpsd >/dev/null && soon listens && soon has_port_open "$(pidof gpsd)"
}
ends() {
    kill -9 "$1"
    wait "$1" # or the shell would tell of its child's end later, in the middle of something else
    soon not test -e "/proc/$1"
} 2>/dev/null

# --- The whole ------------------------------------------------------------------------------------------

sound_unit_has_no_finding() {
    looks
    expect "all is well" nothing_found
    expect "it says so" equal "$(tail -n 1 /tmp/report)" "The service can run: 0 faults, 0 warnings"
    expect "a line for each check" equal "$(wc -l </tmp/report)" 25
    looks "$UNIT_CHECK" --json
    expect "the same in JSON" contains "$(</tmp/report)" '"can_run": true'
    expect "status" equal "$status" 0
}

answers_a_wrong_option_with_one_line_and_status_2() {
    local option
    for option in --nonsense --database --database= --json=yes now; do
        "$UNIT_CHECK" "$option" >/tmp/report 2>/tmp/errors
        expect "status of $option" equal $? 2
        expect "one line for $option" equal "$(wc -l </tmp/errors)" 1
        expect "no output for $option" equal "$(</tmp/report)" ""
    done
    expect "help" contains "$("$UNIT_CHECK" -h)" "Usage: ruxogps-check"
    expect "version" equal "$("$UNIT_CHECK" --version)" \
        "ruxogps-check (ruxogps) $(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' "$repository/CMakeLists.txt")"
}

port_settings() { grep -aoE ' intr \^-[ -~]*' "$1" | sort -u; }

# The program has the library's paths and settings once more, as the library gives none of them away.
asks_for_what_the_library_uses() {
    local library path
    looks
    library=$(sed -n 's/^ok *library *the library is //p' /tmp/report)
    expect "the port's settings are there" contains "$(port_settings "$library")" " min 0 time 0 "
    expect "and are the same" equal "$(port_settings "$UNIT_CHECK")" "$(port_settings "$library")"
    for path in "$port" "$reset_line" "$database" /var/run/gpsd.pid; do
        expect "the library's $path" grep -aqF "$path" "$library"
        expect "the program's $path" grep -aqF "$path" "$UNIT_CHECK"
    done
}

# What others write all the while is left out: the receiver's state, how late the clock is, and the terminals' times.
all_files() {
    find /data /run /sys /dev /tmp -path /tmp -o -path /run/unit -o -path /run/unit/lateness -o -path '/run/unit/receiver.*' \
        -o -path /tmp/stty-calls -o -path /tmp/report -o -path /tmp/errors \
        -o -type c -printf '%p %i %m\n' -o -printf '%p %i %m %s %T@ %C@\n' | sort
}

changes_nothing() {
    local before settings daemon
    printf '000000' >"$database"
    stands_in stty 'echo "$*" >>/tmp/stty-calls; exec /usr/bin/stty "$@"'
    : >/tmp/stty-calls
    settings=$(stty -F "$port" -g)
    before=$(all_files)
    looks with_standins "$UNIT_CHECK"
    expect "no file is made, changed or written" equal "$(diff <(echo "$before") <(all_files))" ""
    expect "the port is only asked" equal "$(</tmp/stty-calls)" "-F $port -a"
    expect "it stands as it stood" equal "$(stty -F "$port" -g)" "$settings"
    expect "the receiver was sent nothing" equal "$(<"/run/unit/receiver.log")" ""
    starts_gpsd && daemon=$(pidof gpsd)
    : >/tmp/stty-calls
    looks with_standins "$UNIT_CHECK"
    expect "gpsd goes on" equal "$(pidof gpsd)" "$daemon"
    expect "its port is not opened" equal "$(</tmp/stty-calls)" ""
    expect "gpsd is no fault" nothing_found
    expect "it is named" found ok port.users "gpsd (process $daemon) has the port open"
    expect "its port as well" found ok gpsd.listener "gpsd (process $daemon) listens on port 2947"
    expect "and who ends it" found ok gpsd.process "gpsd (process $daemon) runs; the service ends it"
}

runs_where_only_busybox_is() {
    folder_of_busybox
    ln -s "$(type -P gpsd)" /tmp/busybox/gpsd
    looks changed --ro-bind "$(type -P busybox)" "$(readlink -f /bin/sh)" -- \
        env PATH=/tmp/busybox "$UNIT_CHECK" --try-port
    expect "its shell is right" found ok shell.echo "turns escapes into bytes"
    expect "its timeout is not" found fault shell.timeout "refuses '-t 1' (status 1)"
    expect "its commands are there" found ok shell.commands "pidof, kill, killall and stty"
    ln -sf "$repository/packaging/timeout/timeout" /tmp/busybox/timeout && mkdir /tmp/system
    ln -s "$(type -P busybox)" /tmp/system/timeout
    looks changed --ro-bind "$(type -P busybox)" "$(readlink -f /bin/sh)" -- \
        env PATH=/tmp/busybox:/tmp/system "$UNIT_CHECK" --try-port
    expect "the wrapper mends it" found ok shell.timeout "takes '-t 1'"
    expect "its stty sets the port up" found ok port.trial "was set up for 115200 and 9600 baud"
    expect "the service can run" equal "$status" 0
}

# --- Shell ----------------------------------------------------------------------------------------------

finds_a_wrong_shell() {
    looks changed --ro-bind "$dash" "$(readlink -f /bin/sh)" -- "$UNIT_CHECK"
    expect "an echo that prints -e" found fault shell.echo "(it wrote 2d 65 20 5c 78"
    looks env PATH="${PATH#/unit/bin:}" "$UNIT_CHECK"
    expect "a timeout of today" found fault shell.timeout "refuses '-t 1' (status 125)"
    expect "its mend" contains "$(</tmp/report)" "/ruxogps/bin (from the tools package) in front of the service's PATH"
    looks changed --ro-bind /dev/null "$(readlink -f /bin/sh)" -- "$UNIT_CHECK"
    expect "no shell at all" found fault shell.echo "/bin/sh can't be started"
    looks env --ignore-signal=CHLD "$UNIT_CHECK"
    expect "an ignored SIGCHLD" only_found fault signal.child "SIGCHLD is ignored"
}

finds_missing_commands() {
    local missing
    folder_of timeout pidof kill killall stty gpsd true sh
    for missing in pidof killall stty; do
        rm "/tmp/programs/$missing"
        looks env PATH=/tmp/programs "$UNIT_CHECK"
        expect "$missing" found fault shell.commands "the shell finds no $missing: "
    done
    rm /tmp/programs/timeout
    looks env PATH=/tmp/programs "$UNIT_CHECK"
    expect "timeout" found fault shell.timeout "there is no timeout in PATH"
}

# --- Port and reset line --------------------------------------------------------------------------------

finds_a_wrong_port() {
    local terminal
    terminal=$(readlink -f "$port")
    chmod 444 "$terminal"
    looks
    expect "no right to write" found fault port.device "can't be read and written by this user"
    chmod 666 "$terminal"
    ln -sf /dev/full "$port"
    looks
    expect "no terminal" only_found fault port.settings "stty can't read the settings"
    rm "$port"
    looks
    expect "none at all" only_found fault port.device "$port is missing"
    touch "$port"
    looks
    expect "a file" only_found fault port.device "$port is no device"
}

finds_who_uses_the_port() {
    local user
    sleep 60 3<>"$port" &
    user=$!
    soon is_named "$user" sleep
    looks
    expect "another program" only_found fault port.users "sleep (process $user) has the port open"
    expect "its settings are let be" found ok port.settings "not looked at, as it is in use"
    looks "$UNIT_CHECK" --try-port
    expect "nor are they tried" found warning port.trial "not tried, as it is in use"
    ends "$user"
    looks changed -- "$UNIT_CHECK"
    expect "an ordinary user can't see" only_found warning port.users "can't see what other users' programs have open"
    expect "which is no fault" equal "$status" 0
    expect "the port is let be" found ok port.settings "not looked at, as it may be in use"
}

# A pseudo terminal has bytes of one size, no parity and an open ear: of these only stty can tell.
finds_settings_that_spoil_bytes() {
    local setting
    for setting in crtscts -clocal istrip igncr inlcr iuclc parmrk cstopb; do
        stty -F "$port" "$setting"
        looks
        stty -F "$port" -crtscts clocal -istrip -igncr -inlcr -iuclc -parmrk -cstopb
        expect "$setting" only_found warning port.settings "the port is set to $setting, which the service leaves so"
    done
    stands_in stty '/usr/bin/stty "$@" | sed "s/-parenb/parenb/; s/cs8/cs7/; s/ cread/ -cread/"'
    looks with_standins "$UNIT_CHECK"
    for setting in cs7 parenb -cread; do
        expect "$setting" found warning port.settings "the port is set to $setting, which the service leaves so"
    done
}

tries_the_port() {
    local settings
    settings=$(stty -F "$port" 19200 && stty -F "$port" -g)
    looks "$UNIT_CHECK" --try-port
    expect "it is fine" found ok port.trial "was set up for 115200 and 9600 baud as the service does"
    expect "and left as it was" equal "$(stty -F "$port" -g)" "$settings"
    stands_in stty '[ "$3" != 9600 ] || exit 1; exec /usr/bin/stty "$@"'
    looks with_standins "$UNIT_CHECK" --try-port
    expect "an stty that fails" only_found fault port.trial "the service's stty fails at 9600 baud"
    expect "left as it was" equal "$(stty -F "$port" -g)" "$settings"
    stands_in stty '[ "$3" = -a ] || [ "$3" = -g ] || exit 0; exec /usr/bin/stty "$@"'
    looks with_standins "$UNIT_CHECK" --try-port
    expect "an stty that only says so" only_found fault port.trial "but stands at '19200'"
}

# tries_and_gets SIGNAL OPTION: runs the trial and sends it the signal while the first of the service's settings are on the
# port. OPTION is env's: bash has its background commands ignore SIGINT.
tries_and_gets() {
    local trial
    rm -f /tmp/tried /tmp/sent
    : >/tmp/stty-calls
    env "$2" PATH="/tmp/standins:$PATH" "$UNIT_CHECK" --try-port >/tmp/report 2>/tmp/errors &
    trial=$!
    soon test -e /tmp/tried
    kill -s "$1" "$trial"
    touch /tmp/sent
    wait "$trial"
    status=$?
} 2>/dev/null # bash tells of its child's end

puts_the_port_back_when_it_is_ended_meanwhile() {
    local settings signal
    stands_in stty 'echo "$*" >>/tmp/stty-calls; /usr/bin/stty "$@" || exit
        [ "$3" != 115200 ] || { touch /tmp/tried; until [ -e /tmp/sent ]; do sleep 0.02; done; }'
    settings=$(stty -F "$port" 19200 && stty -F "$port" -g)
    for signal in INT TERM HUP; do
        tries_and_gets "$signal" --default-signal
        expect "SIG$signal ends it" equal "$status" "$((128 + $(kill -l "$signal")))"
        expect "the port is as it was" equal "$(stty -F "$port" -g)" "$settings"
        expect "no more was tried" not grep -q " 9600 " /tmp/stty-calls
    done
    tries_and_gets HUP --ignore-signal=HUP
    expect "an ignored signal ends nothing" found ok port.trial "was set up for 115200 and 9600 baud"
}

# A driver that says yes and does something else.
finds_a_port_that_does_not_take_its_settings() {
    stands_in stty 'if [ "$3" = -a ]; then /usr/bin/stty "$@" | sed "s/ -icanon/ icanon/"; else exec /usr/bin/stty "$@"; fi'
    looks with_standins "$UNIT_CHECK" --try-port
    expect "a flag" only_found fault port.trial "the port does not take -icanon"
    stands_in stty 'if [ "$3" = -a ]; then /usr/bin/stty "$@" | sed "s/min = 0/min = 1/"; else exec /usr/bin/stty "$@"; fi'
    looks with_standins "$UNIT_CHECK" --try-port
    expect "a number" only_found fault port.trial "the port does not take min 0"
    stands_in stty 'case $3 in *:*) exit 1 ;; *) exec /usr/bin/stty "$@" ;; esac'
    looks with_standins "$UNIT_CHECK" --try-port
    expect "what it had before" only_found fault port.trial "the port's former settings could not be put back"
    stands_in stty '[ "$3" != -g ] || exit 1; exec /usr/bin/stty "$@"'
    looks with_standins "$UNIT_CHECK" --try-port
    expect "a port that does not tell them" only_found fault port.trial "stty can't read $port"
}

finds_a_wrong_reset_line() {
    echo 0 >"$reset_line"
    looks
    expect "it holds the receiver" only_found warning reset.line "stands at 0"
    echo 1 >"$reset_line"
    echo in >"${reset_line%value}direction"
    looks
    expect "it is an input" only_found fault reset.line "is an input"
    echo out >"${reset_line%value}direction"
    looks
    expect "it is an output" nothing_found
    chmod 444 "$reset_line"
    looks
    expect "it can't be written" only_found fault reset.line "can't be written by this user"
    rm "$reset_line"
    looks
    expect "it is not exported" only_found fault reset.line "is missing"
}

# --- Library and gpsd -----------------------------------------------------------------------------------

finds_a_wrong_library() {
    local library libgps
    looks
    library=$(sed -n 's/^ok *library *the library is //p' /tmp/report)
    libgps=$(readlink -f "$(sed -n 's/^ok *library.libgps .* which is //p' /tmp/report)") # bwrap mounts on no link
    looks changed --tmpfs "${library%/*}" -- "$UNIT_CHECK"
    expect "none" found fault library "can't be loaded: libruxogps.so"
    looks changed --ro-bind /dev/null "$libgps" -- "$UNIT_CHECK"
    expect "none of libgps" found fault library "libgps.so"
    looks env LD_LIBRARY_PATH="$UNIT_CHECK_STANDINS/other" "$UNIT_CHECK"
    expect "one for another libgps" only_found warning library.libgps "is linked to libgps.so.99"
    looks env LD_LIBRARY_PATH="$UNIT_CHECK_STANDINS/without" "$UNIT_CHECK"
    expect "one without libgps" only_found fault library.libgps "is linked to no libgps"
}

finds_a_wrong_gpsd() {
    stands_in gpsd 'echo "gpsd: 3.16 (revision 3.16)"'
    looks with_standins "$UNIT_CHECK"
    expect "an old one" only_found fault gpsd.release "gpsd is of release 3.16"
    stands_in gpsd 'echo "gpsd: 3.99 (revision 3.99)"'
    looks with_standins "$UNIT_CHECK"
    expect "a new one" only_found warning gpsd.release "gpsd is of release 3.99"
    stands_in gpsd 'exit 1'
    looks with_standins "$UNIT_CHECK"
    expect "a silent one" only_found warning gpsd.release "does not tell its release"
    looks env PATH="/tmp/standins-without:$(dirname "$(type -P timeout)"):/usr/bin" \
        bwrap --dev-bind / / --ro-bind /dev/null /unit/bin/gpsd -- "$UNIT_CHECK"
    expect "one outside of PATH" found fault gpsd.program "there is one in /usr/sbin"
    looks bwrap --dev-bind / / --ro-bind /dev/null /unit/bin/gpsd --tmpfs /usr/sbin -- "$UNIT_CHECK"
    expect "none at all" found fault gpsd.program "there is no gpsd"
}

waits_five_seconds_for_a_command_and_no_longer() {
    local began=$SECONDS
    stands_in gpsd 'sleep 50'
    stands_in pidof 'exec >&- 2>&-; sleep 50; true'
    looks with_standins "$UNIT_CHECK"
    expect "it comes to its end" test "$((SECONDS - began))" -lt 25
    expect "without the release" only_found warning gpsd.release "does not tell its release"
    expect "with nothing left behind" not pidof sleep
}

finds_a_gpsd_that_nobody_can_end() {
    starts_gpsd
    stands_in pidof 'exit 1'
    looks with_standins "$UNIT_CHECK"
    expect "pidof does not find it" only_found fault gpsd.process "runs, and pidof does not find it"
    ends "$(pidof gpsd)"
    stands_in pidof 'echo 17'
    looks with_standins "$UNIT_CHECK"
    expect "pidof finds it although it has ended" only_found warning gpsd.process "finds a gpsd where none runs"
}

# program_on_gpsds_port NAME: whose process is of that name; sets `program`
program_on_gpsds_port() {
    cp "$(type -P busybox)" "/tmp/$1"
    (exec -a busybox "/tmp/$1" nc -l -p 2947 </dev/null >/dev/null) &
    program=$!
    soon listens
}

finds_who_has_gpsds_port() {
    program_on_gpsds_port intruder
    looks
    expect "another program" only_found fault gpsd.listener "intruder (process $program) listens on port 2947"
    looks changed -- "$UNIT_CHECK"
    expect "one of another user" found warning gpsd.listener "a program that this user can't see listens on port 2947"
    ends "$program"
    program_on_gpsds_port systemd
    looks
    expect "systemd" only_found fault gpsd.listener "starts a gpsd of its own"
    expect "its mend" contains "$(</tmp/report)" "systemctl disable --now gpsd.socket"
    ends "$program"
}

finds_systemds_gpsd() {
    local folder=/run/systemd/system
    mkdir -p "$folder"/{sockets,multi-user}.target.wants
    ln -s /lib/systemd/system/gpsd.socket "$folder/sockets.target.wants/"
    looks
    expect "the socket" only_found fault gpsd.units "gpsd.socket is enabled"
    ln -s /dev/null "$folder/gpsd.socket"
    ln -s /lib/systemd/system/gpsd.service "$folder/multi-user.target.wants/"
    looks
    expect "the service" only_found warning gpsd.units "gpsd.service is enabled"
    ln -s /dev/null "$folder/gpsd.service"
    looks
    expect "both masked" nothing_found
}

# Enabled in the image itself: `disable` finds nothing there to undo. Where /lib is /usr/lib, it is one folder.
finds_a_vendors_gpsd() {
    local folder wants=/tmp/vendors
    mkdir -p /run/systemd/system "$wants"/{sockets,multi-user}.target.wants /tmp/nothing
    for folder in $(readlink -f /lib/systemd/system /usr/lib/systemd/system | sort -u); do
        ln -sf ../gpsd.socket "$wants/sockets.target.wants/"
        looks with_the_vendors_units "$folder"
        expect "the socket in $folder" found fault gpsd.units "gpsd.socket is enabled"
        expect "its mend" contains "$(</tmp/report)" "'systemctl mask --now gpsd.socket gpsd.service'"
        ln -sf /dev/null /run/systemd/system/gpsd.socket
        looks with_the_vendors_units "$folder"
        expect "masked" found ok gpsd.units "systemd has no gpsd of its own to start"
        rm /run/systemd/system/gpsd.socket
        mv "$wants/sockets.target.wants/gpsd.socket" "$wants/multi-user.target.wants/gpsd.service"
        looks with_the_vendors_units "$folder"
        expect "the service in $folder" found warning gpsd.units "gpsd.service is enabled"
        rm "$wants/multi-user.target.wants/gpsd.service"
    done
}
with_the_vendors_units() {
    changed --bind /tmp/vendors "$1" --bind /tmp/nothing /etc/systemd/system -- "$UNIT_CHECK"
}

# profile_lets_through LINE: looks where AppArmor's profile of gpsd has this one.
profile_lets_through() {
    mkdir -p /tmp/apparmor.d
    printf '/usr/sbin/gpsd {\n  %s\n}\n' "$1" >/tmp/apparmor.d/usr.sbin.gpsd
    looks changed --bind /tmp/apparmor.d /etc/apparmor.d -- "$UNIT_CHECK"
}

finds_a_gpsd_that_apparmor_confines() {
    local loaded=/sys/kernel/security/apparmor/profiles others='/dev/tty{,S,USB,AMA,ACM}[0-9]* rw,'
    mkdir -p "${loaded%/*}"
    echo '/usr/sbin/gpsd (enforce)' >"$loaded"
    profile_lets_through "$others"
    expect "another port's alone" found warning gpsd.apparmor "does not name /dev/ttymxc"
    profile_lets_through '/dev/ttymxc[0-9]* rw,'
    expect "the receiver's port" found ok gpsd.apparmor "names the receiver's port"
    echo '/usr/sbin/gpsd (complain)' >"$loaded"
    profile_lets_through "$others"
    expect "one that only complains" found ok gpsd.apparmor "AppArmor does not confine gpsd"
    chmod 000 "$loaded"
    profile_lets_through "$others"
    expect "who can't see whether it holds" found warning gpsd.apparmor "this user can't see whether it is enforced"
}

finds_a_wrong_localhost() {
    printf '192.0.2.7 localhost\n' >/tmp/hosts
    looks changed --ro-bind /tmp/hosts /etc/hosts -- "$UNIT_CHECK"
    expect "somebody else's" found fault localhost "localhost is 192.0.2.7: the service may look for gpsd at 192.0.2.7"
    printf '127.0.0.1 thishost\n' >/tmp/hosts
    printf 'hosts: files\n' >/tmp/nsswitch
    looks changed --ro-bind /tmp/hosts /etc/hosts --ro-bind /tmp/nsswitch /etc/nsswitch.conf -- "$UNIT_CHECK"
    expect "nobody's" found fault localhost "localhost can't be resolved: "
}

# --- Files ----------------------------------------------------------------------------------------------

finds_folders_without_rights_or_room() {
    local entry others=()
    chmod 555 /data
    looks
    expect "/data without rights" only_found warning data.folder "/data can't be written by this user"
    chmod 755 /data
    chmod 555 /run
    looks
    expect "/var/run without rights" only_found warning run.folder "/var/run can't be written by this user"
    chmod 755 /run
    looks changed --size 16384 --tmpfs /data -- "$UNIT_CHECK"
    expect "/data without room" found warning data.folder "/data has 16 KiB left, 32 KiB are needed"
    looks changed --size 4096 --tmpfs /run -- bash -c 'echo >/run/full; RUXO_ANTENNA_FILE= "$UNIT_CHECK"'
    expect "/var/run without room" found warning run.folder "/var/run has 0 KiB left"
    for entry in /*; do
        [[ $entry == /data || -L $entry ]] || others+=(--dev-bind "$entry" "$entry")
        [[ ! -L $entry ]] || others+=(--symlink "$(readlink "$entry")" "$entry")
    done
    looks bwrap "${others[@]}" -- "$UNIT_CHECK"
    expect "no /data" found warning data.folder "/data is no folder"
}

# The two files may belong to the service's user in folders that are root's.
takes_files_of_its_own_in_folders_of_others() {
    touch "$database" /run/gpsd.pid
    chmod 555 /data /run
    looks
    chmod 755 /data /run
    expect "they will do" nothing_found
    expect "the database" found ok data.folder "$database is writable"
    expect "the pid file" found ok run.folder "/var/run/gpsd.pid is writable"
    expect "made ahead it is empty" found ok data.database "the database file is empty"
}

finds_what_a_database_lacks() {
    printf '000000' >"$database"
    looks
    expect "an empty one is fine" nothing_found
    printf "$whole_record${whole_record}000002" >"$database"
    looks
    expect "and so is a whole one" nothing_found
    expect "its records are counted" found ok data.database "the database is 0 h old, 2 records"
    printf "$whole_record${damaged_record}000002" >"$database"
    looks
    expect "damaged records" only_found warning data.database "the receiver refuses what is damaged"
    printf "${whole_record}000007" >"$database"
    looks
    expect "another number" only_found warning data.database "the trailer does not hold the number of records"
    printf "$whole_record" >"$database"
    looks
    expect "no trailer" only_found fault data.database "empty frames"
    printf 'abc' >"$database"
    looks
    expect "cut off" only_found warning data.database "cut off at 3 bytes"
    printf 'no record in here' >"$database"
    looks
    expect "garbage" only_found warning data.database "holds no record"
}

finds_a_database_that_is_none() {
    printf '000000' >"$database"
    touch -d '2 days' "$database"
    printf "${whole_record}000001" >"$database" && touch -d '2 days' "$database"
    looks
    expect "from the future" found ok data.database "the database is from the future"
    chmod 444 "$database"
    looks
    expect "never replaced" only_found warning data.database "can't be written by this user: it is never replaced"
    chmod 000 "$database"
    looks
    expect "unreadable" found warning data.database "can't be read by this user"
    rm -f "$database"
    mkfifo "$database"
    looks
    expect "a pipe" only_found warning data.database "is no regular file"
    rm "$database"
    ln -s /data/other "$database"
    looks
    expect "a link that leads nowhere yet" nothing_found
}

decodes_a_database() {
    printf "$whole_record${whole_record}000002" >/tmp/whole
    printf "$whole_record${damaged_record}000002" >/tmp/damaged
    looks "$UNIT_CHECK" --database /tmp/whole
    expect "a whole one" equal "$status" 0
    expect "its records" contains "$(</tmp/report)" "2 records, 2 whole, 0 damaged"
    looks "$UNIT_CHECK" --database=/tmp/damaged --json
    expect "a damaged one" equal "$status" 1
    expect "its counts" contains "$(</tmp/report)" '"damaged": 1,'
    expect "its record" contains "$(</tmp/report)" '"checksum": "wrong"'
    looks "$UNIT_CHECK" --database /no/such/file
    expect "none" equal "$status" 1
}

# --- Platform and clock ---------------------------------------------------------------------------------

finds_a_wrong_antenna() {
    echo 3 >/run/unit/antenna
    looks
    expect "not in order" only_found warning antenna "the antenna's state is 3, not 1"
    echo broken >/run/unit/antenna
    looks
    expect "unknown" only_found fault antenna "the antenna's state can't be read (0x16000002)"
    looks env LD_PRELOAD="$UNIT_CHECK_STANDINS/no_hal.so" "$UNIT_CHECK"
    expect "nobody to ask" only_found fault antenna "the platform's HAL can't be reached"
}

finds_a_wrong_clock() {
    looks env NO_FAKE_STAT=1 faketime -f '2001-02-03 04:05:06' "$UNIT_CHECK"
    expect "a clock that was never set" found warning clock.date "the clock stands at 2001-02-03"
    looks env LD_PRELOAD="$UNIT_CHECK_STANDINS/hasty_ticks.so" "$UNIT_CHECK"
    expect "ticks that are no seconds" only_found fault clock.ticks "the platform counted 100 s while"
}

# --- Runner ---------------------------------------------------------------------------------------------

readonly checks=(
    sound_unit_has_no_finding answers_a_wrong_option_with_one_line_and_status_2 changes_nothing
    asks_for_what_the_library_uses runs_where_only_busybox_is
    finds_a_wrong_shell finds_missing_commands
    finds_a_wrong_port finds_who_uses_the_port finds_settings_that_spoil_bytes tries_the_port
    puts_the_port_back_when_it_is_ended_meanwhile finds_a_port_that_does_not_take_its_settings finds_a_wrong_reset_line
    finds_a_wrong_library finds_a_wrong_gpsd
    waits_five_seconds_for_a_command_and_no_longer finds_a_gpsd_that_nobody_can_end finds_who_has_gpsds_port
    finds_systemds_gpsd finds_a_vendors_gpsd finds_a_gpsd_that_apparmor_confines finds_a_wrong_localhost
    finds_folders_without_rights_or_room takes_files_of_its_own_in_folders_of_others finds_what_a_database_lacks finds_a_database_that_is_none decodes_a_database
    finds_a_wrong_antenna finds_a_wrong_clock)

run_on_unit() {
    failed=0
    expect "there is such a check" declare -F "$1" >/dev/null
    cd / && "$1"
    return "$failed"
}

# An ordinary user's unit, also when root runs this: root reads and writes whatever the rights are.
as_ordinary_user() {
    if ((EUID == 0)); then
        bwrap --unshare-user --uid 1000 --gid 1000 --dev-bind / / -- "$@"
    else
        "$@"
    fi
}

run_check() {
    as_ordinary_user "$repository/tools/virtual-unit" -- "$repository/tests/check/unit_check_test.sh" \
        --on-unit "$1" "$scratch/dash"
}

# The unit hides its dash where bash stands in for it, so it gets a copy.
run_checks() {
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    cp "$(type -P dash)" "$scratch/dash" && chmod 755 "$scratch"
    run_each run_check "$@"
}

case ${1-} in
    --list) printf '%s\n' "${checks[@]}" ;;
    --on-unit) dash=$3 && run_on_unit "$2" ;;
    '') run_checks "${checks[@]}" ;;
    *) run_checks "$@" ;;
esac
exit
