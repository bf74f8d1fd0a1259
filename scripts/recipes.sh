#!/usr/bin/env bash
# Tries the recipes under packaging/ without the systems that they are for: what they configure with, with every switch
# off and with every switch on, in a clean Debian that has the dependencies they name and no others. Then builds and
# installs that. Needs root, like package.sh, whose clean root it uses.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

work=build/recipes
dependencies=packaging/dependencies.txt
switches=(measurement glib cairo tools)

die() {
    printf 'recipes.sh: %s\n' "$*" >&2
    exit 1
}

words() { tr -s ' \n' '\n' | sort; }

# debian_names COLUMN: the Debian packages of the dependencies that are named on the standard input as in that column
# of the list.
debian_names() {
    local column=$1 name debian
    words | while read -r name; do
        debian=$(awk -v column="$column" -v name="$name" '$1 != "#" && $column == name { print $4 }' "$dependencies")
        [[ -n $debian ]] || die "the recipe depends on $name, which $dependencies does not have"
        echo "$debian"
    done | sort
}

# expected_packages y: those of the list; expected_packages n: without those of a switch.
expected_packages() { awk -v all="$1" '/^[^#]/ && ($1 == "always" || all == "y") { print $4 }' "$dependencies" | sort; }

# buildroot_value y|n VARIABLE: what the .mk has in it with every switch on or off.
buildroot_value() {
    local each settings=()
    for each in "${switches[@]}"; do settings+=("BR2_PACKAGE_VKTCOREKIT_${each^^}=$1"); done
    # What Buildroot has of its own: here it makes nothing.
    make -s -f - "${settings[@]}" <<'MAKE' value VARIABLE="$2" || die "make cannot read vktcorekit.mk"
qstrip = $(strip $(subst ",,$(1)))
include packaging/buildroot/vktcorekit/vktcorekit.mk
.PHONY: value
value: ; @echo $($(VARIABLE))
MAKE
}

# What Config.in selects must be what the .mk depends on: with every switch on.
check_buildroot_menu() {
    local name symbol menu=$work/Kconfig each
    {
        echo 'mainmenu "trial"'
        # A dependency is a symbol of Buildroot, and so is what is said of the toolchain.
        grep -hoE 'BR2_[A-Z0-9_]+' packaging/buildroot/vktcorekit/Config.in | sort -u | grep -v BR2_PACKAGE_VKTCOREKIT |
            while read -r each; do
                printf 'config %s\n\tbool "%s"\n' "$each" "$each"
                case $each in
                    BR2_PACKAGE_LIBGLIB2 | BR2_PACKAGE_CAIRO | *_ARCH_SUPPORTED* | *_ARCH_SUPPORTS) printf '\tdefault y\n' ;;
                    BR2_PACKAGE_*) ;;
                    *) printf '\tdefault y\n' ;;
                esac
            done
        echo 'source "packaging/buildroot/vktcorekit/Config.in"'
    } >"$menu"
    {
        echo BR2_PACKAGE_VKTCOREKIT=y
        for each in "${switches[@]}"; do echo "BR2_PACKAGE_VKTCOREKIT_${each^^}=y"; done
    } >"$work/config"
    CONFIG_='' KCONFIG_CONFIG=$work/config kconfig-conf --olddefconfig "$menu" >"$work/kconfig.log" 2>&1 ||
        die "Config.in is no menu: $(cat "$work/kconfig.log")"
    ! grep -i warning "$work/kconfig.log" || die "Config.in has problems, see above"
    for name in $(buildroot_value y VKTCOREKIT_DEPENDENCIES); do
        [[ $name != host-* ]] || continue
        symbol=BR2_PACKAGE_$(tr 'a-z-' 'A-Z_' <<<"$name")
        grep -qx "$symbol=y" "$work/config" || die "vktcorekit.mk depends on $name, and Config.in does not select $symbol"
    done
}

# yocto_value NAME: the value of a variable of the recipe, whose assignments stand on one line each.
recipe=(packaging/yocto/vktcorekit_*.bb)
yocto_value() {
    local value
    value=$(awk -v name="$1" 'index($0, name " = \"") == 1 || index($0, name " ??= \"") == 1 { sub(/^[^"]*"/, ""); sub(/"$/, ""); print }' "${recipe[0]}")
    [[ -n $value ]] || die "${recipe[0]} does not set $1"
    echo "$value"
}

