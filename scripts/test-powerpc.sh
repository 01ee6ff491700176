#!/usr/bin/env bash
# Builds the library, the platform, the mail service without its network and the tests for a machine of the device's
# kind (32 bits, big-endian, char unsigned), runs the tests under qemu-ppc, and says what the library costs there.
#   usage: scripts/test-powerpc.sh
# The first run fetches Debian's source of protobuf; it and all that is built stays under build/powerpc-*. The tests are held
# against those of build/dev, which is made when it is not there. The last line is "N passed, N failed"; the exit status is
# 0 only when none failed.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
here=$root/scripts/powerpc
host=$root/build/dev
target=$root/build/powerpc
device=$root/build/powerpc-size
log=$root/build/log
jobs=$(nproc)

say() { printf 'powerpc: %s\n' "$1"; }

# step <name> <command>...: its output goes to the log; ends the run when it fails.
step() {
    local name=$1 began=$SECONDS
    shift
    if "$@" >"$log/powerpc-$name.log" 2>&1 </dev/null; then
        say "$name done, $((SECONDS - began)) s"
        return 0
    fi
    say "$name failed after $((SECONDS - began)) s: $(grep -m1 -E 'error:|^sources:|CMake Error' "$log/powerpc-$name.log" ||
        tail -n 1 "$log/powerpc-$name.log") (all of it: build/log/powerpc-$name.log)"
    printf '0 passed, 1 failed\n'
    exit 1
}

build_host() {
    local programs
    [ -e "$host/build.ninja" ] || cmake --preset dev
    mapfile -t programs <"$target/tests/programs.txt"
    programs+=(call-cost)
    cmake --build "$host" -j "$jobs" --target "${programs[@]}"
}

configure() {
    cmake -S "$root" -B "$1" -G Ninja --toolchain "$root/cmake/powerpc-linux-gnu.cmake" \
        "-DVELORIN_TARGET_ROOT=$root/build/powerpc-root/root" -DVELORIN_WERROR=ON -DVELORIN_WITH_CURL=OFF "${@:2}"
}

# No debugging information, no optimiser: what takes the least time until the tests have run.
configure_tests() {
    configure "$target" -DCMAKE_BUILD_TYPE=None -DVELORIN_BUILD_TESTS=ON -DVELORIN_TEST_SERVERS=OFF
}

# As a device builds the library: small, its messages nobody else's.
build_device() {
    configure "$device" -DCMAKE_BUILD_TYPE=MinSizeRel "-DCMAKE_CXX_FLAGS=-mmultiple -fstack-usage" \
        -DVELORIN_BUILD_SERVICE=OFF -DVELORIN_EXPORT_MESSAGES=OFF -DVELORIN_BUILD_FOOTPRINT=ON
    cmake --build "$device" -j "$jobs"
}

# The single tests that the list names, as a filter that leaves them out.
left_out() {
    sed -nE 's/^[a-z_0-9]+\.([^ ]+) +#.*/\1/p' tests/powerpc_absent.txt | paste -sd:
}

run_tests() {
    rm -rf "$target/results"
    VELORIN_ICU_ANSWERS=$target/icu_answers.txt "$host/tests/charset_test" --gtest_brief=1
    # What a test says of itself is in its results; CTest's own count is one an entry.
    GTEST_FILTER=-$(left_out) VELORIN_ICU_ANSWERS=$target/icu_answers.txt ctest --test-dir "$target" -j "$jobs" --no-tests=error \
        --output-on-failure --test-output-size-failed 100000 --output-junit "$target/results/ctest.xml" || true
}

main() {
    [ $# -eq 0 ] || { say "unknown argument '$1'; usage: scripts/test-powerpc.sh" >&2; exit 64; }
    unset VELORIN_CHANNEL_DIR VELORIN_TRACE VELORIN_CAPTURE
    cd "$root"
    mkdir -p "$log"
    bash scripts/setup.sh build test
    step root bash "$here/root.sh" build/powerpc-root
    step configure configure_tests
    step build cmake --build "$target" -j "$jobs"
    step host build_host
    step tests run_tests
    step device build_device
    local over=0
    bash "$here/footprint.sh" "$host" "$device" || over=1
    python3 "$here/results.py" "$host" "$target" tests/powerpc_absent.txt "$over"
}

main "$@"
