#!/bin/bash
# The comparison with the baseline turns red for each kind of change, and names it. What is compared is the library that
# was built, but with the sources of its exported classes compiled against changed headers and with changed names.
#
#   gate_bites.sh SOURCE-FOLDER COMPILER GPS-INCLUDE-FOLDER LIBRARY TARGET VERSION-SCRIPT OBJECT...
set -eu

source_folder=$1
compiler=$2
gps_include=$3
library=$4
target=$5
version_script=$6
shift 6
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
soname=$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]$/\1/p')
failures=0

# change FILE SED-SCRIPT: and the file is another one then.
change() {
    sed -i "$2" "$work/$1"
    ! cmp -s "$work/$1" "$source_folder/$1" || { echo "nothing to change in $1: $2" >&2; exit 1; }
}

# Whichever source describes a class first is believed, so all that know the changed ones are compiled.
compile_against_the_changes() {
    local name whole_classes=-femit-class-debug-always compilations=()
    [[ $("$compiler" --version) != *clang* ]] || whole_classes=-fstandalone-debug
    for name in GPSAdapter GPSHAL GPSHAL_RUXO_3 GPSTimedWorker; do
        "$compiler" -std=c++17 -g -O0 -fPIC -fvisibility=hidden "$whole_classes" "-I$work/include" "-I$work/src" \
            "-I$source_folder/platform/include" "-I$gps_include" -c "$work/src/$name.cpp" -o "$work/$name.cpp.o" &
        compilations+=($!)
    done
    for name in "${compilations[@]}"; do
        wait "$name"
    done
}

# link_with_the_changes OBJECT...: those that were compiled here take their namesake's place.
link_with_the_changes() {
    local object objects=()
    for object; do
        [[ ! -e $work/${object##*/} ]] || object=$work/${object##*/}
        objects+=("$object")
    done
    "$compiler" -shared -Wl,-soname,"$soname" -Wl,--version-script="$work/names.map" \
        -o "$work/changed.so" "${objects[@]}"
}

# gate_says LIBRARY: leaves its words and its status in `said`.
gate_says() {
    local status=0
    said=$("$here/check-baseline" "$1" "$target" 2>&1) || status=$?
    said+=$'\n'"status $status"
}

expect() {
    [[ $said != *"$2"* ]] || return 0
    echo "not so: $1 ('$2')" >&2
    failures=$((failures + 1))
}

gate_says "$library"
expect "the library as it is passes" 'status 0'

cp -r "$source_folder/include" "$source_folder/src" "$work/"
change include/IGPSCallback.h 's/OnPositionUpdate() = 0/FIRST/; s/OnTracking(const GPSData& data) = 0/OnPositionUpdate() = 0/
    s/FIRST/OnTracking(const GPSData\& data) = 0/'
change include/GPSReadings.h 's/^ *uint32_t odometer = 0;/    uint32_t inserted = 0;\n&/'
change include/GPSParams.h 's/uint32_t positionInterval/uint64_t positionInterval/'
change src/UbxConfigHandler.h 's/unsigned char msgId;/unsigned short msgId;/'
change src/UbxConfigHandler.h 's/^ *FILE\* serialPort;/    uint32_t squeezedIn;\n&/'
sed '/_ZN10GPSAdapter9UpdateSNREv;/d; s/_ZN10GPSAdapter8FinalizeEv;/& _ZN10GPSAdapter6logFixEv;/' "$version_script" \
    >"$work/names.map"
compile_against_the_changes
link_with_the_changes "$@"
gate_says "$work/changed.so"
expect "changes turn it red" 'status 1'
expect "swapped slots are named" 'the vtable offset of method virtual unsigned int IGPSCallback::OnTracking(const GPSData&) changed'
expect "an inserted member is named" "'uint32_t inserted', at offset"
expect "a member's changed type is named" "type of 'uint32_t positionInterval' changed"
expect "a member of the driver's private part is named" "'uint32_t squeezedIn', at offset"
expect "a member of the handler's commands that moved is named" 'UbxCommands::msgId at bit '
expect "a missing name is named" "[D] 'method unsigned int GPSAdapter::UpdateSNR()'"
expect "an additional name is named" "[A] 'method void GPSAdapter::logFix()'"
report=$said

gate_says /bin/true
expect "a file without any of it turns it red" 'status 1'

objcopy --strip-debug "$library" "$work/bare.so"
gate_says "$work/bare.so"
expect "a library that doesn't describe its classes turns it red" 'status 1'
expect "what is missing is named" 'class GPSAdapter of '

target=of-nobody
gate_says "$library"
expect "a target without a baseline is said not to be compared" $'not compared: there is no baseline for of-nobody\nstatus 77'
((failures == 0)) || printf '%s\n' "$report" >&2
exit "$((failures > 0))"