# yocto y|n options|dependencies: with every switch on or off.
yocto() {
    local each on off needs
    if [[ $2 == options ]]; then yocto_value EXTRA_OECMAKE; else yocto_value DEPENDS; fi
    for each in "${switches[@]}"; do
        IFS=, read -r on off needs <<<"$(yocto_value "PACKAGECONFIG[$each]")"
        case $1-$2 in
            y-options) echo "$on" ;;
            n-options) echo "$off" ;;
            y-dependencies) echo "$needs" ;;
        esac
    done
}

check_yocto_lines() {
    local bad version
    bad=$(grep -nvE '^(#.*|inherit [a-z -]+|[A-Z_]+(\[[a-z]+\])? (\?\??)?= "[^"]*"|)$' "${recipe[0]}") &&
        die "${recipe[0]}: what is this? $bad"
    version=$(sed -n 's/.*VKTFrameworkVersionString = "\(.*\)".*/\1/p' VKTCoreKit/foundation/VKTFrameworkConstants.h)
    [[ ${recipe[*]} == packaging/yocto/vktcorekit_$version.bb ]] || die "${recipe[*]} is not named after version $version"
    [[ $(buildroot_value y VKTCOREKIT_VERSION) == "$version" ]] || die "vktcorekit.mk is not of version $version"
}

# same WHAT ONE OTHER: lists with a line each.
same() { [[ $2 == "$3" ]] || die "$1 differ: $(diff <(echo "$2") <(echo "$3"))"; }

# try y|n: with every switch on or off.
try() {
    local on=$1 packages options root=build/package/root log=$work/configure-$1.log
    packages=$(expected_packages "$on")
    same "the dependencies of Buildroot's recipe and $dependencies" \
        "$(buildroot_value "$on" VKTCOREKIT_DEPENDENCIES | debian_names 2)" "$packages"
    same "the dependencies of Yocto's recipe and $dependencies" \
        "$(yocto "$on" dependencies | debian_names 3)" "$(grep -vx pkg-config <<<"$packages")"
    # Buildroot says by itself whether libraries are shared.
    options=$({ buildroot_value "$on" VKTCOREKIT_CONF_OPTS && echo -DBUILD_SHARED_LIBS=ON; } | words)
    same "the options of the recipes" "$options" "$(yocto "$on" options | words)"

    mapfile -t packages <<<"$packages"
    mapfile -t options <<<"$options"
    chroot "$root" /usr/bin/env DEBIAN_FRONTEND=noninteractive apt-get -qq install --no-install-recommends \
        -o Dpkg::Options::=--force-unsafe-io "${packages[@]}" >"$log" 2>&1 || die "apt failed: $(tail -n 20 "$log")"
    # Nothing of this machine's ways of building is known there.
    chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin cmake -S /source -B "/tmp/recipe-$on" -G Ninja -DCMAKE_BUILD_TYPE=Release "${options[@]}" >"$log" 2>&1 ||
        die "what the recipes depend on is not enough: $(grep -A 8 'CMake Error' "$log")"
    ! grep -A 6 'not used by the project' "$log" || die "the recipes have options that do not exist, see above"
    echo "recipes, every switch ${on/y/on}: ${options[*]}" | sed 's/ n:/ off:/'

    # Compiled like the Debian packages, in a folder as deep, so that the compiler's cache knows most of it.
    # shellcheck disable=SC2086
    cmake -S . -B "build/recipe-$on" ${VKT_CMAKE_OPTIONS:-} -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr "${options[@]}" \
        -DCMAKE_CXX_FLAGS="$(DEB_CXXFLAGS_MAINT_STRIP=-g dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)" >"$log"
    cmake --build "build/recipe-$on" -j "${VKT_JOBS:-$(nproc)}" >"$log" || die "it does not build: $(tail -n 40 "$log")"
    rm -rf "${work:?}/image"
    DESTDIR=$PWD/$work/image cmake --install "build/recipe-$on" >"$log"
    find "$work/image" -name 'libVKTPlayer.so.7*' | grep -q . || die "nothing was installed"
    [[ $on == n ]] || find "$work/image/usr/bin/vkt" "$work"/image/usr/libexec/*/vkt-script-host >/dev/null
}

rm -rf "$work"/*.log
mkdir -p "$work"
check_yocto_lines
check_buildroot_menu
scripts/package.sh root
mkdir -p build/package/root/source
tar -c --exclude=./build --exclude=./.git . | tar -x -C build/package/root/source
try n
try y
rm -rf build/package/root
