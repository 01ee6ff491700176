#!/usr/bin/env bash
# Sets up, builds and runs all tests: the development build first, then the one under the address and
# undefined-behaviour sanitizers, then what runs at once under the thread sanitizer; between them what the tests reach of
# the library, and static analysis; at last the tests on an emulated 32-bit big-endian machine. The last line is
# "N passed, N failed"; the exit status is 0 only when none failed.
#   usage: scripts/test.sh
# Logs and results lie in build/log. Root, or a user with sudo: the end-to-end tests start real mail servers.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
log=$root/build/log
jobs=$(nproc)
# Many tests wait for a server, a time-out or a process.
tests_at_once=$((2 * jobs))
passed=0
failed=0
child=
keeper=
# Every process of this run inherits the mark: what is left over at the end is found by it.
VELORIN_TEST_RUN=$$.$(date +%s)
export VELORIN_TEST_RUN
unset VELORIN_CHANNEL_DIR VELORIN_TRACE VELORIN_CAPTURE

say() { printf 'test: %s\n' "$1"; }

stop() {
    local status=$1
    trap - EXIT INT TERM HUP
    [ -z "$keeper" ] || kill "$keeper" 2>/dev/null || true
    if [ -n "$child" ] && kill -0 "$child" 2>/dev/null; then
        kill -TERM -- "-$child" 2>/dev/null || true
        wait "$child" 2>/dev/null || true
    fi
    exit "$status"
}

# Runs a command in a process group of its own, so that all of it can be stopped; its output goes to the log file. Not
# in a session of its own: sudo would not know the password that was given on this terminal.
logged() {
    local file=$1 status=0
    shift
    set -m
    "$@" >"$file" 2>&1 </dev/null &
    child=$!
    set +m
    wait "$child" || status=$?
    child=
    return "$status"
}

# The line of a log that says best what went wrong.
reason() {
    local text
    # CMake says where in one line and what in those below it.
    text=$(grep -m1 -A2 '^CMake Error' "$1" || grep -m1 -E 'error:|FAILED:' "$1" || tail -n 1 "$1")
    tr -s ' \n' ' ' <<<"$text"
}

# A step that has to succeed before the next; counted as one failure when it does not.
step() {
    local name=$1 file=$log/$1.log began=$SECONDS
    shift
    if logged "$file" "$@"; then
        say "$name done, $((SECONDS - began)) s"
        return 0
    fi
    failed=$((failed + 1))
    say "$name failed after $((SECONDS - began)) s: $(reason "$file") (all of it: ${file#"$root"/})"
    return 1
}

# Adds up what CTest recorded, and shows the output, or its two ends, of every test that did not pass. A test that was not
# run has not passed.
count() {
    /usr/bin/python3 - "$1" <<'PYTHON'
import sys
import xml.etree.ElementTree as tree

cases = tree.parse(sys.argv[1]).getroot().findall("testcase")
bad = [case for case in cases if case.get("status") != "run"]
for case in bad:
    print(f"test: FAILED {case.get('name')} ({case.get('status')})", file=sys.stderr)
    lines = (case.findtext("system-out") or "").strip().splitlines()
    # What failed first says most, and what the program said last says how it ended.
    if len(lines) > 50:
        lines[25:-25] = [f"... {len(lines) - 50} lines more"]
    for line in lines:
        print(f"    {line}", file=sys.stderr)
print(len(cases) - len(bad), len(bad))
PYTHON
}

# run_tests <preset> [<option of ctest>...]
run_tests() {
    local preset=$1 began=$SECONDS results=$log/$1.xml counts
    shift
    rm -f "$results"
    logged "$log/$preset-tests.log" ctest --test-dir "$root/build/$preset" -j "$tests_at_once" --no-tests=error \
        --output-on-failure --test-output-size-failed 100000 --output-junit "$results" "$@" || true
    if ! counts=$(count "$results"); then
        failed=$((failed + 1))
        say "$preset: no test results: $(reason "$log/$preset-tests.log")"
        return
    fi
    passed=$((passed + ${counts% *}))
    failed=$((failed + ${counts#* }))
    say "$preset-tests: ${counts% *} passed, ${counts#* } failed, $((SECONDS - began)) s"
    # What a test counted itself.
    sed -n 's/^.*\(sweep: [0-9]* faults in [0-9]* scenarios\).*$/test: '"$preset"' \1/p' "$results"
}

# A check that passes or fails as a whole and says in its last line what it found.
check() {
    step "$@" || return 0
    passed=$((passed + 1))
    say "$(tail -n 1 "$log/$1.log")"
}

build_and_test() {
    local preset=$1
    shift
    step "$preset-configure" cmake --preset "$preset" &&
        step "$preset-build" cmake --build --preset "$preset" -j "$jobs" &&
        run_tests "$preset" "$@"
}

# The end-to-end tests ask sudo without a terminal; a password is asked for here, once, and kept for the run.
prepare_sudo() {
    [ "$(id -u)" -ne 0 ] || return 0
    if sudo -n true 2>/dev/null; then return 0; fi
    [ -t 0 ] && command -v sudo >/dev/null || return 0 # the tests that need it will say so
    sudo -v || return 0
    (while sleep 60 && kill -0 $$ 2>/dev/null; do sudo -n -v 2>/dev/null || true; done) &
    keeper=$!
}

# The run on the emulated machine ends with its own totals, and says on the way what matters of it.
run_powerpc() {
    local file=$log/powerpc.log counts
    logged "$file" bash scripts/test-powerpc.sh || true
    grep '^powerpc: ' "$file" || true
    counts=$(tail -n 1 "$file")
    if [[ $counts =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]]; then
        passed=$((passed + BASH_REMATCH[1]))
        failed=$((failed + BASH_REMATCH[2]))
    else
        failed=$((failed + 1))
        say "powerpc: no totals: $(reason "$file")"
    fi
}

left_over() {
    local process command
    for process in /proc/[0-9]*; do
        case $(readlink "$process/exe" 2>/dev/null || true) in "$root"/build/*) ;; *) continue ;; esac
        grep -qszxF "VELORIN_TEST_RUN=$VELORIN_TEST_RUN" "$process/environ" || continue
        command=$(tr '\0' ' ' <"$process/cmdline" 2>/dev/null || true)
        failed=$((failed + 1))
        say "still running: ${process#/proc/} $command"
        kill "${process#/proc/}" 2>/dev/null || true
    done
}

main() {
    [ $# -eq 0 ] || { say "unknown argument '$1'; usage: scripts/test.sh" >&2; exit 64; }
    trap 'stop $?' EXIT
    trap 'stop 130' INT
    trap 'stop 143' TERM HUP
    cd "$root"
    bash scripts/setup.sh build test || { say "setting up failed"; exit 1; }
    mkdir -p "$log"
    say "setup done, $SECONDS s"
    prepare_sudo
    # What a sanitizer reports is to name lines.
    local symbolizer
    symbolizer=$(command -v llvm-symbolizer || command -v llvm-symbolizer-14 || true)
    [ -z "$symbolizer" ] || export ASAN_SYMBOLIZER_PATH=$symbolizer TSAN_SYMBOLIZER_PATH=$symbolizer

    build_and_test dev || true
    check coverage scripts/coverage.sh build/dev
    check lint scripts/lint.sh cppcheck
    # The servers' own tests do not touch our code: once is enough.
    build_and_test asan --exclude-regex '^e2e\.servers\.' || true
    build_and_test tsan --label-regex threads || true
    run_powerpc
    left_over
    say "all done, $SECONDS s"
    printf '%d passed, %d failed\n' "$passed" "$failed"
    [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

main "$@"
