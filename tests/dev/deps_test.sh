#!/usr/bin/env bash
# What ./dev installs, told by a package manager that only writes down what it was asked for.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.." || exit

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
native=$(dpkg --print-architecture)
failed=0

cat >"$folder/apt-get" <<'TEXT'
#!/bin/sh
echo "$*" >>"$APT_LOG"
echo "apt-get $1" >&2
TEXT
printf '#!/bin/sh\nexec "$@"\n' >"$folder/sudo"
printf '#!/bin/sh\nexit 1\n' >"$folder/cmake"  # nothing is built here
# A line for each architecture that a package is installed for; the real format string, ARCHITECTURES for all but
# ninja-build, which is as NINJA says.
cat >"$folder/dpkg-query" <<'TEXT'
#!/usr/bin/env bash
format=""
for argument; do
    case $argument in
        -W) ;;
        -f=*) format=${argument#-f=} ;;
        *)
            architectures=$ARCHITECTURES
            [[ $argument != ninja-build ]] || architectures=$NINJA
            [[ $architectures ]] || { echo "dpkg-query: no packages found matching $argument" >&2; status=1; }
            for architecture in $architectures; do
                line=${format//'${Package}'/$argument}
                line=${line//'${Architecture}'/$architecture}
                printf '%b' "${line//'${db:Status-Status}'/installed}"
            done
            ;;
    esac
done
exit "${status:-0}"
TEXT
chmod +x "$folder"/*

# expect NAME ARCHITECTURES NINJA INSTALLED: what `./dev deps` asks the package manager to install.
expect() {
    local name=$1 installed
    : >"$folder/log"
    APT_LOG=$folder/log ARCHITECTURES=$2 NINJA=$3 PATH=$folder:$PATH ./dev deps >"$folder/told" 2>&1 </dev/null
    installed=$(sed -n 's/.*install --no-install-recommends //p' "$folder/log")
    [[ $installed == "$4" ]] && return
    echo "FAILED: $name: \"$installed\" is installed, not \"$4\"; ./dev told: $(cat "$folder/told")"
    failed=1
}

expect "everything is there" "$native" "$native" ""
expect "packages of every architecture are there" all all ""
expect "another architecture's are there, too" "$native riscv64" "$native riscv64" ""
expect "one is missing" "$native" "" ninja-build
expect "one is there for another architecture only" "$native" riscv64 ninja-build

grep -m 1 -e ninja-build -e apt-get "$folder/told" | grep -q "missing.*ninja-build" || {
    echo "FAILED: ./dev installs before it says what: $(cat "$folder/told")"
    failed=1
}

# On a terminal, whose user says no.
: >"$folder/log"
export APT_LOG=$folder/log ARCHITECTURES=$native NINJA=""
echo n | PATH=$folder:$PATH script -qec "./dev build" /dev/null >"$folder/told"
if [[ -s $folder/log ]]; then
    echo "FAILED: ./dev build installs although its user said no: $(cat "$folder/told")"
    failed=1
fi

exit "$failed"
