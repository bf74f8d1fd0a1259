# Debian packages, made by CPack from the install components: cpack -G DEB, or ./dev package, which configures what
# they want (shared libraries below /usr). libvktcorekit7 has the component Runtime, libvktcorekit-dev Development and
# Testing, vkt Tools.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vktcorekit)
set(CPACK_PACKAGE_VENDOR "VKTCoreKit")
set(CPACK_PACKAGE_CONTACT "VKTCoreKit maintainers <maintainers@vktcorekit.invalid>")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL Runtime Development Testing Tools)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)

# The Debian revision of this version's packages.
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(package_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
execute_process(COMMAND dpkg-architecture -t "${CMAKE_LIBRARY_ARCHITECTURE}" -q DEB_HOST_ARCH
    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)

# package(COMPONENT NAME SECTION SUMMARY LINE...): what the package is, its summary and its description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
macro(vkt_package component name section)
    set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${section})
    string(JOIN "\n" CPACK_DEBIAN_${component}_DESCRIPTION ${ARGN})
endmacro()
set(description
    "VKTCoreKit reads VAST documents, follows wrappers and passbacks to ads that"
    "can be played, picks their media files and reports what happens to them."
    "It keeps configuration and consent, and runs the verification scripts of"
    "Open Measurement."
    ".")

set(library_package libvktcorekit${PROJECT_VERSION_MAJOR})
vkt_package(RUNTIME ${library_package} libs "core library of advertising SDKs on television devices" ${description}
    "This package has the shared libraries and the program that runs scripts.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

vkt_package(DEVELOPMENT libvktcorekit-dev libdevel "core library of advertising SDKs, for development" ${description}
    "This package has the headers, the files for CMake and pkg-config, and the"
    "library of fakes and contract suites for tests, which want GoogleTest.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${package_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake, libgtest-dev, pkg-config")

vkt_package(TOOLS vkt utils "command line for VAST documents" ${description}
    "This package has the command line, which shows what a document holds, which"
    "ads it leads to and what is tracked when they play, and runs a demo ad"
    "server.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} (= ${package_version})")
# dpkg-shlibdeps finds our own libraries there; the version of their package is said above.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

# What is Debian's alone is no part of an installation: it is added to the folders that become the packages.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/AddDebianFiles.cmake)
set(CPACK_VKT_SOURCE_DIR ${PROJECT_SOURCE_DIR})

include(CPack)
cpack_add_component_group(Runtime)
cpack_add_component_group(Development)
cpack_add_component_group(Tools)
cpack_add_component(Runtime GROUP Runtime)
cpack_add_component(Development GROUP Development)
cpack_add_component(Testing GROUP Development)
cpack_add_component(Tools GROUP Tools)
