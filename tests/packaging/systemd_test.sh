#!/bin/bash
# The examples for systemd and udev: what the system's own programs say of them, and that they name what is installed
# and what the library needs. Exit status 77 where systemd's are missing.
#
#   systemd_test.sh REPOSITORY BUILD-FOLDER
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

repository=$1
build=$2
. "$repository/tests/support/checks.bash"
failed=
missing=
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
DESTDIR=$work cmake --install "$build" --prefix /usr --component tools >/dev/null || exit
examples=$work/usr/share/ruxogps/examples
service=$examples/ruxogps-example.service

is_there() {
    command -v "$1" >/dev/null || { echo "$1 is missing: $2 is not checked" && missing=1 && return 1; }
}
setting() { sed -n "s/^$1=//p" "$service"; }

# A root with what the units name, so that only the units themselves can be wrong.
verify_units() {
    is_there systemd-analyze "what systemd says of the units" || return 0
    local output unit
    mkdir -p "$work/usr/lib/systemd/system" "$work/usr/local/bin"
    cp "$examples"/*.service "$work/usr/lib/systemd/system/"
    install -m 755 /bin/true "$work/usr/local/bin/drive"
    for unit in sysinit.target basic.target multi-user.target shutdown.target; do
        printf '[Unit]\nDescription=%s\nDefaultDependencies=no\n' "$unit" >"$work/usr/lib/systemd/system/$unit"
    done
    output=$(systemd-analyze verify --man=no --root="$work" ruxogps-reset-line.service ruxogps-example.service 2>&1)
    expect "systemd-analyze verify accepts the units" test $? = 0
    expect "and has nothing to say about them" equal "$(grep -i ruxogps <<<"$output")" ""
}

verify_users_and_files() {
    is_there systemd-sysusers "the user" || return 0
    mkdir -p "$work/etc" "$work/data"
    expect "the user can be made" systemd-sysusers --root="$work" "$examples/ruxogps.sysusers.conf"
    expect "the user is there" grep -q '^ruxogps:' "$work/etc/passwd"
    expect "the group is there" grep -q '^ruxogps:' "$work/etc/group"
    is_there systemd-tmpfiles "the files" || return 0
    ((EUID == 0)) || { echo "not root: the files are not made" && missing=1 && return 0; }
    expect "the files can be made" systemd-tmpfiles --create --root="$work" "$examples/ruxogps.tmpfiles.conf"
    expect "the database file is the user's" equal "$(stat -c %u "$work/data/NavigationDatabaseDump")" \
        "$(sed -n 's/^ruxogps:[^:]*:\([0-9]*\).*/\1/p' "$work/etc/passwd")"
}

verify_rule() {
    local term='[A-Z{}_a-z]+(==|!=|=|\+=|:=)"[^"]*"'
    expect "each line of the rule is a comment or a list of terms" equal \
        "$(grep -Ev "^#|^$term(, $term)*$" "$examples/60-ruxogps.rules")" ""
    udevadm verify --help >/dev/null 2>&1 || { echo "no udevadm here that verifies rules (from 254 on)" && return; }
    expect "udevadm accepts the rule" udevadm verify "$examples/60-ruxogps.rules"
}

names_what_is_there() {
    local path
    for path in $(grep -oh '/usr/libexec/ruxogps/[a-z/-]*' "$examples"/*.service | sort -u); do
        expect "$path is installed" test -x "$work$path" -o -d "$work$path"
    done
    expect "the wrapper comes first in PATH" test "$(setting Environment | cut -d : -f 1)" = \
        PATH=/usr/libexec/ruxogps/bin
    expect "gpsd's folder is in PATH" contains "$(setting Environment):" :/usr/sbin:
    expect "the system's gpsd is kept away" contains "$(setting Conflicts)" "gpsd.socket gpsd.service"
}

# What each is for stands in the unit; here it can't go unnoticed.
leaves_the_library_what_it_needs() {
    expect "only the application is asked to end" equal "$(setting KillMode)" mixed
    expect "there is time for its end" equal "$(setting TimeoutStopSec)" 120
    expect "the port can be opened" equal "$(setting DeviceAllow)" "/dev/ttymxc1 rw"
    expect "the files can be written" equal "$(setting ReadWritePaths)" "/data /run"
    local hardening
    for hardening in PrivateDevices ProtectKernelTunables PrivateNetwork ProtectProc PrivatePIDs; do
        expect "$hardening= stays away" equal "$(setting "$hardening")" ""
    done
}

verify_units
verify_users_and_files
verify_rule
names_what_is_there
leaves_the_library_what_it_needs
[[ -z $failed ]] || exit 1
[[ -z $missing ]] || exit 77
