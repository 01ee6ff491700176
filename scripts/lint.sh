#!/usr/bin/env bash
# Static analysis of what is shipped: ntc_email, platform, mail_service and tools. The exit status is 0 only when
# nothing was found.
#   usage: scripts/lint.sh [cppcheck|clang-tidy]...     (default: both)
# clang-tidy needs a configured build/dev for the flags and the generated sources, and makes it when it is not there; its
# checks stand in .clang-tidy. What cppcheck is told to let pass stands in cppcheck.suppressions. scripts/test.sh runs
# cppcheck, which takes seconds; clang-tidy takes minutes.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)
status=0
cd "$root"

run_cppcheck() {
    local folder includes=()
    for folder in ntc_email/{inc,src/{common,mlutl,pop3,smtp}} platform/{inc,linux} mail_service/{inc,src}; do
        includes+=(-I "$folder")
    done
    cppcheck --enable=warning,performance,portability --std=c++17 --language=c++ --library=posix --quiet -j "$jobs" \
        --inline-suppr --suppressions-list=cppcheck.suppressions --error-exitcode=1 "${includes[@]}" \
        ntc_email/inc ntc_email/src platform mail_service/inc mail_service/src tools
}

sources() {
    find ntc_email/src platform mail_service/src tools -name '*.cpp' | sort
}

# Every source once, as it is built to be run, without what gcc alone understands: headers that it has precompiled, and the
# second build of the library, which counts what the tests reach.
clang_database() {
    /usr/bin/python3 -c '
import json, re, sys
commands = {}
for entry in json.load(sys.stdin):
    if "--coverage" not in entry["command"]:
        entry["command"] = re.sub(r" -Winvalid-pch| -include \S*cmake_pch\.hxx", "", entry["command"])
        commands.setdefault(entry["file"], entry)
json.dump(list(commands.values()), sys.stdout)'
}

run_clang_tidy() {
    [ -f build/dev/build.ninja ] || cmake --preset dev >/dev/null
    cmake --build build/dev --target velorin_messages velorin_charset_tables >/dev/null
    mkdir -p build/lint
    clang_database <build/dev/compile_commands.json >build/lint/compile_commands.json
    sources | xargs -n 1 -P "$jobs" clang-tidy --quiet -p build/lint
}

[ $# -gt 0 ] || set -- cppcheck clang-tidy
for tool in "$@"; do
    began=$SECONDS
    case $tool in
    cppcheck) run_cppcheck || status=1 ;;
    clang-tidy) run_clang_tidy 2> >(grep -v 'warnings generated' >&2) || status=1 ;;
    *) printf "lint: unknown tool '%s'; usage: scripts/lint.sh [cppcheck|clang-tidy]...\n" "$tool" >&2; exit 64 ;;
    esac
    printf 'lint: %s over %d sources, %d s\n' "$tool" "$(sources | wc -l)" $((SECONDS - began))
done
[ "$status" -eq 0 ] && printf 'lint: nothing found\n'
exit "$status"
