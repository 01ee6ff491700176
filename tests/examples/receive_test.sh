#!/usr/bin/env bash
# Runs the README's receiving program against a server on this machine.
# usage: receive_test.sh RECEIVE_MAIL LOOPBACK_MAILBOX
set -euo pipefail
program=$1 mailbox=$2
. "$(dirname "${BASH_SOURCE[0]}")/server.sh"

mkdir "$scratch/made"
# 1: one part; 2: text, and a multipart with an attachment of 12,288 octets in it, which takes three pieces.
printf 'From: a@example.com\r\nSubject: =?utf-8?B?5Lu25ZCN?=\r\n\r\nfifteen octets\r\n' >"$scratch/made/1.eml"
{
    printf 'From: b@example.com\r\nSubject: Two parts\r\nContent-Type: multipart/mixed; boundary=outer\r\n\r\n--outer\r\n'
    printf 'Content-Transfer-Encoding: quoted-printable\r\n\r\n1 =3D one\r\n--outer\r\n'
    printf 'Content-Type: multipart/mixed; boundary=inner\r\n\r\n--inner\r\n'
    printf 'Content-Type: application/pdf; name="scan.pdf"\r\nContent-Transfer-Encoding: base64\r\n\r\n'
    head -c 12288 /dev/zero | base64 | sed 's/$/\r/'
    printf -- '--inner--\r\n--outer--\r\n'
} >"$scratch/made/2.eml"
printf '%s\n' 'a@example.com: 件名' '  file -, 16 octets' 'b@example.com: Two parts' '  file -, 7 octets' \
    '  file scan.pdf, 12288 octets' >"$scratch/expected"

start_server "$mailbox" --smtp-port 0 --pop3-port 0 --user reader --password secret
python3 - "$(port_of smtp)" "$scratch"/made/*.eml <<'DELIVER'
import smtplib, sys
with smtplib.SMTP("127.0.0.1", int(sys.argv[1])) as server:
    for path in sys.argv[2:]:
        with open(path, "rb") as mail:
            server.sendmail("from@example.com", "to@example.org", mail.read())
DELIVER
MAIL_PASSWORD=secret "$program" 127.0.0.1 "$(port_of pop3)" reader >"$scratch/said" 2>"$scratch/trace" ||
    { cat "$scratch/said" "$scratch/trace"; exit 1; }
diff "$scratch/expected" "$scratch/said" || { echo "the mailbox is not shown as it is"; exit 1; }
[ -e "$scratch/mails/1.eml" ] && [ -e "$scratch/mails/2.eml" ] || { echo "a mail did not stay"; exit 1; }

status=0
MAIL_PASSWORD=wrong "$program" 127.0.0.1 "$(port_of pop3)" reader >"$scratch/said" 2>"$scratch/trace" || status=$?
[ "$status" -eq 69 ] || { echo "a wrong password ends with $status, not 69"; exit 1; }
grep -qx 'not received: The server refuses the user or the password.' "$scratch/trace" ||
    { echo "a wrong password is not explained"; exit 1; }
