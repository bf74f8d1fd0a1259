#!/usr/bin/env bash
# Compiles every source of the library against musl's headers, with all warnings as errors. Debian has no C++ library
# for musl, so nothing is linked: what is shown is that no source asks the C library for what musl does not have.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

folder=$PWD/build/cross/musl
log=$folder/log
musl=/usr/include/$(uname -m)-linux-musl
[[ -d $musl ]] || {
    echo "cross: there is no $musl. Install musl-tools." >&2
    exit 1
}

# The headers of the kernel and of the dependencies, but not glibc's, which stand beside them.
rm -rf "$folder"
mkdir -p "$folder"/{common,multiarch}
for name in linux asm-generic expat.h expat_external.h sqlite3.h zlib.h zconf.h duktape.h duk_config.h seccomp.h \
    seccomp-syscalls.h asio.hpp asio nlohmann openssl cairo glib-2.0; do
    ln -s "/usr/include/$name" "$folder/common/"
done
for name in asm curl openssl expat_config.h; do
    ln -s "/usr/include/$(g++ -print-multiarch)/$name" "$folder/multiarch/"
done
ln -s "/usr/lib/$(g++ -print-multiarch)/glib-2.0" "$folder/multiarch/"

options=(-std=c++20 -fsyntax-only -I. -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wno-restrict -Werror
    -DASIO_STANDALONE -nostdinc -include scripts/cross-musl.h)
for header_folder in $(g++ -x c++ -E -v - </dev/null 2>&1 | sed -n 's/^ \(.*c++.*\)/\1/p') \
    "$(g++ -print-file-name=include)" "$musl" "$folder"/common{,/cairo,/glib-2.0} "$folder"/multiarch{,/glib-2.0/include}; do
    options+=(-isystem "$header_folder")
done

# The texts that the build defines, empty.
while read -r name; do
    options+=("-D$name\"\"")
done < <(grep -ohE 'VKT_[A-Z_]+=\\"' cmake/*.cmake | tr -d '\\"')

mapfile -t sources < <(find VKTCoreKit -name '*.cpp' | sort)
# shellcheck disable=SC2016
failures=$(printf '%s\n' "${sources[@]}" |
    xargs -P "${1:-$(nproc)}" -I{} sh -c '"$@" {} 2>>"$0" || echo {}' "$log" g++ "${options[@]}")
if [[ -n $failures ]]; then
    echo "cross: with musl's headers these do not compile (the compiler's words: $log):" >&2
    echo "$failures" >&2
    exit 1
fi
echo "musl: ${#sources[@]} of ${#sources[@]} sources compile, the script host's included. Nothing is linked: Debian has no C++ library for musl."
