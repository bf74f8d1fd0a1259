# Installs the library for CMake (find_package(VKTCoreKit)) and for pkg-config.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS VKTCoreKit VKTCore VKTLinuxPlatform VKTPlayer EXPORT VKTCoreKitTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS vkt-script-host RUNTIME DESTINATION ${CMAKE_INSTALL_LIBDIR}/vktcorekit)
install(DIRECTORY VKTCoreKit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "*.inc" PATTERN "testing" EXCLUDE PATTERN "linux" EXCLUDE)
install(EXPORT VKTCoreKitTargets NAMESPACE VKTCoreKit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VKTCoreKit)

configure_package_config_file(cmake/VKTCoreKitConfig.cmake.in VKTCoreKitConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VKTCoreKit)
write_basic_package_version_file(VKTCoreKitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VKTCoreKitConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VKTCoreKitConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VKTCoreKit)

configure_file(cmake/VKTCoreKit.pc.in VKTCoreKit.pc @ONLY)
configure_file(cmake/VKTPlayer.pc.in VKTPlayer.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VKTCoreKit.pc ${CMAKE_CURRENT_BINARY_DIR}/VKTPlayer.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# A component of its own: find_package(VKTCoreKit COMPONENTS CairoCanvas), pkg-config VKTCairoCanvas.
if(TARGET VKTCairoCanvas)
    install(TARGETS VKTCairoCanvas EXPORT VKTCairoCanvasTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(EXPORT VKTCairoCanvasTargets NAMESPACE VKTCoreKit::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VKTCoreKit)
    configure_file(cmake/VKTCairoCanvas.pc.in VKTCairoCanvas.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VKTCairoCanvas.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

if(TARGET vkt)
    install(TARGETS vkt RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
