# What `cmake --install` and `cpack -G DEB` put on a desktop: the program, its desktop entry, icon,
# Quick-Launch file type and manual. The caches (MIME database, desktop database, icon cache) are
# not refreshed here: Debian's triggers do it for the package, the user after a prefix install.
include(GNUInstallDirs)

install(TARGETS tarvik RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

set(TARVIK_DESKTOP_DIR ${PROJECT_SOURCE_DIR}/desktop)
install(FILES ${TARVIK_DESKTOP_DIR}/org.marlowen.Tarvik.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${TARVIK_DESKTOP_DIR}/org.marlowen.Tarvik.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${TARVIK_DESKTOP_DIR}/org.marlowen.Tarvik.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages)

# The manual is written separately; a tree without it still installs.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/manual/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/tarvik/manual
        OPTIONAL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarvik)
set(CPACK_PACKAGE_VENDOR "Tarvik developers")
set(CPACK_PACKAGE_CONTACT "Tarvik developers <tarvik@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "graphical FTP client")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The release preset keeps debug information in the build; the package does not need it.
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Tarvik developers <tarvik@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
# CPack puts the summary first and indents these lines itself.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Tarvik keeps FTP connection forms by name and starts any number of sessions
from them. Each session window shows the local machine and the host side by
side: browse, create, rename and delete on both sides, view files, unpack
archives, and move files and whole directory trees in ASCII or binary mode,
resuming interrupted downloads. A status window follows the transfers and a
log window shows the whole FTP dialogue.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Programs it starts, and Qt's platform plugin, which the libraries' dependencies do not name.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "tar, gzip, unzip, xdg-utils, qt6-qpa-plugins")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

include(CPack)
