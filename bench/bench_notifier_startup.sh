#!/usr/bin/env bash
# trisk-notifier start-up: from exec to the scheduler's variables read (what the first deployed notifier
# is handed), and the resident memory then; 10 runs against the real halvaned on a private bus.
# Usage: dbus-run-session -- bench/bench_notifier_startup.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
state=$(mktemp -d)
"$build/service/halvaned" --demo --state-dir "$state" --name org.halvane.BenchNotifier 2>/dev/null &
daemon=$!
trap 'kill $daemon; rm -rf "$state"' EXIT
sleep 0.5
times=()
memory=()
for run in $(seq 10); do
    log=$(mktemp)
    start=$(date +%s%N)
    HALVANE_SERVICE=org.halvane.BenchNotifier QT_QPA_PLATFORM=offscreen "$build/bin/trisk-notifier" >"$log" 2>&1 &
    pid=$!
    until grep -q "variables are read" "$log"; do sleep 0.001; done
    end=$(date +%s%N)
    times+=($(( (end - start) / 1000000 )))
    memory+=($(awk '/VmRSS/ {print $2}' /proc/$pid/status))
    kill $pid; wait $pid || true
    rm -f "$log"
done
median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
echo "trisk-notifier start-up to the variables read: median $(median "${times[@]}") ms (runs: ${times[*]})"
echo "resident memory then: median $(median "${memory[@]}") kB (runs: ${memory[*]})"
