#!/usr/bin/env bash
# Holds the README to the texts of the programs that it shows.
# usage: readme_test.sh README SOURCE...
set -euo pipefail
readme=$1
[ "$(grep -c '^```cpp$' "$readme")" -eq $(($# - 1)) ] || { echo "the README does not show $(($# - 1)) programs"; exit 1; }
for source in "${@:2}"; do
    # The block that begins as the program does.
    awk -v first="$(head -n 1 "$source")" '
        /^```$/ { inside = 0 }
        inside || (opened && $0 == first) { inside = 1; print }
        { opened = $0 == "```cpp" }' "$readme" | diff - "$source" ||
        { echo "the README shows another program than $source"; exit 1; }
done
