#!/bin/bash
# The examples for systemd and udev: what the system's own programs say of them, and that they name what is installed
# and what the library needs.
#
#   systemd_test.sh REPOSITORY BUILD-FOLDER CHECK   of those that --list prints; exit status 77, with the reason, where it
#                                                   can't be made
#   systemd_test.sh --list
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
# shellcheck disable=SC2317  # the checks are called by name
set -u

readonly checks=(systemd_accepts_the_units systemd_makes_the_user systemd_makes_the_files udev_accepts_the_rule
    the_rule_is_made_of_terms the_units_name_what_is_there the_service_leaves_the_library_what_it_needs)
if [[ $1 == --list ]]; then
    printf '%s\n' "${checks[@]}"
    exit
fi

repository=$1
build=$2
. "$repository/tests/support/checks.bash"
failed=
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
DESTDIR=$work cmake --install "$build" --prefix /usr --component tools >/dev/null || exit
examples=$work/usr/share/ruxogps/examples
service=$examples/ruxogps-example.service

skip() {
    echo "$1"
    exit 77
}
needs() { command -v "$1" >/dev/null || skip "$1 is missing"; }
setting() { sed -n "s/^$1=//p" "$service"; }

# A root with what the units name, so that only the units themselves can be wrong.
systemd_accepts_the_units() {
    needs systemd-analyze
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

make_the_user() { mkdir -p "$work/etc" && systemd-sysusers --root="$work" "$examples/ruxogps.sysusers.conf"; }

systemd_makes_the_user() {
    needs systemd-sysusers
    expect "the user can be made" make_the_user
    expect "the user is there" grep -q '^ruxogps:' "$work/etc/passwd"
    expect "the group is there" grep -q '^ruxogps:' "$work/etc/group"
}

systemd_makes_the_files() {
    needs systemd-tmpfiles
    needs systemd-sysusers
    ((EUID == 0)) || skip "only root can give files to another user"
    mkdir "$work/data"
    expect "the user can be made" make_the_user
    expect "the files can be made" systemd-tmpfiles --create --root="$work" "$examples/ruxogps.tmpfiles.conf"
    expect "the database file is the user's" equal "$(stat -c %u "$work/data/NavigationDatabaseDump")" \
        "$(sed -n 's/^ruxogps:[^:]*:\([0-9]*\).*/\1/p' "$work/etc/passwd")"
}

the_rule_is_made_of_terms() {
    local term='[A-Z{}_a-z]+(==|!=|=|\+=|:=)"[^"]*"'
    expect "each line of the rule is a comment or a list of terms" equal \
        "$(grep -Ev "^#|^$term(, $term)*$" "$examples/60-ruxogps.rules")" ""
}

udev_accepts_the_rule() {
    needs udevadm
    udevadm verify --help >/dev/null 2>&1 || skip "this udevadm verifies no rules: those from 254 on do"
    expect "udevadm accepts the rule" udevadm verify "$examples/60-ruxogps.rules"
}

the_units_name_what_is_there() {
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
the_service_leaves_the_library_what_it_needs() {
    expect "only the application is asked to end" equal "$(setting KillMode)" mixed
    expect "there is time for its end" equal "$(setting TimeoutStopSec)" 120
    expect "the port can be opened" equal "$(setting DeviceAllow)" "/dev/ttymxc1 rw"
    expect "the files can be written" equal "$(setting ReadWritePaths)" "/data /run"
    local hardening
    for hardening in PrivateDevices ProtectKernelTunables PrivateNetwork ProtectProc PrivatePIDs; do
        expect "$hardening= stays away" equal "$(setting "$hardening")" ""
    done
}

expect "there is such a check" declare -F "$3" >/dev/null
"$3"
[[ -z $failed ]]
