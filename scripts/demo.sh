#!/usr/bin/env bash
# Runs halvaned with the demo schedule on the current session bus, shows it with halvanectl, stops it.
set -euo pipefail
build=${1:-build}
name=org.halvane.Demo$$
"$build/service/halvaned" --demo --dry-run --name "$name" &
daemon=$!
trap 'kill "$daemon" 2>/dev/null; wait "$daemon" 2>/dev/null || true' EXIT
ctl() { "$build/service/halvanectl" --name "$name" "$@"; }
for _ in $(seq 50); do
    ctl status >/dev/null 2>&1 && break
    sleep 0.1
done
echo "== halvanectl status"
ctl status
echo
echo "== halvanectl list"
ctl list
echo
echo "== halvanectl perform demo-sleep (on demand, shown only)"
ctl perform demo-sleep && echo "done"
