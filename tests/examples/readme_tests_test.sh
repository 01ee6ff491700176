#!/usr/bin/env bash
# Holds the README's table of what works to the tests that there are: every row names some, and each name finds one.
# usage: readme_tests_test.sh README CTEST BUILD_FOLDER
set -euo pipefail
readme=$1
# Listed from a folder of its own: ctest writes a log wherever it is, and one is at work in the build folder.
aside=$(mktemp -d)
trap 'rm -rf "$aside"' EXIT
printf 'subdirs("%s")\n' "$3" >"$aside/CTestTestfile.cmake"
tests=$("$2" --test-dir "$aside" -N | sed -n 's/^ *Test *#[0-9]*: //p')
rows=$(sed -n '/^| what | tests |$/,/^$/p' "$readme" | tail -n +3)
[ -n "$rows" ] || { echo "the README has no table of what works"; exit 1; }
while IFS= read -r row; do
    names=$(grep -o '`[^`]*`' <<<"${row##*| }" || true)
    [ -n "$names" ] || { echo "no test is named: $row"; exit 1; }
    for name in ${names//\`/}; do
        grep -q -E -- "$name" <<<"$tests" || { echo "no test has the name $name: $row"; exit 1; }
    done
done <<<"${rows}"
