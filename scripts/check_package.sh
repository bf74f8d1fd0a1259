# shellcheck shell=bash disable=SC2034,SC2154
# The prefixes of the step `package` of ./dev check, which sources this: an outside project finds the library wherever
# its prefix was moved, as archives, as shared objects, without measurement, without a platform, and as a subproject.
# All of them are compiled alike, and as the release is, so that the compiler's cache knows most of it.

# variant NAME [OPTION...]: a build of the library and, where there is a platform, of vkt, whose prefix is installed,
# and then moved to build/install/NAME.
variant() {
    local name=$1
    shift
    quietly "package-$name-configure" cmake --preset release -B "build/package-$name" -DVKT_BUILD_TESTS=OFF \
        -DVKT_BUILD_EXAMPLES=OFF "$@"
    quietly "package-$name-build" cmake --build "build/package-$name" -j "$jobs"
    rm -rf "build/install/$name" build/install/before
    quietly "package-$name-install" cmake --install "build/package-$name" --prefix "$PWD/build/install/before"
    mv build/install/before "build/install/$name"
}

# consume NAME [TARGET...]: the outside project on the package in build/install/NAME.
consume() {
    local name=$1 outside=build/consumer-$1
    shift
    rm -rf "$outside"
    quietly "package-$name-cmake" cmake -S tests/consumer -B "$outside" -DCMAKE_PREFIX_PATH="$PWD/build/install/$name"
    quietly "package-$name-consumer" cmake --build "$outside" -j "$jobs" ${@:+--target "$@"}
    expect_one_ad "$outside/consumer"
}

# The same by pkg-config, which an older standard is no matter for: the module asks for its own.
consume_by_pkg_config() {
    local name=$1 folder program=build/consumer-$1/consumer-pkg-config
    folder=$(dirname "$(find "build/install/$name" -name VKTPlayer.pc)")
    # shellcheck disable=SC2046
    quietly "package-$name-pkg-config" g++ tests/consumer/main.cpp -o "$program" \
        $(PKG_CONFIG_PATH=$folder pkg-config --cflags --libs VKTPlayer)
    LD_LIBRARY_PATH=$PWD/$folder/.. expect_one_ad "$program"
}

# vkt as a project of its own: the package in build/install/NAME has the public headers alone.
build_vkt_on() {
    local name=$1 outside=build/vkt-$1 internal
    internal=$(find "build/install/$name" -path '*/detail*')
    [[ -z $internal ]] || die "build/install/$name has internal headers: $internal"
    rm -rf "$outside"
    quietly "package-$name-vkt-cmake" cmake -S tools/vkt -B "$outside" -DCMAKE_PREFIX_PATH="$PWD/build/install/$name"
    quietly "package-$name-vkt" cmake --build "$outside" -j "$jobs"
    quietly "package-$name-vkt-run" "$outside/vkt" resolve --handle-wrapper-adpods "${address}demo"
}

expect_one_ad() {
    local output
    output=$("$1") || die "$1 failed: it played no ad break to its end"
    [[ $output == "1 ad" ]] || die "$1 printed \"$output\", not \"1 ad\""
}

# expect_scripts NAME TEXT: what an installed vkt says of an ad's verification scripts matches the pattern.
expect_scripts() {
    local played
    played=$("build/install/$1/bin/vkt" play --speed 0 --measure --json "${address}inline") || die "vkt of $1 failed: $played"
    grep -q "$2" <<<"$played" || die "build/install/$1/bin/vkt: the measurement of /inline does not tell \"$2\": $played"
}

# expect_own_names LIBRARY...: a shared object defines names of this library only, and those of its soname.
expect_own_names() {
    local library strange
    for library; do
        strange=$(nm -D --defined-only --demangle "$library" | cut -d' ' -f3- |
            grep -vE '^(non-virtual thunk to |virtual thunk to |guard variable for |vtable for |typeinfo (name )?for |VTT for )?(VKT|vkt_|OMIDKorvonet1::)|^operator(==|<=>|\*).*(VKT|OMIDKorvonet1)') || true
        [[ -z $strange ]] || die "$library exports names that are not this library's: $strange"
        [[ $(nm -D --defined-only "$library" | wc -l) -gt 0 ]] || die "$library exports nothing"
        objdump -p "$library" | grep -E 'SONAME +libVKT[A-Za-z]+\.so\.7$' >/dev/null || die "$library has another soname than .so.7"
    done
}

