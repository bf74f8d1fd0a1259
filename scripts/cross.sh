#!/usr/bin/env bash
# The library for another processor, built and tried out here: cross.sh ARCH. Called by ./dev cross, which installs what
# `cross.sh packages ARCH` prints. docs/cross.md says what comes of it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

arch=${1:-}
[[ $arch != packages ]] || arch=${2:-}
case $arch in
    arm64) triplet=aarch64-linux-gnu emulator=qemu-aarch64-static ;;
    armhf) triplet=arm-linux-gnueabihf emulator=qemu-arm-static ;;
    s390x) triplet=s390x-linux-gnu emulator=qemu-s390x-static ;;
    musl) ;;
    *)
        echo "usage: ./dev cross arm64 | armhf | s390x | musl" >&2
        exit 2
        ;;
esac
if [[ $1 == packages ]]; then
    if [[ $arch == musl ]]; then echo musl-tools; else printf '%s\n' "g++-$triplet" qemu-user-static; fi
    exit
fi
[[ $arch != musl ]] || exec scripts/cross-musl.sh "${VKT_JOBS:-$(nproc)}"

root_packages=(
    libc6-dev libstdc++-12-dev libcurl4-openssl-dev libexpat1-dev libssl-dev libsqlite3-dev zlib1g-dev duktape-dev
    libseccomp-dev libcairo2-dev libglib2.0-dev libgtest-dev libgmock-dev nlohmann-json3-dev libasio-dev libcli11-dev
    libcpp-httplib-dev
)
folder=build/cross/$arch
root=$PWD/$folder/root
jobs=${VKT_JOBS:-$(nproc)}
emulate=("$emulator" -L "$root")
excused=scripts/cross-emulation.txt
# The examples that play a break; the smaller one counts.
players=(embedding_player tracking_player)

die() {
    echo "cross: $*" >&2
    exit 1
}

# build NAME OPTION...: into build/cross/ARCH/NAME.
build() {
    local name=$1 log=$folder/$1.log
    shift
    cmake -S . -B "$folder/$name" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel \
        -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON -DVKT_WERROR=ON \
        "-DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/toolchains/$triplet.cmake" "-DCMAKE_SYSROOT=$root" "$@" >"$log" 2>&1 &&
        cmake --build "$folder/$name" -j "$jobs" >>"$log" 2>&1 && return
    grep -E -A 15 '^FAILED:|error:|CMake Error' "$log" | head -n 80 >&2
    die "the build for $arch failed, see $log"
}

# ctest OPTION...: the tests of the static build; ends when they did not run, not when some failed.
ctest_here() {
    local log=$folder/tests.log
    ctest --test-dir "$folder/static" --no-tests=error --output-on-failure "$@" >>"$log" 2>&1 || true
    grep -q ' tests failed out of ' "$log" || die "the tests did not run to their end, see $log"
}

# The names of the tests that failed when they were last run.
failed_tests() {
    sed 's/^[0-9]*://' "$folder/static/Testing/Temporary/LastTestsFailed.log" 2>/dev/null || true
}

# reason_of TEST: why emulation cannot run it, from the list of those; fails for any other.
reason_of() {
    local pattern reason
    while IFS='|' read -r pattern reason; do
        # shellcheck disable=SC2053
        [[ $1 == ${pattern% } ]] && echo "$reason" && return
    done < <(grep -v '^#' "$excused")
    return 1
}

