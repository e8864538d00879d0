# Debian packages from CPack (cmake --build build --target package): halvaned (with halvanectl) and
# trisk-notifier, one per install component. Their library dependencies come from the binaries
# (dpkg-shlibdeps); desktop databases and icon caches follow through dpkg triggers, so no maintainer
# scripts are needed. The configured prefix must be /usr (the default) for the paths in the units to hold.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME trisk-notifier)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Halvane developers")
set(CPACK_PACKAGE_CONTACT "Halvane developers <developers@halvane.org>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://halvane.org/trisk-notifier")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    message(STATUS "Packages are made for ${CMAKE_INSTALL_PREFIX}; Debian's programs live in /usr (-DCMAKE_INSTALL_PREFIX=/usr)")
endif()
# The autostart entry's destination is absolute (/etc): installed under DESTDIR, not under the prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL halvaned trisk-notifier)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_HALVANED_PACKAGE_NAME halvaned)
set(CPACK_DEBIAN_HALVANED_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_HALVANED_PACKAGE_SUGGESTS "polkitd")
set(CPACK_COMPONENT_HALVANED_DESCRIPTION "power-management scheduler service with its command line
halvaned keeps a schedule of events (log lines, commands, power off, restart,
suspend, hibernate) and fires their once, daily and weekly triggers at their
wall-clock times. It publishes what is coming up over D-Bus, where notifiers
show it, and checks every caller's requests: with a rules file per user, with
polkit machine-wide. halvanectl shows and drives it from the command line.

The per-user service starts by D-Bus activation; the machine-wide one is the
systemd unit halvaned-system.service.")

set(CPACK_DEBIAN_TRISK-NOTIFIER_PACKAGE_NAME trisk-notifier)
set(CPACK_DEBIAN_TRISK-NOTIFIER_PACKAGE_SECTION utils)
# The platform plugins (X11, Wayland) are not among the libraries the binary links.
set(CPACK_DEBIAN_TRISK-NOTIFIER_PACKAGE_DEPENDS "qt6-qpa-plugins")
set(CPACK_DEBIAN_TRISK-NOTIFIER_PACKAGE_RECOMMENDS "halvaned, x11-xserver-utils")
set(CPACK_DEBIAN_TRISK-NOTIFIER_PACKAGE_SUGGESTS "qt6-wayland")
set(CPACK_COMPONENT_TRISK-NOTIFIER_DESCRIPTION "desktop notifier of the Halvane scheduler
Trisk Notifier shows what the Halvane scheduler is about to do: an item in the
desktop's panel whose title counts down to the next trigger and whose menu
lists the events coming up, with cancel, delay, adjust and perform; floating
count-down and warning panels shortly before a firing.

It starts with the desktop session and works with panels that host status
items (KDE Plasma, XFCE, LXQt, Cinnamon, MATE, GNOME with AppIndicator) or a
system tray.")

# Each package's changelog (gzip -9n, as Debian wants it) and copyright; the autostart entry, being
# under /etc, is a conffile.
configure_file(${CMAKE_CURRENT_SOURCE_DIR}/debian/conffiles.in ${CMAKE_CURRENT_BINARY_DIR}/debian/trisk-notifier/conffiles @ONLY)
set(CPACK_DEBIAN_TRISK-NOTIFIER_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/debian/trisk-notifier/conffiles)
foreach(package halvaned trisk-notifier)
    configure_file(${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog.in ${CMAKE_CURRENT_BINARY_DIR}/debian/${package}/changelog @ONLY)
    trisk_gzip(${CMAKE_CURRENT_BINARY_DIR}/debian/${package}/changelog ${CMAKE_CURRENT_BINARY_DIR}/debian/${package}/changelog.gz)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/${package}/changelog.gz debian/copyright
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${package})
endforeach()

include(CPack)
