#!/usr/bin/env bash
# The main job: sets up and builds, then shows trisk-notifier at work against halvaned's demo schedule
# (scripts/demo.sh; nothing touches power). With a desktop (DISPLAY or WAYLAND_DISPLAY) it runs there
# until Ctrl-C; without one (or with --headless) it runs under Xvfb with a real panel and window manager,
# saves screenshots and a summary into demo-output/ (or $DEMO_OUTPUT), and stops.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build=${BUILD_DIR:-build}

if [[ ${1:-} != --headless && -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" && -n "${DBUS_SESSION_BUS_ADDRESS:-}" ]]; then
    exec scripts/demo.sh desktop "$build"
fi
exec scripts/demo.sh headless "$build" "${DEMO_OUTPUT:-demo-output}"
