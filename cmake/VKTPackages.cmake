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

set(library_package libvktcorekit${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "core library of advertising SDKs on television devices
 Reads VAST documents, follows wrappers and passbacks to ads that can be played, picks their media files and reports
 what happens to them. Keeps configuration and consent, and runs the verification scripts of Open Measurement.
 .
 This package has the shared libraries and the program that runs scripts.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvktcorekit-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${package_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libgtest-dev, libglib2.0-dev, libcairo2-dev, pkg-config, cmake")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "core library of advertising SDKs, for development
 Reads VAST documents, follows wrappers and passbacks to ads that can be played, and reports what happens to them.
 .
 This package has the headers, the files for CMake and pkg-config, and the library of fakes and contract suites for
 tests, which want GoogleTest.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vkt)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} (= ${package_version})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "command line of VKTCoreKit for VAST documents
 Shows what a VAST document holds, which ads it leads to, what is tracked when they play, and what consent allows to
 send. It also runs a demo ad server.")
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
