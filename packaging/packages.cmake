# Debian packages: the programs one by one, and what they share.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rehome)
set(CPACK_PACKAGE_CONTACT ${REHOME_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL rehome rehearsal companions common)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/directories.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/source_date.cmake)
file(WRITE ${CPACK_PROJECT_CONFIG_FILE} "set(ENV{SOURCE_DATE_EPOCH} ${REHOME_SOURCE_DATE})\n")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(common "rehome-common ${same_version}")
set(companions "rehome-companions ${same_version}")
# What a window needs that no library names: the X11 side of Qt, and the font that it is laid out in.
set(window "qt6-qpa-plugins, fonts-liberation2 | fonts-liberation")

set(CPACK_DEBIAN_REHOME_PACKAGE_NAME rehome)
set(CPACK_DEBIAN_REHOME_PACKAGE_DEPENDS
    "${common}, ${companions}, ${window}, libsasl2-modules-gssapi-mit, xauth")
# The menu entry opens a terminal, and asks for the documents folder.
set(CPACK_DEBIAN_REHOME_PACKAGE_RECOMMENDS "krb5-user, xdg-user-dirs, xterm | x-terminal-emulator")
set(CPACK_DEBIAN_REHOME_PACKAGE_SUGGESTS "rehome-rehearsal")
set(CPACK_DEBIAN_REHOME_DESCRIPTION
    "bring the mailboxes of a lost Exchange server home
Rehome shows every mailbox of a Microsoft Exchange organisation with the store
that holds it and that store's state, drops the chosen ones and creates them
again on a store of the local server, and on closing opens each new mailbox
until all are there, restoring e-mail addresses that changed on the way.
.
It works on Active Directory, with your Kerberos ticket.")

set(CPACK_DEBIAN_REHEARSAL_PACKAGE_NAME rehome-rehearsal)
set(CPACK_DEBIAN_REHEARSAL_PACKAGE_DEPENDS "${common}, ${companions}, ${window}")
set(CPACK_DEBIAN_REHEARSAL_DESCRIPTION
    "rehearse a mailbox recovery on a copy of the directory
The window of Rehome over an organisation held in process: the one that ships,
or a snapshot of your own directory. Nothing real is touched.")

set(CPACK_DEBIAN_COMPANIONS_PACKAGE_NAME rehome-companions)
# What rehome-snapshot runs, and what undoes a run.
set(CPACK_DEBIAN_COMPANIONS_PACKAGE_DEPENDS "${common}, ldap-utils, libsasl2-modules-gssapi-mit")
set(CPACK_DEBIAN_COMPANIONS_PACKAGE_RECOMMENDS "krb5-user")
set(CPACK_DEBIAN_COMPANIONS_DESCRIPTION
    "mailbox recovery: checks, records, restoring and snapshots
The programs of Rehome without a window. rehome-check says beforehand what
would stop a recovery, and who is where. rehome-records says what became of
each mailbox, rehome-restore restores one user, and rehome-snapshot takes a
snapshot of a directory to rehearse on.")

set(CPACK_DEBIAN_COMMON_PACKAGE_NAME rehome-common)
set(CPACK_DEBIAN_COMMON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_COMMON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_COMMON_DESCRIPTION
    "mailbox recovery: the guide and the card
What the packages of Rehome share: the administrator's guide with its pages on
messages, permissions and reference, and the card, one page to print.")

# Debian's documents of a package.
configure_file(changelog.Debian.in changelog.Debian @ONLY)
add_custom_command(
    OUTPUT changelog.gz changelog.Debian.gz
    COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md > changelog.gz
    COMMAND gzip -9nc changelog.Debian > changelog.Debian.gz
    DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian
    VERBATIM)
list(APPEND made changelog.gz changelog.Debian.gz)
foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(
        FILES copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
              ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
        COMPONENT ${component})
    install(
        FILES lintian/${package}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        COMPONENT ${component})
endforeach()

include(CPack)
