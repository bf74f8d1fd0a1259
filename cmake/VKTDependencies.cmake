# Looking for libraries. What is missing is collected and told at once, with the Debian packages that have it.

# vkt_need(TARGET DEBIAN_PACKAGE PACKAGE [VERSION] [ARGUMENT...]): find_package, for an imported target. A project that
# has this one as its subproject links the same targets, and so has to see them.
macro(vkt_need target debian_package)
    if(NOT TARGET ${target})
        find_package(${ARGN} QUIET)
        _vkt_note(${target} ${debian_package} ${ARGN})
    endif()
endmacro()

# vkt_need_module(PREFIX DEBIAN_PACKAGE MODULE...): pkg-config, for the target PkgConfig::PREFIX. A module may have its
# least version: name>=1.0
macro(vkt_need_module prefix debian_package)
    find_package(PkgConfig QUIET)
    if(NOT PKG_CONFIG_FOUND)
        _vkt_note(PkgConfig pkg-config pkg-config)
    elseif(NOT TARGET PkgConfig::${prefix})
        pkg_check_modules(${prefix} QUIET IMPORTED_TARGET GLOBAL ${ARGN})
        _vkt_note(PkgConfig::${prefix} "${debian_package}" ${ARGN})
    endif()
endmacro()

# vkt_need_header(VARIABLE DEBIAN_PACKAGE HEADER): the folder of a library that is headers only.
macro(vkt_need_header variable debian_package header)
    find_path(${variable} ${header})
    if(NOT ${variable})
        _vkt_note(${variable} ${debian_package} ${header})
        set(${variable} "")
    endif()
endmacro()

function(_vkt_note target debian_package)
    if(NOT TARGET ${target})
        list(JOIN ARGN " " what)
        set_property(GLOBAL APPEND PROPERTY VKT_MISSING ${what})
        set_property(GLOBAL APPEND PROPERTY VKT_MISSING_PACKAGES ${debian_package})
        return()
    endif()
    get_target_property(aliased ${target} ALIASED_TARGET)
    if(aliased)
        set(target ${aliased})
    endif()
    get_target_property(is_global ${target} IMPORTED_GLOBAL)
    if(NOT is_global)
        set_target_properties(${target} PROPERTIES IMPORTED_GLOBAL TRUE)
    endif()
endfunction()

function(vkt_report_missing)
    get_property(missing GLOBAL PROPERTY VKT_MISSING)
    get_property(packages GLOBAL PROPERTY VKT_MISSING_PACKAGES)
    if(missing)
        list(REMOVE_DUPLICATES missing)
        list(JOIN missing ", " missing)
        list(REMOVE_DUPLICATES packages)
        list(JOIN packages " " packages)
        message(FATAL_ERROR "VKTCoreKit does not find what it needs: ${missing}. On Debian:\n"
            "  apt-get install ${packages}\n"
            "What is elsewhere is found by CMAKE_PREFIX_PATH and PKG_CONFIG_PATH. VKT_WITH_MEASUREMENT=OFF does without "
            "Duktape and libseccomp, VKT_BUILD_TOOLS=OFF and VKT_BUILD_TESTS=OFF without what those need.")
    endif()
endfunction()
