#!/usr/bin/env bash
# THIRD_PARTY.md has a row for each library that ./dev installs, and no other.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.." || exit

differences=$(diff \
    <(sed -n '/^packages=(/,/^)/p; /^player_packages=(/,/^)/p' dev | grep -oE '[a-z0-9.+-]+-dev\b' |
        grep -v '^libclang-rt-' | sort -u) \
    <(sed -nE 's/^\| ([a-z0-9.+-]+-dev) \|.*/\1/p' THIRD_PARTY.md | sort)) && exit
echo "FAILED: ./dev installs (<) other libraries than THIRD_PARTY.md lists (>):"
echo "$differences"
exit 1
