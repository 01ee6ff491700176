#!/usr/bin/env bash
# Runs the README's sending program against a server on this machine, and holds the README to the program's text.
# usage: example_test.sh SEND_MAIL LOOPBACK_MAILBOX README SOURCE
set -euo pipefail
program=$1 mailbox=$2 readme=$3 source=$4

scratch=$(mktemp -d)
server=
cleanup() {
    if [ -n "$server" ]; then
        kill "$server" 2>/dev/null || true
        wait "$server" 2>/dev/null || true
    fi
    rm -rf "$scratch"
}
trap cleanup EXIT

"$mailbox" --folder "$scratch/mails" --smtp-port 0 --ports-file "$scratch/ports" --lifetime 60 &
server=$!
for _ in $(seq 200); do
    [ -e "$scratch/ports" ] && break
    sleep 0.05
done
port=$(sed -n 's/^smtp_port=//p' "$scratch/ports")

"$program" 127.0.0.1 "$port" from@example.com to@example.org >"$scratch/said" 2>"$scratch/trace" ||
    { cat "$scratch/said" "$scratch/trace"; exit 1; }
grep -qx sent "$scratch/said"
grep -q $'^Subject: A first mail\r$' "$scratch/mails/1.eml" || { echo "the mail did not arrive"; exit 1; }
grep -q $'^It works\\.\r$' "$scratch/mails/1.eml" || { echo "its text did not arrive"; exit 1; }

status=0
"$program" 127.0.0.1 1 from@example.com to@example.org >"$scratch/said" 2>"$scratch/trace" || status=$?
[ "$status" -eq 69 ] || { echo "a refused port ends with $status, not 69"; exit 1; }
grep -q '^not sent: ' "$scratch/trace" || { echo "a refused port is not explained"; exit 1; }

sed -n '/^```cpp$/,/^```$/p' "$readme" | sed '1d;$d' >"$scratch/readme.cpp"
diff "$scratch/readme.cpp" "$source" || { echo "the README shows another program than examples/ holds"; exit 1; }
