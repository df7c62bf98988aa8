# Installing and packaging: the executable, its desktop entry, icon and AppStream metadata where the
# freedesktop specifications look for them, and a .deb through CPack.
include(GNUInstallDirs)
# Installing never builds: build the wharf target first (the full tree holds every test and benchmark).
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

set(WHARF_APP_ID com.tamberly.Wharf)

install(TARGETS wharf RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/data/${WHARF_APP_ID}.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${PROJECT_SOURCE_DIR}/data/icons/hicolor/scalable/apps/${WHARF_APP_ID}.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${PROJECT_SOURCE_DIR}/data/${WHARF_APP_ID}.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
# The rules are compiled in; the installed copy is the example users extend in ~/.config/wharf/rules.conf.
install(FILES ${PROJECT_SOURCE_DIR}/data/matching/rules.conf
        DESTINATION ${CMAKE_INSTALL_DATADIR}/wharf)

set(CPACK_PACKAGE_NAME wharf)
set(CPACK_PACKAGE_VENDOR "Tamberly")
set(CPACK_PACKAGE_CONTACT "Wharf developers <wharf@tamberly.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "A dock along the bottom of every display")
set(CPACK_PACKAGE_DESCRIPTION
    "Wharf shows pinned and running applications, folders, minimized windows and the Trash in a\n\
dock along the bottom of every display, and hides the desktop's own dock while it runs.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION x11)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Library packages come from the binary's own links (dpkg-shlibdeps); the rest are run-time needs
# the linker cannot see: SVG icons, the icon themes and the tools the system-dock settings use.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6svg6, hicolor-icon-theme")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "adwaita-icon-theme, desktop-file-utils")
include(CPack)
