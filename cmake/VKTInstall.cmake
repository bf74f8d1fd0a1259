# Installs the library for CMake (find_package(VKTCoreKit)) and for pkg-config. Components: Runtime, Development, Tools,
# Testing.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/VKTCoreKit)
set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/VKTCoreKit)

# vkt_install_libraries(EXPORT_SET COMPONENT TARGET...): shared objects are what runs; archives are for development.
function(vkt_install_libraries export component)
    install(TARGETS ${ARGN} EXPORT ${export}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT ${component}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component})
    install(EXPORT ${export} NAMESPACE VKTCoreKit:: DESTINATION ${package_folder} COMPONENT ${component})
endfunction()

file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH includes_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})

# vkt_install_pkg_config(NAME COMPONENT DESCRIPTION text [CFLAGS flags] [REQUIRES module...] [NEEDS module...]
# [SYSTEM_LIBS flags]). Who links an archive links what it needs; a shared object brings that along, and our headers
# want none of it: a private requirement would be looked for as well.
function(vkt_install_pkg_config name component)
    cmake_parse_arguments(PC "" "DESCRIPTION;CFLAGS;SYSTEM_LIBS" "REQUIRES;NEEDS" ${ARGN})
    if(BUILD_SHARED_LIBS)
        set(PC_SYSTEM_LIBS)
    else()
        list(APPEND PC_REQUIRES ${PC_NEEDS})
    endif()
    list(JOIN PC_REQUIRES ", " PC_REQUIRES)
    configure_file(cmake/VKT.pc.in ${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT ${component})
endfunction()

set(platform_modules)
if(VKT_PLATFORM)
    set(platform_modules libcurl expat libcrypto sqlite3 zlib)
    set(platform_system_libs SYSTEM_LIBS "-ldl -pthread")
    if(VKT_WITH_MEASUREMENT)
        list(APPEND platform_modules duktape)
        install(TARGETS vkt-script-host RUNTIME DESTINATION ${VKT_SCRIPT_HOST_FOLDER} COMPONENT Runtime)
    endif()
endif()

vkt_install_libraries(VKTCoreKitTargets Development VKTCoreKit VKTPlayer)
install(DIRECTORY VKTCoreKit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development
    FILES_MATCHING PATTERN "*.h" PATTERN "*.inc"
    PATTERN "detail" EXCLUDE PATTERN "testing" EXCLUDE PATTERN "linux" EXCLUDE)
vkt_install_pkg_config(VKTCoreKit Development DESCRIPTION "${PROJECT_DESCRIPTION}"
    CFLAGS "-std=c++20 -I\${includedir}" NEEDS ${platform_modules} ${platform_system_libs})
vkt_install_pkg_config(VKTPlayer Development DESCRIPTION "Ad breaks on VKTCoreKit"
    REQUIRES "VKTCoreKit = ${PROJECT_VERSION}")

# Each a component of find_package, too.
vkt_install_libraries(VKTTestingTargets Testing VKTTesting)
install(DIRECTORY VKTCoreKit/platform/testing DESTINATION ${header_folder}/platform COMPONENT Testing
    FILES_MATCHING PATTERN "*.h")
vkt_install_pkg_config(VKTTesting Testing DESCRIPTION "Fakes of the platform of VKTCoreKit, for tests"
    REQUIRES "VKTCoreKit = ${PROJECT_VERSION}")
if(TARGET VKTCairoCanvas)
    vkt_install_libraries(VKTCairoCanvasTargets Development VKTCairoCanvas)
    install(FILES VKTCoreKit/platform/linux/cairo/VKTCairoCanvas.h
        DESTINATION ${header_folder}/platform/linux/cairo COMPONENT Development)
    vkt_install_pkg_config(VKTCairoCanvas Development DESCRIPTION "Drawing of VKTCoreKit into pictures, by cairo"
        REQUIRES "VKTCoreKit = ${PROJECT_VERSION}" CFLAGS -DVKT_HAS_CAIRO_CANVAS NEEDS cairo)
endif()
if(TARGET VKTGLib)
    vkt_install_libraries(VKTGLibTargets Development VKTGLib)
    install(FILES VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.h
        DESTINATION ${header_folder}/platform/linux/glib COMPONENT Development)
    vkt_install_pkg_config(VKTGLib Development DESCRIPTION "The main loop of VKTCoreKit over GLib's"
        REQUIRES "VKTCoreKit = ${PROJECT_VERSION}" CFLAGS -DVKT_HAS_GLIB_RUN_LOOP NEEDS glib-2.0)
endif()

configure_package_config_file(cmake/VKTCoreKitConfig.cmake.in VKTCoreKitConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(VKTCoreKitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VKTCoreKitConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VKTCoreKitConfigVersion.cmake
    DESTINATION ${package_folder} COMPONENT Development)

if(TARGET vkt)
    file(RELATIVE_PATH library_from_program ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(vkt PROPERTIES INSTALL_RPATH "$ORIGIN/${library_from_program}")
    install(TARGETS vkt RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
endif()
