#!/usr/bin/env bash
# The main job: sets up and builds, then starts halvaned with the demo schedule and shows its state with
# halvanectl. Without a session bus (or with --private) everything runs on a private bus of its own.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build=${BUILD_DIR:-build}

if [ "${1:-}" = "--private" ] || [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
    exec dbus-run-session -- scripts/demo.sh "$build"
fi
exec scripts/demo.sh "$build"
