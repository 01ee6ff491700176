#!/usr/bin/env bash
# Runs the README's sending program against a server on this machine.
# usage: send_test.sh SEND_MAIL LOOPBACK_MAILBOX
set -euo pipefail
program=$1 mailbox=$2
. "$(dirname "${BASH_SOURCE[0]}")/server.sh"

start_server "$mailbox" --smtp-port 0
"$program" 127.0.0.1 "$(port_of smtp)" from@example.com to@example.org >"$scratch/said" 2>"$scratch/trace" ||
    { cat "$scratch/said" "$scratch/trace"; exit 1; }
grep -qx sent "$scratch/said"
grep -q $'^Subject: A first mail\r$' "$scratch/mails/1.eml" || { echo "the mail did not arrive"; exit 1; }
grep -q $'^It works\\.\r$' "$scratch/mails/1.eml" || { echo "its text did not arrive"; exit 1; }

status=0
"$program" 127.0.0.1 1 from@example.com to@example.org >"$scratch/said" 2>"$scratch/trace" || status=$?
[ "$status" -eq 69 ] || { echo "a refused port ends with $status, not 69"; exit 1; }
grep -q '^not sent: ' "$scratch/trace" || { echo "a refused port is not explained"; exit 1; }
