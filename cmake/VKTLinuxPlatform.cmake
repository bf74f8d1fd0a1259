# The Linux platform: everything that touches the system or a third-party library.
vkt_need(CURL::libcurl libcurl4-openssl-dev CURL 7.87)
vkt_need(EXPAT::EXPAT libexpat1-dev EXPAT)
vkt_need(OpenSSL::Crypto libssl-dev OpenSSL 1.1 COMPONENTS Crypto)
vkt_need(SQLite::SQLite3 libsqlite3-dev SQLite3 3.24)
vkt_need(Threads::Threads libc6-dev Threads)
vkt_need(ZLIB::ZLIB zlib1g-dev ZLIB)
vkt_need_header(VKT_ASIO_INCLUDE libasio-dev asio.hpp)
vkt_need_header(VKT_NLOHMANN_JSON_INCLUDE nlohmann-json3-dev nlohmann/json.hpp)

file(GLOB linux_sources CONFIGURE_DEPENDS VKTCoreKit/platform/linux/*.cpp)
set(linux_libraries
    CURL::libcurl EXPAT::EXPAT OpenSSL::Crypto SQLite::SQLite3 Threads::Threads ZLIB::ZLIB ${CMAKE_DL_LIBS})

# Of the script worlds there are two versions: one runs scripts, one says that it does not.
set(no_script_sources ${CMAKE_CURRENT_SOURCE_DIR}/VKTCoreKit/platform/linux/VKTNoScriptExecutor.cpp)
set(script_sources ${linux_sources})
list(FILTER script_sources INCLUDE REGEX "/VKT(Duktape|Process|ScriptHost)[A-Za-z]*\\.cpp$")
if(VKT_WITH_MEASUREMENT)
    vkt_need_module(duktape duktape-dev duktape>=2.2)
    vkt_need_module(seccomp libseccomp-dev libseccomp>=2.4)
    list(REMOVE_ITEM linux_sources ${no_script_sources})
    list(APPEND linux_libraries PkgConfig::duktape)

    # The program that runs one script world. No sanitizers: they make system calls that its fence does not allow.
    set(host_folder_name vktcorekit-${PROJECT_VERSION_MAJOR})
    set(VKT_SCRIPT_HOST_FOLDER ${CMAKE_INSTALL_LIBEXECDIR}/${host_folder_name})
    file(GLOB host_sources CONFIGURE_DEPENDS VKTCoreKit/platform/linux/host/*.cpp)
    add_executable(vkt-script-host ${host_sources} VKTCoreKit/platform/linux/VKTDuktapeWorld.cpp)
    add_executable(VKTCoreKit::vkt-script-host ALIAS vkt-script-host)
    vkt_set_warnings(vkt-script-host)
    target_include_directories(vkt-script-host PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(vkt-script-host PRIVATE PkgConfig::duktape PkgConfig::seccomp)
    target_link_options(vkt-script-host PRIVATE -static-libstdc++ -static-libgcc)
    set_target_properties(vkt-script-host PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tools/vkt)

    # The library looks for it from where it, or the program, is installed: a prefix may move.
    set(host_folder ${CMAKE_INSTALL_FULL_LIBEXECDIR}/${host_folder_name})
    file(RELATIVE_PATH host_from_library ${CMAKE_INSTALL_FULL_LIBDIR} ${host_folder})
    file(RELATIVE_PATH host_from_program ${CMAKE_INSTALL_FULL_BINDIR} ${host_folder})
    set_source_files_properties(VKTCoreKit/platform/linux/VKTScriptHostPaths.cpp PROPERTIES COMPILE_DEFINITIONS
        "VKT_HOST_FOLDER=\"${host_folder}\";VKT_HOST_FROM_LIBRARY=\"${host_from_library}\";VKT_HOST_FROM_PROGRAM=\"${host_from_program}\"")
else()
    list(REMOVE_ITEM linux_sources ${script_sources})
endif()

target_sources(VKTCoreKit PRIVATE ${linux_sources})
target_compile_definitions(VKTCoreKit PRIVATE ASIO_STANDALONE)
target_include_directories(VKTCoreKit SYSTEM PRIVATE ${VKT_ASIO_INCLUDE} ${VKT_NLOHMANN_JSON_INCLUDE})
target_link_libraries(VKTCoreKit PRIVATE ${linux_libraries})

# Pictures in memory, for those who draw: nobody else links cairo.
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
    pkg_check_modules(cairo QUIET IMPORTED_TARGET GLOBAL cairo)
    pkg_check_modules(glib QUIET IMPORTED_TARGET GLOBAL glib-2.0)
endif()
option(VKT_WITH_CAIRO "Build VKTCairoCanvas (needs cairo)" ${cairo_FOUND})
if(VKT_WITH_CAIRO)
    vkt_need_module(cairo libcairo2-dev cairo)
    vkt_add_library(VKTCairoCanvas VKTCoreKit/platform/linux/cairo/VKTCairoImageCanvas.cpp)
    target_compile_definitions(VKTCairoCanvas INTERFACE VKT_HAS_CAIRO_CANVAS)
    target_link_libraries(VKTCairoCanvas PUBLIC VKTCoreKit PRIVATE PkgConfig::cairo)
endif()

# A main loop over GLib's, for those who run one: nobody else links GLib.
option(VKT_WITH_GLIB "Build VKTGLib (needs GLib)" ${glib_FOUND})
if(VKT_WITH_GLIB)
    vkt_need_module(glib libglib2.0-dev glib-2.0)
    vkt_add_library(VKTGLib VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.cpp)
    target_compile_definitions(VKTGLib INTERFACE VKT_HAS_GLIB_RUN_LOOP)
    target_link_libraries(VKTGLib PUBLIC VKTCoreKit PRIVATE PkgConfig::glib)
endif()
