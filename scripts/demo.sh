#!/usr/bin/env bash
# Sets up, builds, and sends and receives one mail for real: Japanese text and a PDF through library, channel and mail service
# to an SMTP server on this machine, from there by POP3 back into files, compared with what was sent. Leaves nothing running.
#   usage: scripts/demo.sh
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
build=$root/build/demo
scratch=

fail() {
    printf 'demo: %s\n' "$1" >&2
    exit 1
}

# Ends a child that the demo started, and waits for it.
stop() {
    [ -n "$1" ] || return 0
    kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

cleanup() {
    stop "${daemon:-}"
    stop "${mailbox:-}"
    [ -z "$scratch" ] || rm -rf "$scratch"
}

# Waits until a file is there or the child that makes it is gone; both are bounded.
wait_for() {
    local file=$1 child=$2 tries=0
    until [ -e "$file" ]; do
        kill -0 "$child" 2>/dev/null || return 1
        tries=$((tries + 1))
        [ "$tries" -le 200 ] || return 1
        sleep 0.05
    done
}

"$here/setup.sh" build
printf 'demo: building in build/demo\n'
mkdir -p "$build"
if ! (cmake --preset demo -S "$root" && cmake --build "$build") >"$build/demo-build.log" 2>&1; then
    tail -n 20 "$build/demo-build.log" >&2
    fail "the build failed; the whole log is $build/demo-build.log"
fi

scratch=$(mktemp -d)
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

subject=日本語の件名
report=報告書.pdf
python3 "$here/demo/make_pdf.py" "$scratch/$report" 300
cat >"$scratch/text.txt" <<'TEXT'
こんにちは、世界。
このメールは日本語の本文と PDF の添付ファイルを運びます。
.行頭の点も、そのまま届きます。
カタカナ、ひらがな、漢字。
TEXT

printf 'made up for the demo\n' >"$scratch/password"
"$build/bin/loopback-mailbox" --folder "$scratch/mailbox" --smtp-port 0 --pop3-port 0 --ports-file "$scratch/ports" \
    --user reader --password "$(cat "$scratch/password")" --lifetime 120 &
mailbox=$!
wait_for "$scratch/ports" "$mailbox" || fail "the mail server did not start"
smtp_port=$(sed -n 's/^smtp_port=//p' "$scratch/ports")
pop3_port=$(sed -n 's/^pop3_port=//p' "$scratch/ports")

export VELORIN_CHANNEL_DIR=$scratch/channel
"$build/bin/velorin-maild" >"$scratch/maild.log" 2>&1 &
daemon=$!
wait_for "$scratch/channel/ntc_email_pop3" "$daemon" || fail "the mail service did not start: $(cat "$scratch/maild.log")"

# Every command goes through the running mail service.
mail() {
    "$build/bin/velorin-mail" "$1" --daemon --config /dev/null --server 127.0.0.1 --tls none "${@:2}"
}

# The same for the commands that read the mailbox.
mailbox() {
    mail "$1" --port "$pop3_port" --user reader --password-file "$scratch/password" "${@:2}"
}

printf '\nSend, to the SMTP server on 127.0.0.1:%s\n' "$smtp_port"
mail send --port "$smtp_port" \
    --from '"デモ" <demo@example.com>' --to 'reader@example.org' --cc '"Second, Reader" <second@example.org>' \
    --subject "$subject" --text "$scratch/text.txt" --attach "$scratch/$report" ||
    fail "sending failed"

[ -e "$scratch/mailbox/1.eml" ] || fail "the server kept no mail"
python3 "$here/demo/show_mail.py" "$scratch/mailbox/1.eml" "$scratch/text.txt" "$scratch/$report" ||
    fail "what arrived is not what was sent"

printf '\nList, from the POP3 server on 127.0.0.1:%s\n' "$pop3_port"
mailbox list || fail "listing failed"

printf '\nFetch\n'
mailbox fetch --folder "$scratch/fetched" --state "$scratch/state" || fail "fetching failed"
(cd "$scratch/fetched" && find . -type f -printf '  %P, %s octets\n' | sort)

printf '\nFetched, compared with what was sent\n'
cmp "$scratch"/fetched/*/text-1.txt "$scratch/text.txt" || fail "the text that was fetched is not what was sent"
cmp "$scratch"/fetched/*/"$report" "$scratch/$report" || fail "the attachment that was fetched is not what was sent"
grep -qF "\"$subject\"" "$scratch"/fetched/*/mail.json || fail "the subject that was fetched is not what was sent"
printf '  subject, file name, text and attachment: as sent, every octet\n'

printf '\nDelete what was fetched, and list again\n'
mailbox delete --fetched --state "$scratch/state" || fail "deleting failed"
[ "$(mailbox list --json | python3 -c 'import json, sys; print(len(json.load(sys.stdin)["mails"]))')" = 0 ] ||
    fail "the mailbox is not empty"
mailbox list
printf '(empty)\n\ndemo: what was sent came back as it was, and the mailbox is empty\n'
