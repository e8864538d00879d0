#!/usr/bin/env bash
# Runs halvaned with the demo schedule on the current session bus, shows it with halvanectl, stops it.
set -euo pipefail
build=${1:-build}
name=org.halvane.Demo$$
state=$(mktemp -d)
"$build/service/halvaned" --demo --dry-run --name "$name" --state-dir "$state" &
daemon=$!
trap 'kill "$daemon" 2>/dev/null; wait "$daemon" 2>/dev/null || true; rm -rf "$state"' EXIT
ctl() { "$build/bin/halvanectl" --name "$name" "$@"; }
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
echo
echo "== halvanectl add \"Stretch your legs\" --daily 15:00 --log \"time to stand up\""
ctl add "Stretch your legs" --daily 15:00 --log "time to stand up" && ctl list pending
