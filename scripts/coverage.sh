#!/usr/bin/env bash
# What the tests reach of the library: the programs of a development build are run once more with a library that counts
# in the place of theirs. Ends with one line; the exit status is 0 when both bounds hold and no test failed.
#   usage: scripts/coverage.sh [BUILD FOLDER]     (default: build/dev, with its tests built)
# Every line that no test reaches stands in tests/unreached.txt with its reason; one that does not, and one that stands
# there and is reached or gone, fails the run, too.
# Counted are the sources of the library without the generated ones, and without the branches that only a thrown
# exception takes out of a call: there is one at nearly every call, and no line of ours belongs to it.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(realpath "${1:-$root/build/dev}")
cd "$root"
objects=$build/ntc_email/CMakeFiles/ntc_email_counted.dir
jobs=$(nproc)
least_lines=98
least_branches=92

# What tests the library directly, and the mail service, which reads and writes with it.
programs() {
    local name
    for name in mlutl mlutl_property pop3 smtp word_capacity domain_filter_memory wire service_channel serialize_failure \
        session_identity sweep service_smtp service_pop3 service_cases; do
        find "$build/tests" -maxdepth 1 -type f -name "${name}_*test" -o -maxdepth 1 -type f -name "${name}_test"
    done | sort -u
}

run_program() {
    local log
    log=$build/counted/$(basename "$1").log
    if ! "$1" --gtest_brief=1 >"$log" 2>&1; then
        printf 'coverage: %s failed: %s\n' "$(basename "$1")" "$(grep -m1 FAILED "$log" || tail -n 1 "$log")"
        return 1
    fi
}
export -f run_program
export build

cmake --build "$build" --target ntc_email_counted -j "$jobs" >"$build/counted.log" 2>&1 ||
    { printf 'coverage: the library was not built (%s)\n' "$build/counted.log"; exit 1; }
find "$objects" -name '*.gcda' -delete
status=0
# shellcheck disable=SC2016  # the inner shell expands it
programs | LD_LIBRARY_PATH=$build/counted xargs -r -n 1 -P "$jobs" bash -c 'run_program "$0"' || status=1

gcovr --root "$root" --object-directory "$objects" --filter "$root/ntc_email/(src|inc)/" \
    --exclude-throw-branches --exclude-unreachable-branches -j "$jobs" \
    --txt "$build/counted/lines.txt" --json "$build/counted/lines.json" --json-summary "$build/counted/summary.json" \
    --html-details "$build/counted/lines.html" "$objects" >"$build/counted/gcovr.log" 2>&1 ||
    { printf 'coverage: %s\n' "$(tail -n 1 "$build/counted/gcovr.log")"; exit 1; }
"$root/scripts/coverage_result.py" "$build/counted/summary.json" "$build/counted/lines.json" tests/unreached.txt \
    "$least_lines" "$least_branches" || status=1
exit "$status"
