#!/usr/bin/env bash
# The Debian packages, into build/packages; called by ./dev package and by the step `package` of ./dev check.
#   package.sh build   builds the packages
#   package.sh check   installs them in a clean Debian, uses them there, and removes them again; needs root, mmdebstrap
#                      and what this machine installs packages from
#   package.sh root    makes that clean Debian, build/package/root, for another trial
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

work=build/package
# As deep as the release's folder, whose objects the compiler's cache then knows.
tree=build/package-debian
packages=build/packages
# What a developer of Debian has before the packages come, and no library that they want.
root_packages=g++,cmake,ninja-build,pkg-config,libgtest-dev,man-db,bash-completion,ca-certificates

die() {
    printf 'package.sh: %s\n' "$*" >&2
    exit 1
}

build() {
    # Debian's hardening; what is stripped anyway is not compiled with debugging information.
    local flags
    flags="$(DEB_CXXFLAGS_MAINT_STRIP=-g dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
    # shellcheck disable=SC2086
    cmake -S . -B "$tree" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr -DBUILD_SHARED_LIBS=ON \
        -DCMAKE_SKIP_INSTALL_RPATH=ON \
        -DCMAKE_CXX_FLAGS="$flags" \
        -DCMAKE_SHARED_LINKER_FLAGS="$(dpkg-buildflags --get LDFLAGS)" \
        -DCMAKE_EXE_LINKER_FLAGS="$(dpkg-buildflags --get LDFLAGS)" \
        -DVKT_BUILD_TESTS=OFF -DVKT_BUILD_EXAMPLES=OFF -DVKT_BUILD_TOOLS=ON ${VKT_CMAKE_OPTIONS:-}
    cmake --build "$tree" -j "${VKT_JOBS:-$(nproc)}"
    rm -rf "$packages"
    (cd "$tree" && cpack -G DEB -B "$OLDPWD/$packages")
    rm -rf "$packages/_CPack_Packages"
    ls -l "$packages"
}

# Makes the clean root once; what stands in its archive is asked for again when the list of packages changes.
make_root() {
    local archive=$work/root.tar list=$work/root.list sources
    sources=$(apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Created-By: Packages' 'Origin: Debian' | sort -u)
    [[ -n $sources ]] || die "this machine knows no package list of Debian's; run apt-get update and repeat the command"
    if [[ ! -f $archive || $(cat "$list" 2>/dev/null) != "$root_packages" ]]; then
        command -v mmdebstrap >/dev/null || die "mmdebstrap is missing: apt-get install mmdebstrap"
        [[ $EUID -eq 0 ]] || die "making a clean root needs root: sudo ./dev check package"
        mkdir -p "$work"
        mmdebstrap --quiet --variant=apt --include="$root_packages" --dpkgopt=force-unsafe-io \
            --skip=cleanup/apt/lists "" "$archive" - <<<"$sources" || die "mmdebstrap made no root of: $sources"
        echo "$root_packages" >"$list"
    fi
    rm -rf "$work/root"
    mkdir "$work/root"
    tar -C "$work/root" -xf "$archive"
    cp /etc/resolv.conf "$work/root/etc/resolv.conf"
}

check() {
    [[ $EUID -eq 0 ]] || die "installing packages in a clean root needs root: sudo ./dev check package"
    make_root
    mkdir "$work/root/check"
    cp "$packages"/*.deb tests/package/in_root.sh "$work/root/check/"
    cp -r tests/consumer "$work/root/check/consumer"
    # The mounts and whatever still runs end with the namespace.
    unshare --mount --pid --fork --kill-child --mount-proc="$work/root/proc" \
        chroot "$work/root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        bash /check/in_root.sh || die "the packages do not do in a clean Debian what they promise, see above"
    rm -rf "$work/root"
}

case ${1:-} in
    build) build ;;
    check) check ;;
    root) make_root ;;
    *) die "usage: package.sh build | check | root" ;;
esac
