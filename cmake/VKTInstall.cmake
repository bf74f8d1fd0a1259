# Installs the library for CMake (find_package(VKTCoreKit)) and for pkg-config.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/VKTCoreKit)
install(TARGETS VKTCoreKit VKTCore VKTPlayer EXPORT VKTCoreKitTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY VKTCoreKit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "*.inc" PATTERN "testing" EXCLUDE PATTERN "linux" EXCLUDE PATTERN "detail" EXCLUDE)
install(EXPORT VKTCoreKitTargets NAMESPACE VKTCoreKit:: DESTINATION ${package_folder})

configure_package_config_file(cmake/VKTCoreKitConfig.cmake.in VKTCoreKitConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(VKTCoreKitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VKTCoreKitConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VKTCoreKitConfigVersion.cmake
    DESTINATION ${package_folder})

# As find_package does it, the pkg-config file asks for what the platform needs.
set(pkg_config_requires)
set(pkg_config_libs -lVKTCore)
if(VKT_PLATFORM)
    install(TARGETS VKTLinuxPlatform EXPORT VKTCoreKitTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(TARGETS vkt-script-host RUNTIME DESTINATION ${VKT_SCRIPT_HOST_FOLDER} COMPONENT programs)
    set(pkg_config_requires "libcurl expat libcrypto sqlite3 zlib duktape")
    string(CONCAT pkg_config_libs "-Wl,--start-group -lVKTLinuxPlatform -lVKTCore -Wl,--end-group "
        "-lcurl -lexpat -lcrypto -lsqlite3 -lz -lduktape -ldl -pthread")
endif()

function(vkt_install_pkg_config name)
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
vkt_install_pkg_config(VKTCoreKit)
vkt_install_pkg_config(VKTPlayer)

# Components of their own: find_package(VKTCoreKit COMPONENTS VKTGLib), pkg-config VKTGLib.
foreach(component VKTTesting VKTCairoCanvas VKTGLib)
    if(TARGET ${component})
        install(TARGETS ${component} EXPORT ${component}Targets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
        install(EXPORT ${component}Targets NAMESPACE VKTCoreKit:: DESTINATION ${package_folder})
        vkt_install_pkg_config(${component})
    endif()
endforeach()
install(DIRECTORY VKTCoreKit/platform/testing DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VKTCoreKit/platform
    FILES_MATCHING PATTERN "*.h")
if(TARGET VKTCairoCanvas)
    install(FILES VKTCoreKit/platform/linux/cairo/VKTCairoCanvas.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VKTCoreKit/platform/linux/cairo)
endif()
if(TARGET VKTGLib)
    install(FILES VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VKTCoreKit/platform/linux/glib)
endif()

if(TARGET vkt)
    install(TARGETS vkt RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
endif()
