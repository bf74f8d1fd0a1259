# The Linux platform: everything that touches the system or a third-party library.
find_package(CURL REQUIRED)
find_package(EXPAT REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(Threads REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(ZLIB REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(duktape REQUIRED IMPORTED_TARGET duktape)
file(GLOB linux_sources CONFIGURE_DEPENDS VKTCoreKit/platform/linux/*.cpp)
add_library(VKTLinuxPlatform STATIC ${linux_sources})
vkt_configure_target(VKTLinuxPlatform)
target_compile_definitions(VKTLinuxPlatform PRIVATE ASIO_STANDALONE)
set(VKT_SCRIPT_HOST_FOLDER ${CMAKE_INSTALL_LIBDIR}/vktcorekit)
set_source_files_properties(VKTCoreKit/platform/linux/VKTScriptHostPaths.cpp PROPERTIES COMPILE_DEFINITIONS
    "VKT_INSTALL_PREFIX=\"${CMAKE_INSTALL_PREFIX}\";VKT_SCRIPT_HOST_FOLDER=\"${VKT_SCRIPT_HOST_FOLDER}\"")
target_link_libraries(VKTLinuxPlatform
    PUBLIC VKTCore
    PRIVATE CURL::libcurl EXPAT::EXPAT OpenSSL::Crypto SQLite::SQLite3 Threads::Threads ZLIB::ZLIB
            PkgConfig::duktape $<BUILD_INTERFACE:nlohmann_json::nlohmann_json> ${CMAKE_DL_LIBS})

# The program that runs one script world. No sanitizers: they make system calls that its fence does not allow.
pkg_check_modules(seccomp REQUIRED IMPORTED_TARGET libseccomp)
file(GLOB host_sources CONFIGURE_DEPENDS VKTCoreKit/platform/linux/host/*.cpp)
add_executable(vkt-script-host ${host_sources} VKTCoreKit/platform/linux/VKTDuktapeWorld.cpp)
vkt_set_warnings(vkt-script-host)
target_include_directories(vkt-script-host PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(vkt-script-host PRIVATE PkgConfig::duktape PkgConfig::seccomp)
target_link_options(vkt-script-host PRIVATE -static-libstdc++ -static-libgcc)
set_target_properties(vkt-script-host PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tools/vkt)

# The two archives need each other: the library calls platform services that are declared by it and defined by the
# platform. The names within the group are exported as they stand here.
add_library(VKTCoreKit::VKTLinuxPlatform ALIAS VKTLinuxPlatform)
target_link_libraries(VKTCoreKit INTERFACE
    $<LINK_GROUP:RESCAN,VKTCoreKit::VKTLinuxPlatform,VKTCoreKit::VKTCore>)

# Pictures in memory, for those who draw: nobody else links cairo.
pkg_check_modules(cairo QUIET IMPORTED_TARGET cairo)
option(VKT_WITH_CAIRO "Build VKTCairoCanvas (needs cairo)" ${cairo_FOUND})
if(VKT_WITH_CAIRO)
    pkg_check_modules(cairo REQUIRED IMPORTED_TARGET cairo)
    add_library(VKTCairoCanvas STATIC VKTCoreKit/platform/linux/cairo/VKTCairoImageCanvas.cpp)
    vkt_configure_target(VKTCairoCanvas)
    target_compile_definitions(VKTCairoCanvas INTERFACE VKT_HAS_CAIRO_CANVAS)
    target_link_libraries(VKTCairoCanvas PUBLIC VKTCore PRIVATE PkgConfig::cairo)
    add_library(VKTCoreKit::VKTCairoCanvas ALIAS VKTCairoCanvas)
endif()

# A main loop over GLib's, for those who run one: nobody else links GLib.
pkg_check_modules(glib QUIET IMPORTED_TARGET glib-2.0)
option(VKT_WITH_GLIB "Build VKTGLib (needs GLib)" ${glib_FOUND})
if(VKT_WITH_GLIB)
    pkg_check_modules(glib REQUIRED IMPORTED_TARGET glib-2.0)
    add_library(VKTGLib STATIC VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.cpp)
    vkt_configure_target(VKTGLib)
    target_compile_definitions(VKTGLib INTERFACE VKT_HAS_GLIB_RUN_LOOP)
    target_link_libraries(VKTGLib PUBLIC VKTCore PRIVATE PkgConfig::glib)
    add_library(VKTCoreKit::VKTGLib ALIAS VKTGLib)
endif()
