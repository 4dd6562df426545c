#!/bin/bash
# The Yocto recipe, held against the build without bitbake: its variables, the settings that it hands to CMake, and the
# packages that the installed files land in.
#
#   recipe_test.sh REPOSITORY BUILD-FOLDER         with what that folder installs
#   recipe_test.sh REPOSITORY --build TOOLCHAIN    configures, compiles and installs as the recipe does, for a target
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

repository=$(readlink -f "$1")
. "$repository/tests/support/checks.bash"
failed=
recipe=$(echo "$repository"/packaging/yocto/recipes-*/ruxogps/ruxogps_*.bb)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
image=$work/image

# --- The recipe's variables -----------------------------------------------------------------------------

# What OE-core's bitbake.conf and classes give; folders as on an image without /lib in /usr.
declare -A value=(
    [PN]=ruxogps [THISDIR]=${recipe%/*} [D]=$image [STAGING_DIR_HOST]=$work/sysroot [prefix]=/usr [bindir]=/usr/bin
    [libdir]=/usr/lib [includedir]=/usr/include [libexecdir]=/usr/libexec [datadir]=/usr/share [docdir]=/usr/share/doc
    [nonarch_libdir]=/usr/lib [nonarch_base_libdir]=/lib [systemd_system_unitdir]=/lib/systemd/system)
unknown=

expanded() {
    local text=$1 name
    while [[ $text =~ \$\{([A-Za-z0-9_:-]+)\} ]]; do
        name=${BASH_REMATCH[1]}
        [[ -v value[$name] ]] || unknown+=" $name"
        text=${text//"\${$name}"/${value[$name]-}}
    done
    echo "$text"
}

# Assignments in their order, lines that end in a backslash joined; functions are left out.
read_recipe() {
    local line name
    while read -r line; do
        [[ $line =~ ^([A-Za-z0-9_:\$\{\}-]+)\ *(\?\?=|\?=|\+=|=)\ *\"(.*)\"$ ]] || { odd_lines+="$line"$'\n'; continue; }
        name=${BASH_REMATCH[1]//'${PN}'/ruxogps}
        value[$name]=${value[$name]:+${value[$name]} }${BASH_REMATCH[3]}
    done < <(sed -e ':join' -e '/\\$/{N;s/\\\n */ /;b join' -e '}' "$recipe" |
        sed -e '/^do_.*() {$/,/^}$/d' -e '/^#/d' -e '/^$/d' -e '/^inherit /d')
}

odd_lines=
read_recipe
version=$(sed -n 's/^project(ruxogps VERSION \([0-9.]*\).*/\1/p' "$repository/CMakeLists.txt")
settings=$(expanded "${value[EXTRA_OECMAKE]}")
append=$(sed -n '/^do_install:append() {$/,/^}$/{//!p}' "$recipe")

# --- What is installed ----------------------------------------------------------------------------------

# The components that a build with an SDK has; the host's platform is none of them.
install_a_build() {
    local component
    for component in runtime development tools; do
        DESTDIR=$image cmake --install "$1" --prefix /usr --component "$component" >/dev/null || exit
    done
}