# Runs all tests, and once more, alone, each that failed without a reason: emulation is slow, and so are neighbours.
# What fails both times is missed.
run_tests() {
    local name reason all failures skipped excused_count=0 again=() failed=() telling=()
    rm -rf "$folder/tests.log" "$folder/static/Testing"
    ctest_here -j "$jobs"
    failures=$(failed_tests)
    skipped=$(grep -c '\*\*\*Skipped' "$folder/tests.log" || true)
    while read -r name; do
        if reason=$(reason_of "$name"); then telling+=("  $name:$reason"); else again+=("$name"); fi
    done < <(printf '%s' "${failures:+$failures$'\n'}")
    excused_count=${#telling[@]}
    all=$(ctest --test-dir "$folder/static" -N | sed -nE 's/^Total Tests: //p')
    while read -r name; do
        ! reason_of "$name" >/dev/null || grep -qxF "$name" <<<"$failures" || telling+=("  $name passes, though $excused has it")
    done < <(ctest --test-dir "$folder/static" -N | sed -nE 's/^ *Test +#[0-9]+: //p')
    if [[ ${#again[@]} -gt 0 ]]; then
        rm -rf "$folder/static/Testing/Temporary/LastTestsFailed.log"
        ctest_here -R "^($(printf '%s\n' "${again[@]}" | sed 's/[][().*+?^$|\\]/\\&/g' | paste -sd '|'))\$"
        mapfile -t failed < <(failed_tests)
    fi
    echo "tests: $((all - excused_count - skipped - ${#failed[@]})) of $all pass, $excused_count cannot be run by emulation," \
        "$skipped skipped, ${#failed[@]} fail"
    printf '%s\n' ${telling[@]+"${telling[@]}"}
    [[ ${#failed[@]} -eq 0 ]] && return
    printf '  FAILED: %s\n' "${failed[@]}"
    echo "  (their output: $folder/tests.log)"
    missed+=("${#failed[@]} tests fail")
}

# stripped FILE: its bytes without symbols.
stripped() {
    "$triplet-strip" -o "$folder/stripped" "$1"
    stat -c %s "$folder/stripped"
}

# size WHAT BYTES [LIMIT]
size() {
    local text="$1: $(($2 / 1000)) KB${3:+ (at most $(($3 / 1000)) KB)}"
    echo "  $text"
    [[ -z ${3:-} || $2 -le $3 ]] || missed+=("$text")
}

report_sizes() {
    local library player name bytes smallest=""
    library=$(stripped "$folder/shared/libVKTCoreKit.so") player=$(stripped "$folder/shared/libVKTPlayer.so")
    echo "stripped sizes (1 KB is 1,000 bytes):"
    size "libVKTCoreKit.so" "$library"
    size "libVKTCoreKit.so and libVKTPlayer.so" $((library + player)) 1200000
    size "vkt, the library linked statically" "$(stripped "$folder/static/tools/vkt/vkt")"
    size "vkt-script-host" "$(stripped "$folder/static/tools/vkt/vkt-script-host")"
    for name in "${players[@]}"; do
        bytes=$(stripped "$folder/static/examples/$name")
        size "$name, the library linked statically" "$bytes"
        ((bytes >= ${smallest:-$((bytes + 1))})) || smallest=$bytes
    done
    size "the smaller player" "$smallest" 600000
}

# guest_memory PROCESS: kilobytes of RAM that the emulated program has; the emulator's own mappings lie above 2^44.
guest_memory() {
    awk '/^[0-9a-f]+-/ { guest = index($1, "-") < 12 }
        guest && /^Rss:/ { kilobytes += $2 }
        END { print kilobytes + 0 }' "/proc/$1/smaps" 2>/dev/null || echo 0
}

# Looked at every 10 ms, so that a shorter peak may be missed.
report_memory() {
    local vkt=$folder/static/tools/vkt/vkt server client address="" attempt now guest=0 all=0
    "${emulate[@]}" "$vkt" serve --port 0 >"$folder/serve.log" 2>&1 &
    server=$!
    for ((attempt = 0; attempt < 200 && ${#address} == 0; attempt++)); do
        sleep 0.05
        address=$(sed -n 's/^serving on //p' "$folder/serve.log")
    done
    [[ -n $address ]] || die "the demo server did not come up: $(cat "$folder/serve.log")"
    "${emulate[@]}" "$vkt" resolve --handle-wrapper-adpods "${address}demo" >"$folder/resolve.log" 2>&1 &
    client=$!
    while kill -0 "$client" 2>/dev/null; do
        now=$(guest_memory "$client")
        ((now <= guest)) || guest=$now
        now=$(sed -nE 's/^VmHWM:[[:space:]]*([0-9]+) kB/\1/p' "/proc/$client/status" 2>/dev/null || true)
        ((${now:-0} <= all)) || all=$now
        sleep 0.01
    done
    kill "$server"
    wait "$client" || die "resolving the demo failed: $(cat "$folder/resolve.log")"
    echo "memory of vkt resolve of the demo: $guest KiB in RAM at its peak, $all KiB with the emulator and its translations"
}

mkdir -p "$folder"
scripts/cross-root.sh "$arch" "$folder" "${root_packages[@]}"
build static
build shared -DBUILD_SHARED_LIBS=ON -DVKT_BUILD_TESTS=OFF -DVKT_BUILD_TOOLS=OFF
missed=()
echo "$arch ($triplet, $("$triplet-g++" -dumpfullversion), $("$emulator" --version | head -n 1))"
run_tests
report_sizes
report_memory
[[ ${#missed[@]} -eq 0 ]] || die "$arch misses what docs/cross.md asks for: $(printf '%s; ' "${missed[@]}" | sed 's/; $//')"
echo "$arch: everything that docs/cross.md asks for holds"
