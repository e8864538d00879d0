#!/usr/bin/env bash
# Builds the whole project, halvaned and the tests included, with AddressSanitizer and
# UndefinedBehaviorSanitizer into build-asan/ (or $BUILD_DIR), then runs the whole test suite. Any
# sanitizer report, from a test or from a service a test started, fails the run. Not part of CI.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

# Needs the project's packages (scripts/setup.sh installs them); gcc brings both sanitizers' runtimes.

build=${BUILD_DIR:-build-asan}
reports=$root/$build/sanitizer-reports
flags="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
# Warnings stay errors in the normal build; here gcc's flow analysis sees the instrumented code and
# warns about paths the sanitizers added, so they are not errors.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRISK_WARNINGS_AS_ERRORS=OFF \
    -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined"
cmake --build "$build" -j"${JOBS:-2}"

rm -rf "$reports"
mkdir -p "$reports"
# Each process writes its reports to a file of its own under $reports: the tests start halvaned,
# halvanectl and the notifier themselves, and a report from one of those would otherwise go to a
# stream no test reads.
# Leak detection stays on and needs no suppressions: what Qt, fontconfig and libdbus keep until exit
# is still reachable from globals, which LeakSanitizer does not report.
export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1:print_stacktrace=1:log_path=$reports/asan:strict_string_checks=1:check_initialization_order=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:log_path=$reports/ubsan"

status=0
ctest --test-dir "$build" --output-on-failure -j"${JOBS:-2}" || status=$?

if compgen -G "$reports/*" >/dev/null; then
    echo "sanitize: reports in $reports:"
    for report in "$reports"/*; do
        echo "=== $report"
        cat "$report"
    done
    status=1
fi
if [ "$status" -eq 0 ]; then
    echo "sanitize: the whole suite passed with no sanitizer report"
fi
exit "$status"
