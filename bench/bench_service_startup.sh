#!/usr/bin/env bash
# halvaned start-up: from exec until its name is on the bus (it answers from then on), and its resident
# memory then; 10 runs with an empty state on a private bus.
# Usage: dbus-run-session -- bench/bench_service_startup.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
times=()
memory=()
for run in $(seq 10); do
    state=$(mktemp -d)
    name=org.halvane.BenchStartup$run
    start=$(date +%s%N)
    "$build/service/halvaned" --state-dir "$state" --name "$name" 2>/dev/null &
    pid=$!
    gdbus wait --session --timeout 10 "$name"
    end=$(date +%s%N)
    times+=($(( (end - start) / 1000000 )))
    memory+=($(awk '/VmRSS/ {print $2}' /proc/$pid/status))
    kill $pid; wait $pid || true
    rm -rf "$state"
done
median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
echo "halvaned start-up until its name is on the bus: median $(median "${times[@]}") ms (runs: ${times[*]})"
echo "resident memory then: median $(median "${memory[@]}") kB (runs: ${memory[*]})"