# expect_refusal TEXT COMMAND...: a command that fails, and says why in these words.
expect_refusal() {
    local text=$1 output
    shift
    ! output=$("$@" 2>&1) || die "this should have failed: $*"
    tr -s ' \n' ' ' <<<"$output" | grep -F "$text" >/dev/null || die "\"$*\" does not say \"$text\": $output"
}

# What is missing is told, with what to do, to those who build the library and to those who use the package.
check_refusals() {
    local package=build/install/static errors
    rm -rf build/refused
    expect_refusal "apt-get install libexpat1-dev libcli11-dev" cmake -S . -B build/refused -DVKT_BUILD_TESTS=OFF \
        -DCMAKE_DISABLE_FIND_PACKAGE_EXPAT=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON
    expect_refusal "configure with BUILD_SHARED_LIBS=OFF" cmake -S . -B build/refused -DBUILD_SHARED_LIBS=ON -DVKT_BUILD_TESTS=ON
    expect_refusal "it needs duktape, which pkg-config does not find" env PKG_CONFIG_LIBDIR=/nonexistent \
        cmake -S tests/consumer -B build/refused/consumer -DCMAKE_PREFIX_PATH="$PWD/$package"
    errors=$(g++ -std=c++17 -fsyntax-only -I"$package/include" tests/consumer/main.cpp 2>&1 | grep -c 'error:') || true
    [[ $errors -le 2 ]] || die "an older language standard is $errors errors"
    expect_refusal "VKTCoreKit needs C++20: compile with -std=c++20" \
        g++ -std=c++17 -fsyntax-only -I"$package/include" tests/consumer/main.cpp
}

check_prefixes() {
    variant static
    tool=build/install/static/bin/vkt
    serve
    consume static
    build_vkt_on static
    quietly package-static-contract build/consumer-static/contract_test
    consume_by_pkg_config static
    expect_scripts static '"failure": null'
    check_refusals

    variant shared -DBUILD_SHARED_LIBS=ON
    expect_own_names build/install/shared/lib/libVKT*.so
    consume shared consumer
    consume_by_pkg_config shared
    expect_scripts shared '"failure": null'

    # DESTDIR is what packages are made with, in components.
    rm -rf build/install/destdir
    for component in Runtime Development Tools; do
        DESTDIR=$PWD/build/install/destdir quietly "package-destdir-$component" \
            cmake --install build/package-shared --prefix /usr --component "$component"
    done
    [[ -x build/install/destdir/usr/libexec/vktcorekit-7/vkt-script-host ]] || die "DESTDIR has no script host in usr/libexec"
    [[ ! -e build/install/destdir/usr/include/VKTCoreKit/platform/testing ]] || die "Testing is no component of its own"

    variant unmeasured -DVKT_WITH_MEASUREMENT=OFF
    ! find build/install/unmeasured | grep -i host$ || die "there is a script host without measurement"
    ! grep -ri duktape build/install/unmeasured/lib/pkgconfig || die "without measurement Duktape is still asked for"
    consume unmeasured consumer
    expect_scripts unmeasured 'VKT_WITH_MEASUREMENT=OFF'

    variant core -DVKT_PLATFORM=
    consume core
    quietly package-core-contract build/consumer-core/contract_test

    # A subproject is the library alone: no test, tool or install rule of ours.
    rm -rf build/subproject build/install/subproject
    quietly package-subproject-configure cmake -S tests/consumer/subproject -B build/subproject \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=g++ -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$PWD/=" -DVKT_WERROR=ON
    quietly package-subproject-build cmake --build build/subproject -j "$jobs"
    expect_one_ad build/subproject/consumer
    [[ ! -e build/subproject/VKTCoreKit/tools/vkt/vkt ]] || die "a subproject builds vkt"
    quietly package-subproject-install cmake --install build/subproject --prefix build/install/subproject
    [[ ! -e build/install/subproject ]] || die "a subproject installs: $(find build/install/subproject | head -n 5)"
}
