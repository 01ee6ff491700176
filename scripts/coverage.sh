#!/usr/bin/env bash
# What the tests reach of the library: the programs of a development build are run once more with a library that counts
# in the place of theirs. Ends with one line; the exit status is 0 when both bounds hold and no test failed.
#   usage: scripts/coverage.sh [BUILD FOLDER]     (default: build/dev, with its tests built)
# Counted are the sources of the library without the generated ones, and without the branches that only a thrown
# exception takes out of a call: there is one at nearly every call, and no line of ours belongs to it.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(realpath "${1:-$root/build/dev}")
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
    --txt "$build/counted/lines.txt" --json-summary "$build/counted/summary.json" \
    --html-details "$build/counted/lines.html" "$objects" >"$build/counted/gcovr.log" 2>&1 ||
    { printf 'coverage: %s\n' "$(tail -n 1 "$build/counted/gcovr.log")"; exit 1; }
/usr/bin/python3 - "$build/counted/summary.json" "$least_lines" "$least_branches" <<'PYTHON' || status=1
import json
import sys

found = json.load(open(sys.argv[1]))
lines, branches = found["line_percent"], found["branch_percent"]
print(f"coverage of ntc_email: {lines:.1f} % of {found['line_total']} lines (at least {sys.argv[2]}), "
      f"{branches:.1f} % of {found['branch_total']} branches (at least {sys.argv[3]})")
sys.exit(not (found["line_total"] and lines >= float(sys.argv[2]) and branches >= float(sys.argv[3])))
PYTHON
exit "$status"
