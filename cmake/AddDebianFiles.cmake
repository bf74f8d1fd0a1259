# Run by CPack before it packs: what Debian alone wants of each package, its copyright and its changelogs.
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(group Runtime Development Tools)
    string(TOUPPER ${group} variable)
    set(name ${CPACK_DEBIAN_${variable}_PACKAGE_NAME})
    set(folder ${CPACK_TEMPORARY_DIRECTORY}/${group}/usr/share/doc/${name})
    set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
    file(COPY ${CPACK_VKT_SOURCE_DIR}/packaging/debian/copyright DESTINATION ${folder})
    configure_file(${CPACK_VKT_SOURCE_DIR}/CHANGELOG.md ${folder}/changelog COPYONLY)
    file(WRITE ${folder}/changelog.Debian
"${CPACK_PACKAGE_NAME} (${version}) unstable; urgency=medium

  * Packages of version ${CPACK_PACKAGE_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${now}
")
    execute_process(COMMAND gzip -9nf changelog changelog.Debian WORKING_DIRECTORY ${folder}
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
