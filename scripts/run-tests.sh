#!/usr/bin/env bash
# Sets up and builds, then runs the whole test suite (each D-Bus test on a private bus of its own).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build=${BUILD_DIR:-build}
ctest --test-dir "$build" --output-on-failure -j2
