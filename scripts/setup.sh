#!/usr/bin/env bash
# Installs what the project needs on Debian 12 (only the missing packages, as root or through sudo),
# then configures and builds into build/ (or $BUILD_DIR). Safe to run again.
set -euo pipefail
cd "$(dirname "$0")/.."

# libqt6opengl6-dev: qt6-base-dev only recommends it; kept because the set-up has been proven on fresh
# machines with it (nothing of the project links Qt OpenGL since interface files are built in-house).
# libplist-dev: libplist-2.0 itself (libplist++'s pkg-config file does not pull it in).
# dbus-daemon: the private buses of the tests and the demo. libglib2.0-bin: gdbus (docs/protocol.md).
packages=(
    g++ make cmake pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools qt6-svg-dev
    libqt6opengl6-dev libplist-dev libxcb1-dev dbus-daemon dbus-bin libglib2.0-bin
    # Xvfb: the X server of the login screen's test (tst_LoginPanel) and of the real notification server's.
    # Desktop notifications and the update feed: a real notification server for the tests, and
    # appstreamcli to validate the metainfo file.
    xvfb dunst appstream
)
# libsqlite3-dev: halvaned's store.
packages+=(libsqlite3-dev)
# libpng-dev: the status menu's pictures are encoded with libpng directly.
packages+=(libpng-dev)
# The main job without a desktop (scripts/demo.sh): a display, a real panel host, window manager and
# notification server, and the tools that click and take screenshots. The packages (dist/packaging.cmake):
# dpkg-dev and file find their dependencies, lintian checks them (tests/tst_Shipping.cpp).
packages+=(
    xvfb xauth xfwm4 xfce4-panel dunst xdotool imagemagick x11-utils
    dpkg-dev file lintian
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    "${as_root[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

build=${BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" -j2
