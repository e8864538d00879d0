#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/) with clang into build-fuzz/ (or $BUILD_DIR) and runs each for
# FUZZ_SECONDS (default 180), then prints per target the inputs run and the crashing inputs found.
# Crashing inputs are kept in build-fuzz/artifacts/<target>/; replay one with
#   build-fuzz/fuzz/<target> <file>
# Usage: scripts/fuzz.sh [target...]   (default: fuzz_plist fuzz_dbus fuzz_store). Not part of CI.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

# Only what is missing, as root or through sudo, as scripts/setup.sh does. libclang-rt-14-dev carries
# the libFuzzer and sanitizer runtimes; clang alone does not pull it in.
packages=(clang-14 libclang-rt-14-dev)
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "fuzz: installing ${missing[*]}"
    as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    "${as_root[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

build=${BUILD_DIR:-build-fuzz}
seconds=${FUZZ_SECONDS:-180}
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fuzz_plist fuzz_dbus fuzz_store)

# Every library is instrumented for coverage (fuzzer-no-link) and checked by both sanitizers; the targets
# add the fuzzer's main. Warnings are not errors here: the project is held to gcc's warnings, and
# clang's differ.
flags="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRISK_FUZZ=ON -DTRISK_WARNINGS_AS_ERRORS=OFF \
    -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
cmake --build "$build" -j"${JOBS:-2}" --target "${targets[@]}"

# Leaks are checked after every input: what a target keeps between inputs (the application, the peer
# connection) is made once, before the first.
export ASAN_OPTIONS="halt_on_error=1:print_stacktrace=1:detect_leaks=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"

summary=()
for target in "${targets[@]}"; do
    corpus=$root/$build/corpus/$target
    artifacts=$root/$build/artifacts/$target
    mkdir -p "$corpus" "$artifacts"
    log=$root/$build/$target.log
    : >"$log"
    executions=0
    # Inputs kept from earlier runs stay; only this run's are counted.
    started=$root/$build/$target.started
    touch "$started"
    deadline=$((SECONDS + seconds))
    # libFuzzer stops at the first crash; it starts again with what time is left, so that one fault
    # does not hide the next.
    while [ $SECONDS -lt "$deadline" ]; do
        left=$((deadline - SECONDS))
        "$build/fuzz/$target" -max_total_time="$left" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
            -print_final_stats=1 -artifact_prefix="$artifacts/" "$corpus" "fuzz/corpus/${target#fuzz_}" \
            >>"$log" 2>&1 || true
        run=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | tail -1 | grep -o '[0-9]*$' || echo 0)
        executions=$((executions + run))
        # Counted once per run.
        sed -i 's/stat::number_of_executed_units:/stat::counted_executed_units:/' "$log"
    done
    crashes=$(find "$artifacts" -type f -newer "$started" | wc -l)
    summary+=("$(printf '%-11s %12s executions  %3s crashing inputs  (%s)' "$target" "$executions" "$crashes" "$log")")
done
echo
printf '%s\n' "${summary[@]}"
