#!/usr/bin/env bash
# Sets up, builds, and sends one mail for real: Japanese text and a PDF through library, channel and mail service to an
# SMTP server on this machine, then compares what arrived with what was sent. Leaves nothing running.
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

python3 "$here/demo/make_pdf.py" "$scratch/report.pdf" 300
cat >"$scratch/text.txt" <<'TEXT'
こんにちは、世界。
このメールは日本語の本文と PDF の添付ファイルを運びます。
.行頭の点も、そのまま届きます。
カタカナ、ひらがな、漢字。
TEXT

"$build/bin/loopback-mailbox" --folder "$scratch/mailbox" --smtp-port 0 --ports-file "$scratch/ports" --lifetime 120 &
mailbox=$!
wait_for "$scratch/ports" "$mailbox" || fail "the SMTP server did not start"
smtp_port=$(sed -n 's/^smtp_port=//p' "$scratch/ports")

export VELORIN_CHANNEL_DIR=$scratch/channel
"$build/bin/velorin-maild" >"$scratch/maild.log" 2>&1 &
daemon=$!
wait_for "$scratch/channel/ntc_email_smtp" "$daemon" || fail "the mail service did not start: $(cat "$scratch/maild.log")"

printf '\nSending through the mail service to an SMTP server on 127.0.0.1:%s\n' "$smtp_port"
"$build/bin/velorin-mail" send --daemon --config /dev/null \
    --server 127.0.0.1 --port "$smtp_port" --tls none \
    --from '"Velorin demo" <demo@example.com>' --to 'reader@example.org' --cc '"Second, Reader" <second@example.org>' \
    --subject '=?utf-8?B?5pel5pys6Kqe44Gu5Lu25ZCN?=' --charset iso-2022-jp \
    --text "$scratch/text.txt" --attach "$scratch/report.pdf" ||
    fail "sending failed"

[ -e "$scratch/mailbox/1.eml" ] || fail "the server kept no mail"
python3 "$here/demo/show_mail.py" "$scratch/mailbox/1.eml" "$scratch/text.txt" "$scratch/report.pdf" ||
    fail "what arrived is not what was sent"
printf '\ndemo: what arrived is what was sent\n'
