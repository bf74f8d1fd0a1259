#!/usr/bin/env bash
# What a box does that a test without root cannot make: small, full and read-only file systems, and networks that
# lead nowhere. Called by `./dev device`; the argument is the folder of the built programs. Mounts and namespaces are
# this script's own and end with it.
set -euo pipefail
[[ $EUID -eq 0 ]] || { echo "device: needs root, for mounts and network namespaces" >&2; exit 1; }
if [[ ${VKT_DEVICE_NAMESPACE:-} != yes ]]; then
    exec env VKT_DEVICE_NAMESPACE=yes unshare --mount --propagation private "$0" "$@"
fi

vkt=$1/tools/vkt/vkt
stress=$1/tests/store_stress
root=$(mktemp -d)
failed=0
server=
trap '[[ -z $server ]] || kill "$server" 2>/dev/null; umount -l "$root"/* 2>/dev/null; rm -rf "$root"' EXIT

# expect NAME STATUS WORDS COMMAND...: the command's exit status, and words that its output must hold.
expect() {
    local name=$1 status=$2 words=$3 output actual=0
    shift 3
    output=$("$@" 2>&1) || actual=$?
    if [[ $actual -eq $status && $output == *"$words"* ]]; then
        echo "ok      $name: $(grep -F -m 1 -- "$words" <<<"$output" | sed 's/^ *//')"
    else
        echo "FAILED  $name: status $actual, not $status; or no \"$words\" in:"
        sed 's/^/        /' <<<"$output"
        failed=1
    fi
}

# partition NAME SIZE: a file system of its own.
partition() {
    mkdir "$root/$1"
    mount -t tmpfs -o "size=$2" tmpfs "$root/$1"
}

partition small 512k
expect "512 KB, 100,000 changes" 0 "100000 changes, 0 refused" "$stress" "$root/small/pixels.db" 100000

"$vkt" serve --port 0 >"$root/serve.log" 2>&1 &
server=$!
until grep -qs '^serving on ' "$root/serve.log"; do sleep 0.05; done
address=$(sed -n 's/^serving on //p' "$root/serve.log")
for name in readonly full; do
    partition $name 2m
    "$vkt" config "${address}config/7" --site 7 --store "$root/$name/config.db" >/dev/null
    "$vkt" privacy --set IABTCF_gdprApplies=int:1 --store "$root/$name/config.db" >/dev/null
done
kill "$server"
wait "$server" 2>/dev/null || true
server=
mount -o remount,ro "$root/readonly"
dd if=/dev/zero of="$root/full/rest" bs=4k 2>/dev/null || true
dd if=/dev/zero of="$root/full/rest2" bs=1 2>/dev/null || true
for name in readonly full; do
    expect "$name file system, cached configuration" 0 "cache" \
        "$vkt" config "${address}config/7" --site 7 --store "$root/$name/config.db"
    expect "$name file system, consent" 0 "may not be sent" "$vkt" privacy --store "$root/$name/config.db"
done

# A network of its own: first with the loopback interface alone, then with another that leads nowhere.
offline() { unshare --net sh -c 'ip link set lo up && "$0" resolve http://no-such-host.invalid/' "$vkt"; }
nowhere() {
    unshare --net sh -c 'ip link set lo up && ip link add nowhere type veth peer name end && ip link set end up && ip addr add 10.9.8.7/24 dev nowhere &&
        ip link set nowhere up && "$0" resolve http://no-such-host.invalid/' "$vkt"
}
expect "no interface but loopback" 3 "not connected" offline
expect "an interface, but no such host" 3 "cannot find host" nowhere
exit "$failed"
