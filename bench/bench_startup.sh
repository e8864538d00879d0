#!/usr/bin/env bash
# Start-up of the two programs, 10 runs each on a private bus, with their resident memory then:
# halvaned (empty state) from exec until its name is on the bus, from when it answers; trisk-notifier
# from exec to the scheduler's variables read (what the first deployed notifier is handed), against the
# real halvaned with the demo schedule.
# Usage: dbus-run-session -- bench/bench_startup.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
state=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; rm -rf "$state"' EXIT

median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
# measure LABEL READY_COMMAND PROGRAM ARGS...: starts the program 10 times, each until READY_COMMAND
# (run with the program's log file as $1) succeeds, then records the time and VmRSS and stops it.
measure() {
    local label=$1 ready=$2
    shift 2
    local times=() memory=() run log start pid
    for run in $(seq 10); do
        log=$(mktemp)
        start=$(date +%s%N)
        "$@" >"$log" 2>&1 &
        pid=$!
        until $ready "$log" "$run"; do sleep 0.001; done
        times+=($((($(date +%s%N) - start) / 1000000)))
        memory+=($(awk '/VmRSS/ {print $2}' /proc/$pid/status))
        kill $pid
        wait $pid || true
        rm -f "$log"
    done
    echo "$label: median $(median "${times[@]}") ms (runs: ${times[*]})"
    echo "  resident memory then: median $(median "${memory[@]}") kB (runs: ${memory[*]})"
}

serviceUp() { gdbus wait --session --timeout 10 "org.halvane.BenchStartup$2"; }
startService() { exec "$build/service/halvaned" --no-state --name "org.halvane.BenchStartup$run"; }
measure "halvaned start-up until its name is on the bus" serviceUp startService

"$build/service/halvaned" --demo --state-dir "$state" --name org.halvane.BenchNotifier 2>/dev/null &
pids+=($!)
gdbus wait --session --timeout 10 org.halvane.BenchNotifier
notifierUp() { grep -q "variables are read" "$1"; }
export HALVANE_SERVICE=org.halvane.BenchNotifier QT_QPA_PLATFORM=offscreen
measure "trisk-notifier start-up to the variables read" notifierUp "$build/bin/trisk-notifier"