# An SDK as a vendor's: the host's headers and, for the target, the host's sources.
make_sdk() {
    cmake -S "$repository" -B "$work/platform" -G Ninja --toolchain "$1" -DRUXOGPS_TESTS=OFF -DRUXOGPS_HOST_TOOLS=OFF \
        -DRUXOGPS_UNIT_TOOLS=OFF &&
        cmake --build "$work/platform" --target ruxohal ruxo logging utilities || return
    mkdir -p "${value[STAGING_DIR_HOST]}/usr/lib"
    cp -r "$repository/platform/include" "${value[STAGING_DIR_HOST]}/usr/include"
    cp "$work"/platform/platform/*.so "${value[STAGING_DIR_HOST]}/usr/lib/"
}

build_as_the_recipe_does() {
    local toolchain
    toolchain=$(readlink -f "$1")
    make_sdk "$toolchain" >"$work/log" 2>&1 || { tail -n 20 "$work/log" >&2; exit 1; }
    # shellcheck disable=SC2086  # the recipe's settings are words
    { cmake -S "$repository" -B "$work/build" -G Ninja --toolchain "$toolchain" -DCMAKE_INSTALL_PREFIX=/usr \
        -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_LIBEXECDIR=libexec $settings &&
        cmake --build "$work/build" && DESTDIR=$image cmake --install "$work/build"; } >"$work/log" 2>&1 ||
        { tail -n 20 "$work/log" >&2; exit 1; }
}

do_install_append() {
    local line
    while read -r line; do
        line=$(expanded "$line")
        eval "$line" || return
    done <<<"$append"
}

# --- The packages ---------------------------------------------------------------------------------------

# The first package, in bitbake's order, one of whose patterns the file matches.
declare -A defaults=(
    [ruxogps-dev]="/usr/include /usr/lib/cmake /usr/lib/*/cmake /usr/lib/pkgconfig /usr/lib/*/pkgconfig"
    [ruxogps-doc]="/usr/share/doc /usr/share/man")
package_of() {
    local package pattern
    for package in ruxogps-dev ruxogps-doc ruxogps-tools ruxogps; do
        for pattern in ${defaults[$package]-} $(expanded "${value[FILES:$package]-}"); do
            # shellcheck disable=SC2053  # it is a pattern
            [[ $1 != $pattern && $1 != $pattern/* ]] || { echo "$package"; return; }
        done
    done
}

# Every file in the image with its package; a library folder of several architectures counts as /usr/lib.
split() {
    set -f
    local file plain
    while read -r file; do
        plain=$(sed -E 's,^/usr/lib/[a-z0-9_]+-linux-[a-z0-9]+/,/usr/lib/,' <<<"$file")
        echo "$(package_of "$plain") $plain"
    done < <(find "$image" ! -type d -printf '/%P\n' | sort)
    set +f
}

# --- What holds -----------------------------------------------------------------------------------------

if [[ $2 == --build ]]; then
    build_as_the_recipe_does "$3"
else
    install_a_build "$2"
fi
expect "do_install's own lines work" do_install_append
files=$(split)
package() { sed -n "s/^$1 //p" <<<"$files"; }

expect "the recipe has nothing but assignments and functions" equal "$odd_lines" ""
expect "the recipe's version is the project's" equal "${recipe##*_}" "$version.bb"
expect "the checkout is the source" test -f "$(expanded "${value[EXTERNALSRC]}")/CMakeLists.txt"
for setting in $settings; do
    name=${setting#-D}
    expect "CMake knows ${name%%=*}" grep -Eqs "^ *(option|set)\(${name%%=*} " "$repository/CMakeLists.txt"
done
for name in "${!value[@]}"; do
    [[ ${value[$name]} != *'${'* ]] || expanded "${value[$name]}" >/dev/null
done
expect "every variable is known" equal "$unknown" ""
expect "nothing is left over" equal "$(grep '^ ' <<<"$files")" ""
expect "the runtime is the library under its three names" equal "$(package ruxogps)" \
    "$(printf '/usr/lib/libruxogps.so\n/usr/lib/libruxogps.so.%s\n/usr/lib/libruxogps.so.%s' "${version%%.*}" "$version")"
expect "the tools are these" equal "$(package ruxogps-tools)" "/lib/systemd/system/ruxogps-reset-line.service
/lib/udev/rules.d/60-ruxogps.rules
/usr/bin/ruxogps-check
/usr/bin/ruxogps-monitor
/usr/bin/ruxogps-report
/usr/lib/tmpfiles.d/ruxogps.conf
/usr/libexec/ruxogps/bin/timeout
/usr/libexec/ruxogps/export-reset-line
/usr/share/ruxogps/examples/60-ruxogps.rules
/usr/share/ruxogps/examples/ruxogps-example.service
/usr/share/ruxogps/examples/ruxogps-reset-line.service
/usr/share/ruxogps/examples/ruxogps.sysusers.conf
/usr/share/ruxogps/examples/ruxogps.tmpfiles.conf
/usr/share/ruxogps/telemetry.schema.json"
expect "the manual page is for reading" contains "$(package ruxogps-doc)" /usr/share/man/man1/ruxogps-check.1
expect "the public headers are for development" contains "$(package ruxogps-dev)" /usr/include/ruxogps/GPSAdapter.h
expect "so is the pkg-config file" contains "$(package ruxogps-dev)" /usr/lib/pkgconfig/ruxogps.pc
# freedesktop's pkg-config, which OE-core has, puts the system root in front of whatever folder the file names.
expect "the pkg-config files name the folder on the unit" equal \
    "$(find "$image" -name '*.pc' -exec sed -n 's/^prefix=//p' {} + | sort -u)" /usr
expect "each skipped check has its reason" equal "$(grep -c '^INSANE_SKIP' "$recipe")" \
    "$(grep -c 'why dev-so is skipped' "$recipe")"
[[ -z $failed ]]
