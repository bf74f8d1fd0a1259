#!/usr/bin/env bash
# Within a clean Debian, as root: installs the packages that stand beside this file, uses them as those do whom they are
# for, and removes them. It changes the system that it runs on.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
export DEBIAN_FRONTEND=noninteractive

step() { printf '   %4d s  %s\n' "$SECONDS" "$*"; }
die() {
    printf 'in_root.sh: %s\n' "$*" >&2
    exit 1
}
# expect WHAT PATTERN TEXT
expect() { grep -Eq -- "$2" <<<"$3" || die "$1: expected /$2/, not: $3"; }

# What the packages alone may bring and must take away again; what man has set is its own.
ours() { find / -xdev \( -path /check -o -path /tmp -o -path /proc -o -path /var/cache/man \) -prune -o -iname '*vkt*' -print | sort; }

step "install"
[[ -z $(ours) ]] || die "the root is not clean: $(ours)"
apt-get -qq update
apt-get -qq install --no-install-recommends -o Dpkg::Options::=--force-unsafe-io ./*.deb >/check/install.log 2>&1 ||
    die "apt cannot install the packages: $(cat /check/install.log)"

step "the outside project with CMake"
cmake -S consumer -B /tmp/consumer -G Ninja -DCMAKE_BUILD_TYPE=None >/tmp/cmake.log ||
    die "find_package(VKTCoreKit) fails: $(cat /tmp/cmake.log)"
cmake --build /tmp/consumer >/tmp/build.log || die "it does not build: $(cat /tmp/build.log)"
expect "consumer" '^1 ad$' "$(/tmp/consumer/consumer)"
/tmp/consumer/contract_test >/tmp/contract.log || die "the contract suites fail: $(tail -n 30 /tmp/contract.log)"

step "and with pkg-config"
# shellcheck disable=SC2046
g++ consumer/main.cpp -o /tmp/consumer-pkg-config $(pkg-config --cflags --libs VKTPlayer)
expect "consumer by pkg-config" '^1 ad$' "$(/tmp/consumer-pkg-config)"

step "vkt"
vkt serve --port 0 >/tmp/serve.log &
server=$!
address=""
for ((attempt = 0; attempt < 200 && ${#address} == 0; attempt++)); do
    kill -0 "$server" || die "the demo server ended: $(cat /tmp/serve.log)"
    sleep 0.05
    address=$(sed -n 's/^serving on //p' /tmp/serve.log)
done
expect "vkt resolve" '^1 playable ad' "$(vkt resolve "${address}chain/3" 2>/dev/null)"
# The script runs in the program that the library package has, which tells the server what it heard.
vkt play --speed 0 --measure "${address}measured/record" >/tmp/play.log 2>&1 || die "vkt play: $(cat /tmp/play.log)"
expect "the verification script's record" '/pixel/measured/' "$(cat /tmp/serve.log)"
kill "$server"
wait "$server" || die "vkt serve ended with $?"

step "manual and completion"
for command in "" $(vkt --help | sed -nE '/^Commands:/,/^$/s/^  ([a-z]+) .*/-\1/p'); do
    expect "man vkt$command" "^ +vkt$command +- +[a-z]" "$(man "vkt$command")"
done
expect "completion" '^resolve$' "$(bash -c 'source /usr/share/bash-completion/bash_completion; _completion_loader vkt
    COMP_WORDS=(vkt res) COMP_CWORD=1; _vkt; echo "${COMPREPLY[*]}"')"

step "remove"
mapfile -t names < <(for file in ./*.deb; do dpkg-deb --field "$file" Package; done)
apt-get -qq purge "${names[@]}" >/check/remove.log 2>&1 || die "apt cannot remove the packages: $(cat /check/remove.log)"
[[ -z $(ours) ]] || die "the packages left behind: $(ours)"
step "done"
